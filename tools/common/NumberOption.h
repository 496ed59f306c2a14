#ifndef ZT_TOOLS_NUMBEROPTION_H
#define ZT_TOOLS_NUMBEROPTION_H

#include "common/Number.h"

#include <CLI/CLI.hpp>

#include <stdexcept>
#include <string>

namespace tools {

/// The text of an option or an argument as such a number; throws CLI::ValidationError.
template <typename Number>
Number parseNumber(const std::string& name, const std::string& text, Number least, Number most)
{
    try {
        return parseNumber(text, least, most);
    } catch (const std::invalid_argument& error) {
        throw CLI::ValidationError(name, error.what());
    }
}

/// Adds an option or an argument that is such a number. CLI11 itself would take 010 for 8, and
/// -18446744073709551615 for 1.
template <typename Number, typename Target>
CLI::Option* addNumber(CLI::App& app, const std::string& name, Target& target, Number least,
                       Number most, const std::string& description = "")
{
    const auto take = [name, &target, least, most](const std::string& text) {
        target = parseNumber(name, text, least, most);
    };
    return app.add_option_function<std::string>(name, take, description);
}

} // namespace tools

#endif
