#include "TimeLimit.h"

#include "Failure.h"
#include "common/NumberOption.h"

#include <cmath>
#include <csignal>
#include <sstream>
#include <sys/time.h>

namespace zt {
namespace {

const double SHORTEST_SECONDS = 0.001;
const double LONGEST_SECONDS = 3600;
const suseconds_t AGAIN_US = 50000;

volatile std::sig_atomic_t over = 0;

void setOver(int /*number*/)
{
    over = 1;
}

void setTimer(const itimerval& timer)
{
    ::setitimer(ITIMER_REAL, &timer, nullptr);
}

} // namespace

TimeLimit::TimeLimit(double seconds)
{
    over = 0;
    struct sigaction action = {};
    action.sa_handler = setOver;
    ::sigaction(SIGALRM, &action, nullptr); // waits are not begun again
    itimerval timer{};
    const double whole = std::floor(seconds);
    timer.it_value.tv_sec = static_cast<time_t>(whole);
    timer.it_value.tv_usec = static_cast<suseconds_t>((seconds - whole) * 1e6);
    timer.it_interval.tv_usec = AGAIN_US; // for a wait that begins just behind the first
    setTimer(timer);
}

TimeLimit::~TimeLimit()
{
    setTimer({});
}

bool TimeLimit::isOver()
{
    return over != 0;
}

const char* const WAIT_ADVICE =
    "see that the daemon is well, or give it longer with --wait SECONDS";

void addWaitOption(CLI::App& verb, double& seconds, const std::string& help)
{
    tools::addNumber(verb, "--wait", seconds, SHORTEST_SECONDS, LONGEST_SECONDS,
                     help + "; 2 by default")
        ->type_name("SECONDS");
}

std::string timeIsUp(const std::string& lack, double seconds)
{
    std::ostringstream text;
    text << "the time is up: " << lack << " within " << seconds << " s";
    return text.str();
}

void checkInTime(int result, const std::string& task, const std::string& lack, double seconds)
{
    if (result != 0 && TimeLimit::isOver()) {
        throw Failure(NO_ANSWER,
                      "cannot " + task + ": " + describeResult(result) + ": " +
                          timeIsUp(lack, seconds),
                      WAIT_ADVICE);
    }
}

} // namespace zt
