#ifndef ZT_TESTS_FOREIGNFORMAT_H
#define ZT_TESTS_FOREIGNFORMAT_H

#include <cerrno>
#include <iomanip>
#include <ios>
#include <iostream>
#include <locale>
#include <streambuf>
#include <string>

/// During its lifetime std::cout has all that an application can set to make a number or a text
/// look otherwise.
class ForeignFormat {
public:
    ForeignFormat() : locale(std::cout.imbue(std::locale(std::locale(), new Grouping)))
    {
        format.copyfmt(std::cout);
        std::cout << std::hex << std::showbase << std::showpos << std::setfill('*')
                  << std::setw(WIDTH);
    }

    ~ForeignFormat()
    {
        std::cout.copyfmt(format);
        std::cout.imbue(locale);
    }

    ForeignFormat(const ForeignFormat&) = delete;
    ForeignFormat& operator=(const ForeignFormat&) = delete;

    /// Whether the width is still there for what the application prints next.
    static bool isKept() { return std::cout.width() == WIDTH; }

private:
    struct Grouping : std::numpunct<char> {
        std::string do_grouping() const override { return "\1"; }
    };

    static constexpr int WIDTH = 200;

    const std::locale locale;
    std::ios format{nullptr};
};

/// During its lifetime nothing can be written to std::cout, which makes errno EIO, and the
/// application has asked for exceptions of that.
class ThrowingOutput {
public:
    ThrowingOutput() : original(std::cout.rdbuf(&buffer))
    {
        std::cout.exceptions(std::ios::badbit | std::ios::failbit);
    }

    ~ThrowingOutput()
    {
        std::cout.exceptions(std::ios::goodbit);
        std::cout.rdbuf(original); // makes it good again, too
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

    Failing buffer;
    std::streambuf* const original;
};

#endif
