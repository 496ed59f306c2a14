#include "Script.h"

#include "Log.h"
#include "TextFile.h"
#include "common/Number.h"

#include <boost/asio/post.hpp>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

namespace ztsim {
namespace {

constexpr double LONGEST_TIME = 1e6;
constexpr std::chrono::milliseconds HEARING{1}; ///< between two looks whether a client has read

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

Script::Script(boost::asio::io_context& context, Simulated& device, double speed, bool verbose)
    : context(context), device(device), speed(speed), verbose(verbose), timer(context)
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
    Step step = stepOf(line);
    if (std::holds_alternative<Watch>(step.command)) {
        throw std::invalid_argument("a script does not watch");
    }
    steps.push_back(std::move(step));
}

Script::Step Script::stepOf(const std::string& line) const
{
    const auto before = steps.empty() ? Clock::duration::zero() : steps.back().time;
    const auto blank = std::min(line.find_first_of(" \t"), line.size());
    const std::string when = line.substr(0, blank);
    if (isVerb(when)) {
        return {before, Clock::duration::zero(), line, parseCommand(splitCommand(line))};
    }
    if (blank == line.size()) {
        throw std::invalid_argument('"' + line + "\" is not of the form COMMAND or TIME COMMAND");
    }
    const Command command = parseCommand(splitCommand(line.substr(blank)));
    if (when.front() == '+') {
        const auto pause = parseTime(when.substr(1));
        return {before + pause, pause, line, command};
    }
    const auto time = parseTime(when);
    if (time < before) {
        throw std::invalid_argument("time " + when + " is before that of the line before");
    }
    return {time, std::nullopt, line, command};
}

void Script::start()
{
    beginning = Clock::now();
    before = beginning;
    goOn();
}

void Script::goOn()
{
    while (next < steps.size() && !waits) {
        const Step& step = steps[next];
        const Clock::time_point due = dueTime(step);
        if (due > Clock::now() || !isHeard()) {
            sleepUntil(due > Clock::now() ? due : Clock::now() + HEARING);
            return;
        }
        before = due;
        ++next;
        perform(step);
    }
}

/// Whether the next line need not wait for clients to hear of those before.
bool Script::isHeard()
{
    if (speed > 0 || steps[next].time == Clock::duration::zero()) {
        return true;
    }
    const auto hasServed = [](const auto& daemon) { return daemon && daemon->hasServed(); };
    const auto isRead = [](auto& daemon) { return !daemon || daemon->isRead(); };
    return (hasServed(device.power) || hasServed(device.health)) && isRead(device.power) &&
           isRead(device.health);
}

Script::Clock::time_point Script::dueTime(const Step& step) const
{
    const auto atSpeed = [this](Clock::duration time) {
        return speed > 0 ? std::chrono::duration_cast<Clock::duration>(time / speed)
                         : Clock::duration::zero();
    };
    return step.pause ? before + atSpeed(*step.pause) : beginning + atSpeed(step.time);
}

void Script::sleepUntil(Clock::time_point time)
{
    timer.expires_at(time);
    timer.async_wait([this](const auto& error) {
        if (!error) {
            goOn();
        }
    });
}

void Script::perform(const Step& step)
{
    if (verbose) {
        trace("script: " + step.text);
    }
    if (const auto* const wanted = std::get_if<Await>(&step.command)) {
        await(step, *wanted);
    } else {
        perform(step, std::get<Action>(step.command));
    }
}

void Script::perform(const Step& step, const Action& action)
{
    try {
        ztsim::perform(action, device, Event::By::Script, step.text);
    } catch (const std::invalid_argument& error) {
        complain(step, error.what());
    }
}

void Script::await(const Step& step, const Await& await)
{
    Journal& journal = device.journal;
    if (await.sinceStart && !journal.records(await.record).empty()) {
        return;
    }
    waits = true;
    const auto listener = journal.listen([this, record = await.record](const Event& event) {
        if (event.by != Event::By::Client || !record.matches(event.text)) {
            return true;
        }
        waits = false;
        boost::asio::post(context, [this] { endWait(); }); // the record is being handled yet
        return false;
    });
    if (await.longest) {
        timer.expires_after(*await.longest);
        timer.async_wait([this, listener, &step, await](const auto& error) {
            if (!error && waits) {
                device.journal.forget(listener);
                complain(step, await.complaint() + ": this script ends here");
            }
        });
    }
}

void Script::endWait()
{
    before = Clock::now();
    goOn();
}

void Script::complain(const Step& step, const std::string& complaint) const
{
    log("script: " + step.text + ": " + complaint);
}

} // namespace ztsim
