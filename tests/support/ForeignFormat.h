#ifndef ZT_TESTS_FOREIGNFORMAT_H
#define ZT_TESTS_FOREIGNFORMAT_H

#include <cerrno>
#include <iomanip>
#include <ios>
#include <iostream>
#include <locale>
#include <streambuf>
#include <string>

/// During its lifetime a stream has all that an application can set to make a number or a text
/// look otherwise.
class ForeignFormat {
public:
    explicit ForeignFormat(std::ostream& stream = std::cout)
        : stream(stream), locale(stream.imbue(std::locale(std::locale(), new Grouping)))
    {
        format.copyfmt(stream);
        stream << std::hex << std::showbase << std::showpos << std::setfill('*')
               << std::setw(WIDTH);
    }

    ~ForeignFormat()
    {
        stream.copyfmt(format);
        stream.imbue(locale);
    }

    ForeignFormat(const ForeignFormat&) = delete;
    ForeignFormat& operator=(const ForeignFormat&) = delete;

    /// Whether the width is still there for what the application prints next.
    bool isKept() const { return stream.width() == WIDTH; }

private:
    struct Grouping : std::numpunct<char> {
        std::string do_grouping() const override { return "\1"; }
    };

    static constexpr int WIDTH = 200;

    std::ostream& stream;
    const std::locale locale;
    std::ios format{nullptr};
};

/// During its lifetime nothing can be written to a stream, which makes errno EIO, and the
/// application has asked for exceptions of that.
class ThrowingOutput {
public:
    explicit ThrowingOutput(std::ostream& stream = std::cout)
        : stream(stream), original(stream.rdbuf(&buffer))
    {
        stream.exceptions(std::ios::badbit | std::ios::failbit);
    }

    ~ThrowingOutput()
    {
        stream.exceptions(std::ios::goodbit);
        stream.rdbuf(original); // makes it good again, too
    }

    ThrowingOutput(const ThrowingOutput&) = delete;
    ThrowingOutput& operator=(const ThrowingOutput&) = delete;

private:
    struct Failing : std::streambuf {
        int overflow(int /*character*/) override
        {
            errno = EIO;
            return traits_type::eof();
        }
    };

    std::ostream& stream;
    Failing buffer;
    std::streambuf* const original;
};

#endif
