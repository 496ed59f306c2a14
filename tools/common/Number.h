#ifndef ZT_TOOLS_NUMBER_H
#define ZT_TOOLS_NUMBER_H

#include <charconv>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>

namespace tools {

/// The whole text as a decimal number between those; throws std::invalid_argument.
template <typename Number>
Number parseNumber(const std::string& text, Number least = std::numeric_limits<Number>::lowest(),
                   Number most = std::numeric_limits<Number>::max())
{
    Number number{};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    const bool isInRange = least <= number && number <= most; // nan is not
    if (error != std::errc{} || stop != end || !isInRange) {
        std::ostringstream message;
        message.precision(std::numeric_limits<double>::digits10);
        message << '"' << text << "\" is not in " << +least << ".." << +most;
        throw std::invalid_argument(message.str());
    }
    return number;
}

} // namespace tools

#endif
