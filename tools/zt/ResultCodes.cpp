#include "ResultCodes.h"

#include <algorithm>
#include <sstream>

namespace zt {
namespace {

/// Up to the next bar, without the quotes of what is code.
std::string nextCell(std::istream& row)
{
    std::string cell;
    std::getline(row, cell, '|');
    cell.erase(std::remove(cell.begin(), cell.end(), '`'), cell.end());
    const std::size_t begin = cell.find_first_not_of(' ');
    return cell.substr(begin, cell.find_last_not_of(' ') + 1 - begin);
}

} // namespace

std::optional<ResultCode> findResultCode(std::int32_t code)
{
    const std::string start = "\n| " + std::to_string(code) + " |";
    const std::size_t found = RESULT_CODES.find(start);
    if (found == std::string_view::npos) {
        return std::nullopt;
    }
    std::istringstream row(std::string(RESULT_CODES.substr(found + start.size())));
    ResultCode result;
    result.meaning = nextCell(row);
    result.returnedBy = nextCell(row);
    result.whatToTry = nextCell(row);
    return result;
}

} // namespace zt
