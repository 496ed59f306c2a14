#ifndef ZT_BENCH_NNGLINK_H
#define ZT_BENCH_NNGLINK_H

#include "bench/ipc/Link.h"

#include <nng/nng.h>
#include <nng/protocol/pair0/pair.h>

class NngLink {
public:
    static constexpr const char* NAME = "Nng";

    NngLink(End end, const std::string& path) : end(end), url("ipc://" + path)
    {
        require(nng_pair0_open(&socket) == 0, "nng_pair0_open");
        nng_socket_set_ms(socket, NNG_OPT_SENDTIMEO, LIMIT_MS);
        nng_socket_set_ms(socket, NNG_OPT_RECVTIMEO, LIMIT_MS);
        if (end == End::SERVER) {
            require(nng_listen(socket, url.c_str(), nullptr, 0) == 0, "nng_listen");
        }
    }

    ~NngLink() { nng_close(socket); }

    NngLink(const NngLink&) = delete;
    NngLink& operator=(const NngLink&) = delete;

    void meet()
    {
        if (end == End::CLIENT) {
            require(nng_dial(socket, url.c_str(), nullptr, 0) == 0, "nng_dial");
        }
    }

    void send(std::uint32_t size) { require(nng_send(socket, payload, size, 0) == 0, "nng_send"); }

    void receive(std::uint32_t size)
    {
        std::size_t received = sizeof payload;
        require(nng_recv(socket, payload, &received, 0) == 0 && received == size, "nng_recv");
    }

private:
    const End end;
    const std::string url;
    nng_socket socket{};
    unsigned char payload[LONGEST_MESSAGE] = {};
};

#endif
