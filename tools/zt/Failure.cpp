#include "Failure.h"

#include "Output.h"

#include <map>

namespace zt {
namespace {

const std::map<int, const char*> MEANINGS{
    {-1, "the system refused it"},
    {1, "the exchange with the other side failed"},
    {3, "it could not be set up"},
    {4, "there is no socket to be had"},
    {5, "it could not be read"},
    {6, "it could not be written"},
    {7, "it could not be sent"},
    {8, "it could not be received"},
    {10, "the wait failed"},
    {11, "not supported"},
    {14, "not reachable"},
    {16, "a file could not be opened or written"},
    {17, "the time is up"},
    {19, "there is no thread to be had"},
    {20, "the argument was refused"},
    {23, "there is no such endpoint"},
    {25, "there is such an endpoint already"},
    {41, "it is no folder"},
    {42, "there is nothing to copy"},
    {43, "it was stopped"},
};

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
    const auto meaning = MEANINGS.find(result);
    return "result " + std::to_string(result) + ", " +
           (meaning == MEANINGS.end() ? "which is unknown" : meaning->second);
}

void check(int result, const std::string& task, const Advice& advice)
{
    if (result != 0) {
        throw Failure(exitCodeOf(result), "cannot " + task + ": " + describeResult(result), advice);
    }
}

} // namespace zt
