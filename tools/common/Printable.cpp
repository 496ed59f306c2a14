#include "common/Printable.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>

namespace tools {
namespace {

struct Range {
    unsigned char first;
    unsigned char last;

    bool holds(char character) const
    {
        const auto byte = static_cast<unsigned char>(character);
        return first <= byte && byte <= last;
    }
};

/// Characters by their first and second byte. What follows is in REST.
struct Characters {
    Range first;
    Range second;
    std::size_t size;
};

constexpr Range REST{0x80, 0xbf};

// What UTF-8 has, without the control characters, U+007F to U+009F among them.
constexpr Characters PRINTABLE[] = {
    {{' ', '~'}, {}, 1},     {{0xc2, 0xc2}, {0xa0, 0xbf}, 2},
    {{0xc3, 0xdf}, REST, 2}, {{0xe0, 0xe0}, {0xa0, 0xbf}, 3},
    {{0xe1, 0xec}, REST, 3}, {{0xed, 0xed}, {0x80, 0x9f}, 3},
    {{0xee, 0xef}, REST, 3}, {{0xf0, 0xf0}, {0x90, 0xbf}, 4},
    {{0xf1, 0xf3}, REST, 4}, {{0xf4, 0xf4}, {0x80, 0x8f}, 4},
};

bool begins(std::string_view text, const Characters& characters)
{
    return text.size() >= characters.size && characters.first.holds(text[0]) &&
           (characters.size == 1 || characters.second.holds(text[1])) &&
           std::all_of(text.begin() + std::min<std::size_t>(characters.size, 2),
                       text.begin() + characters.size,
                       [](char character) { return REST.holds(character); });
}

/// Of the character that the text begins with; 0 if that is none to print.
std::size_t sizeOfFirst(std::string_view text)
{
    const auto* const found =
        std::find_if(std::begin(PRINTABLE), std::end(PRINTABLE),
                     [text](const Characters& characters) { return begins(text, characters); });
    return found == std::end(PRINTABLE) ? 0 : found->size;
}

} // namespace

std::string printable(const std::string& text)
{
    const char* const digits = "0123456789abcdef";
    std::string result;
    for (std::string_view rest = text; !rest.empty();) {
        const std::size_t size = sizeOfFirst(rest);
        if (size == 0) {
            const auto byte = static_cast<unsigned char>(rest.front());
            result += {'\\', 'x', digits[byte / 16], digits[byte % 16]};
        }
        result += rest.substr(0, size);
        rest.remove_prefix(std::max<std::size_t>(size, 1));
    }
    return result;
}

} // namespace tools
