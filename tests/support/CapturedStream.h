#ifndef ZT_TESTS_CAPTUREDSTREAM_H
#define ZT_TESTS_CAPTUREDSTREAM_H

#include <ostream>
#include <sstream>
#include <string>

/// Collects what is written to a stream such as std::cerr during its lifetime.
class CapturedStream {
public:
    explicit CapturedStream(std::ostream& stream) : stream(stream), original(stream.rdbuf(&buffer))
    {}

    ~CapturedStream() { stream.rdbuf(original); }

    CapturedStream(const CapturedStream&) = delete;
    CapturedStream& operator=(const CapturedStream&) = delete;

    std::string text() const { return buffer.str(); }

    /// How often the stream was flushed.
    int flushes() const { return buffer.flushes; }

private:
    struct Buffer : std::stringbuf {
        int sync() override
        {
            ++flushes;
            return 0;
        }
        int flushes = 0;
    };

    std::ostream& stream;
    Buffer buffer;
    std::streambuf* original;
};

#endif
