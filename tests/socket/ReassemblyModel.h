#ifndef ZT_TESTS_SOCKET_REASSEMBLYMODEL_H
#define ZT_TESTS_SOCKET_REASSEMBLYMODEL_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <string>

/// What ZTSocket makes of a stream, step by step and without any care for speed. It knows nothing
/// of the library.
class ReassemblyModel {
public:
    /// What one call of getNextSocketBuffer() that reads `data` does.
    void read(const std::string& data)
    {
        if (!held.empty() && data.substr(0, 15) != MARKER) {
            const std::string joined = held + data;
            held = "";
            scan(joined);
        } else {
            scan(data);
        }
    }

    std::deque<std::string> records;
    std::string held;

private:
    void scan(const std::string& data)
    {
        const auto n = static_cast<std::int64_t>(data.size());
        std::int64_t p = 0;
        while (p < n - 15) {
            if (data.substr(static_cast<std::size_t>(p), 15) != MARKER) {
                p = p + 1;
                continue;
            }
            const std::string rest = data.substr(static_cast<std::size_t>(p));
            if (n <= p + 15 + 3) {
                held = rest;
                return;
            }
            const std::int64_t length = lengthAt(rest, 15);
            if (length < 1 || p + length > n) {
                held = rest;
                return;
            }
            records.push_back(rest.substr(0, static_cast<std::size_t>(length)));
            p = p + length;
        }
        if (p != n && p > n - 15) {
            held = data.substr(static_cast<std::size_t>(p));
        }
    }

    static std::int64_t lengthAt(const std::string& data, std::size_t offset)
    {
        std::int64_t length = 0;
        for (std::size_t i = 4; i > 0; --i) {
            length = length * 256 + static_cast<unsigned char>(data[offset + i - 1]);
        }
        return length;
    }

    const std::string MARKER = "ZTSOCKETMESSAGE";
};

#endif
