#ifndef ZTSIM_NUMBER_H
#define ZTSIM_NUMBER_H

#include <charconv>
#include <stdexcept>
#include <string>

namespace ztsim {

/// The whole text as a decimal number; throws std::invalid_argument.
template <typename Number>
Number parseNumber(const std::string& text)
{
    Number number{};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error == std::errc::result_out_of_range) {
        throw std::invalid_argument("number " + text + " is out of range");
    }
    if (error != std::errc{} || stop != end) {
        throw std::invalid_argument("\"" + text + "\" is not a number");
    }
    return number;
}

} // namespace ztsim

#endif
