#include "common/Printable.h"
#include "support/Emulation.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>

using tools::printable;

namespace {

std::string utf8(std::uint32_t codePoint)
{
    const auto byte = [codePoint](unsigned int shift, unsigned int mask, unsigned int mark) {
        return static_cast<char>((codePoint >> shift & mask) | mark);
    };
    if (codePoint < 0x80) {
        return {byte(0, 0x7f, 0)};
    }
    if (codePoint < 0x800) {
        return {byte(6, 0x1f, 0xc0), byte(0, 0x3f, 0x80)};
    }
    if (codePoint < 0x10000) {
        return {byte(12, 0x0f, 0xe0), byte(6, 0x3f, 0x80), byte(0, 0x3f, 0x80)};
    }
    return {byte(18, 0x07, 0xf0), byte(12, 0x3f, 0x80), byte(6, 0x3f, 0x80), byte(0, 0x3f, 0x80)};
}

std::string escaped(const std::string& bytes)
{
    std::string result;
    for (const char character : bytes) {
        char text[8];
        std::snprintf(text, sizeof text, "\\x%02x", static_cast<unsigned char>(character));
        result += text;
    }
    return result;
}

bool isControl(std::uint32_t codePoint)
{
    return codePoint < 0x20 || (codePoint >= 0x7f && codePoint < 0xa0);
}

bool isSurrogate(std::uint32_t codePoint)
{
    return codePoint >= 0xd800 && codePoint < 0xe000;
}

} // namespace

TEST(Printable, EscapesControlCharactersAndWhatIsNoUtf8)
{
    EXPECT_EQ(printable(""), "");
    EXPECT_EQ(printable(std::string("a\0\t\n\x1b[31m", 9)), "a\\x00\\x09\\x0a\\x1b[31m");
    EXPECT_EQ(printable("\x7f"), "\\x7f");
    EXPECT_EQ(printable("\xc2\x80 \xc2\x9b \xc2\x9f"), "\\xc2\\x80 \\xc2\\x9b \\xc2\\x9f");
    EXPECT_EQ(printable("\x80 \x9b \xff"), "\\x80 \\x9b \\xff");
    EXPECT_EQ(printable("\xe0\x82\x9b"), "\\xe0\\x82\\x9b"); // a longer form of U+009B
}

TEST(Printable, KeepsAllElse)
{
    const std::string text =
        "Gr\u00f6\u00dfe, 5 \u20ac, \u4e2d\u6587, \U0001f600 \\ \"quoted\" \u00a0~";
    EXPECT_EQ(printable(text), text);
}

TEST(Printable, EscapesTheBytesOfACharacterThatIsCutOff)
{
    EXPECT_EQ(printable("\xe2\x82"), "\\xe2\\x82");
    EXPECT_EQ(printable("\xe2\x82\xe2\x82\xac"), "\\xe2\\x82\u20ac");
    EXPECT_EQ(printable("\xf0\x9f\x98"
                        "a"),
              "\\xf0\\x9f\\x98"
              "a");
}

TEST(Printable, TreatsEachCharacterThatUnicodeHasAccordingly)
{
    SKIP_UNDER_VALGRIND("they are more than a million");
    for (std::uint32_t codePoint = 0; codePoint < 0x110010; ++codePoint) {
        const std::string bytes = utf8(codePoint);
        const bool isKept =
            !isControl(codePoint) && !isSurrogate(codePoint) && codePoint <= 0x10ffff;
        ASSERT_EQ(printable(bytes), isKept ? bytes : escaped(bytes)) << std::hex << codePoint;
    }
}

TEST(Printable, KeepsOfTwoBytesOnlyCharacters)
{
    for (std::uint32_t first = 0; first < 0x100; ++first) {
        for (std::uint32_t second = 0; second < 0x100; ++second) {
            const std::string bytes{static_cast<char>(first), static_cast<char>(second)};
            const std::uint32_t both = (first & 0x1f) << 6 | (second & 0x3f);
            const bool isOne = utf8(both) == bytes && both >= 0xa0;
            ASSERT_EQ(printable(bytes),
                      isOne ? bytes : printable(bytes.substr(0, 1)) + printable(bytes.substr(1)));
        }
    }
}
