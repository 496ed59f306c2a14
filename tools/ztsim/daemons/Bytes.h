#ifndef ZTSIM_BYTES_H
#define ZTSIM_BYTES_H

#include <cstring>
#include <string>

namespace ztsim {

/// A record as it travels.
using Bytes = std::string;

template <typename Record>
Bytes bytesOf(const Record& record)
{
    return {reinterpret_cast<const char*>(&record), sizeof record};
}

template <typename Record>
Record recordOf(const Bytes& bytes)
{
    Record record;
    std::memcpy(&record, bytes.data(), sizeof record);
    return record;
}

} // namespace ztsim

#endif
