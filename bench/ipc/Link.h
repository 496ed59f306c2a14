#ifndef ZT_BENCH_LINK_H
#define ZT_BENCH_LINK_H

#include "bench/support/require.h"

#include <cstdint>
#include <cstring>
#include <string>

// What the contenders of ZTIPCEndPoint_bench have in common. Each is a class with
//
//     static constexpr const char* NAME;
//     Link(End end, const std::string& path);  // a server listens at once
//     void meet();                             // a client connects, a server waits for it
//     void send(std::uint32_t size);           // one message of so many bytes
//     void receive(std::uint32_t size);        // the next one, which must have so many
//
// and waits for each message with a time limit.

enum class End { SERVER, CLIENT };

const int LIMIT_MS = 10000;
const std::uint32_t LONGEST_MESSAGE = 255;

#endif
