#include "Failure.h"

#include "Output.h"
#include "ResultCodes.h"

namespace zt {
namespace {

int exitCodeOf(int result)
{
    switch (result) {
    case 14:
        return UNREACHABLE;
    case 17:
        return NO_ANSWER;
    default:
        return FAILED;
    }
}

} // namespace

Advice Advice::orSimulate(std::string text)
{
    Advice advice(std::move(text));
    advice.canSimulate = true;
    return advice;
}

Failure::Failure(int exitCode, const std::string& what, Advice advice)
    : std::runtime_error(what), exitCode(exitCode), advice(std::move(advice))
{}

void tell(const Failure& failure)
{
    complain(failure.what());
    complain("try: " + failure.advice.text);
}

std::string describeResult(int result)
{
    const std::string start = "result " + std::to_string(result) + ", ";
    if (result == -1) {
        return start + "the system refused it";
    }
    const std::optional<ResultCode> found = findResultCode(result);
    return start +
           (found ? found->meaning.substr(0, found->meaning.find(':')) : "which is unknown");
}

void check(int result, const std::string& task, const Advice& advice)
{
    if (result != 0) {
        throw Failure(exitCodeOf(result), "cannot " + task + ": " + describeResult(result), advice);
    }
}

} // namespace zt
