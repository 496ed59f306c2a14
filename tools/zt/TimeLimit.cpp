#include "TimeLimit.h"

#include <cmath>
#include <csignal>
#include <string>
#include <sys/time.h>

namespace zt {
namespace {

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

void addWaitOption(CLI::App& verb, double& seconds)
{
    verb.add_option("--wait", seconds, "How long to wait for an answer; 2 by default")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.001, LONGEST_SECONDS).description(""));
}

std::string within(double seconds)
{
    std::string text = std::to_string(seconds);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') {
        text.pop_back();
    }
    return "within " + text + " s";
}

} // namespace zt
