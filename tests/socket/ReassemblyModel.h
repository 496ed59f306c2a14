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
        if (!held.empty() && data.compare(0, 15, MARKER) != 0) {
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
        const std::size_t n = data.size();
        std::size_t p = 0;
        while (p + 15 < n) {
            if (data.compare(p, 15, MARKER) != 0) {
                p = p + 1;
                continue;
            }
            if (n <= p + 15 + 3) {
                held = data.substr(p);
                return;
            }
            const std::int64_t length = lengthAt(data, p + 15);
            if (length < 1 ||
                static_cast<std::int64_t>(p) + length > static_cast<std::int64_t>(n)) {
                held = data.substr(p);
                return;
            }
            records.push_back(data.substr(p, static_cast<std::size_t>(length)));
            p = p + static_cast<std::size_t>(length);
        }
        if (p != n && p + 15 > n) {
            held = data.substr(p);
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
