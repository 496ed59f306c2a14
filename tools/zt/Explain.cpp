#include "Failure.h"
#include "Output.h"
#include "ResultCodes.h"
#include "Verbs.h"
#include "common/NumberOption.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace zt {
namespace {

struct ExplainOptions {
    std::int32_t code = 0;
    bool json = false;
};

void explain(const ExplainOptions& options)
{
    const std::optional<ResultCode> found = findResultCode(options.code);
    if (!found) {
        throw Failure(FAILED, "the library has no result " + std::to_string(options.code),
                      "it may be an error number of the system, or a command's exit code");
    }
    print({{"code", options.code},
           {"meaning", found->meaning},
           {"returned-by", found->returnedBy},
           {"try", found->whatToTry}},
          options.json);
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
