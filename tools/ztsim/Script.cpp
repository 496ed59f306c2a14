#include "Script.h"

#include "Log.h"
#include "TextFile.h"
#include "common/Number.h"

#include <cmath>
#include <stdexcept>

namespace ztsim {
namespace {

constexpr double LONGEST_TIME = 1e6;

std::chrono::steady_clock::duration parseTime(const std::string& text)
{
    try {
        const double seconds = tools::parseNumber(text, 0.0, LONGEST_TIME);
        return std::chrono::milliseconds(std::llround(seconds * 1000));
    } catch (const std::invalid_argument& error) {
        throw std::invalid_argument(std::string("time ") + error.what());
    }
}

} // namespace

Script::Script(boost::asio::io_context& context, Daemons& daemons, bool verbose)
    : daemons(daemons), verbose(verbose), timer(context)
{}

void Script::read(const std::string& name, const std::string& text)
{
    try {
        forEachLine(name, text, [this](const std::string& line) { take(line); });
    } catch (const std::invalid_argument& error) {
        throw std::invalid_argument(std::string(error.what()) + "; see ztsim --help");
    }
}

void Script::take(const std::string& line)
{
    const auto blank = line.find_first_of(" \t");
    if (blank == std::string::npos) {
        throw std::invalid_argument('"' + line + "\" is not of the form TIME COMMAND");
    }
    const auto before = steps.empty() ? Clock::duration::zero() : steps.back().time;
    const std::string when = line.substr(0, blank);
    const auto time = when.front() == '+' ? before + parseTime(when.substr(1)) : parseTime(when);
    if (time < before) {
        throw std::invalid_argument("time " + when + " is before that of the line before");
    }
    steps.push_back({time, line, parseCommand(line.substr(blank))});
}

void Script::start()
{
    beginning = Clock::now();
    performDue();
}

void Script::performDue()
{
    while (next < steps.size() && beginning + steps[next].time <= Clock::now()) {
        perform(steps[next++]);
    }
    if (next < steps.size()) {
        timer.expires_at(beginning + steps[next].time);
        timer.async_wait([this](const auto& error) {
            if (!error) {
                performDue();
            }
        });
    }
}

void Script::perform(const Step& step)
{
    if (verbose) {
        log("script: " + step.text);
    }
    try {
        step.command(daemons);
    } catch (const std::invalid_argument& error) {
        log("script: " + step.text + ": " + error.what());
    }
}

} // namespace ztsim
