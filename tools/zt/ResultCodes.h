#ifndef ZT_TOOL_RESULTCODES_H
#define ZT_TOOL_RESULTCODES_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zt {

/// The guide's page about them, with a table that has a row for each.
extern const std::string_view RESULT_CODES;

struct ResultCode {
    std::string meaning; ///< a few words, and behind a colon what that is where
    std::string returnedBy;
    std::string whatToTry;
};

/// Nothing for what no call of the library returns.
std::optional<ResultCode> findResultCode(std::int32_t code);

} // namespace zt

#endif
