#include "Failure.h"
#include "Output.h"
#include "ResultCodes.h"
#include "Verbs.h"
#include "common/NumberOption.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <sstream>
#include <string>

namespace zt {
namespace {

struct ExplainOptions {
    std::int32_t code = 0;
    bool json = false;
};

/// Up to the next bar, without the quotes of what is code.
std::string nextCell(std::istream& row)
{
    std::string cell;
    std::getline(row, cell, '|');
    cell.erase(std::remove(cell.begin(), cell.end(), '`'), cell.end());
    const std::size_t begin = cell.find_first_not_of(' ');
    return cell.substr(begin, cell.find_last_not_of(' ') + 1 - begin);
}

void explain(const ExplainOptions& options)
{
    const std::string start = "\n| " + std::to_string(options.code) + " |";
    const std::size_t found = RESULT_CODES.find(start);
    if (found == std::string_view::npos) {
        throw Failure(FAILED, "the library has no result " + std::to_string(options.code),
                      "it may be an error number of the system, or a command's exit code");
    }
    std::istringstream row(std::string(RESULT_CODES.substr(found + start.size())));
    Json fields{{"code", options.code}};
    for (const char* const name : {"meaning", "returned-by", "try"}) {
        fields[name] = nextCell(row);
    }
    print(fields, options.json);
}

} // namespace

void addExplain(CLI::App& app)
{
    CLI::App* const verb = app.add_subcommand("explain", "What a result of the library means");
    const auto options = std::make_shared<ExplainOptions>();
    tools::addNumber(*verb, "CODE", options->code, INT32_MIN, INT32_MAX, "The result")->required();
    verb->add_flag("--json", options->json, "Print JSON");
    verb->callback([options] { explain(*options); });
}

} // namespace zt
