#include "Progress.h"

#include "Output.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/ioctl.h>
#include <unistd.h>

namespace zt {
namespace {

const unsigned int DEFAULT_WIDTH = 80;
const std::size_t SMALLEST_BAR = 5;
const unsigned int ROOM = 3;
const char CLEAR_THE_REST[] = "\033[K";

/// One that obeys escape sequences.
bool isTerminal()
{
    const char* const kind = std::getenv("TERM");
    return ::isatty(STDOUT_FILENO) == 1 && kind != nullptr && *kind != '\0' &&
           std::strcmp(kind, "dumb") != 0;
}

unsigned int terminalWidth()
{
    winsize size{};
    const bool known = ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : DEFAULT_WIDTH;
}

std::string bar(unsigned int percent, std::size_t length)
{
    const std::size_t done = length * percent / 100;
    std::string text(done, '=');
    if (done < length) {
        text += '>';
    }
    text.resize(length, ' ');
    return text;
}

std::string clock(std::chrono::seconds elapsed)
{
    char text[32];
    const long long seconds = elapsed.count();
    std::snprintf(text, sizeof text, "%lld:%02lld", seconds / 60, seconds % 60);
    return text;
}

} // namespace

std::string progressBar(unsigned int percent, std::chrono::seconds elapsed, unsigned int width)
{
    char number[16];
    std::snprintf(number, sizeof number, "%3u %%", percent);
    const std::string time = clock(elapsed);
    const std::size_t taken = std::string(number).size() + sizeof " [] " - 1 + time.size();
    if (width < taken + SMALLEST_BAR) {
        return number;
    }
    return std::string(number) + " [" + bar(percent, width - taken) + "] " + time;
}

Progress::Progress() : canDraw(isTerminal()), start(std::chrono::steady_clock::now()) {}

void Progress::show(unsigned int percent)
{
    percent = std::min(percent, 100U);
    if (canDraw) {
        draw(percent);
    } else if (percent / 10 > printedTens) {
        printedTens = percent / 10;
        printLine(std::to_string(printedTens * 10) + " %");
    }
}

/// Leaves room for the "^C" of a terminal, which would begin another line.
void Progress::draw(unsigned int percent)
{
    const auto elapsed = std::chrono::steady_clock::now() - start;
    const std::string line =
        progressBar(percent, std::chrono::duration_cast<std::chrono::seconds>(elapsed),
                    std::max(terminalWidth(), ROOM) - ROOM);
    std::fputs(('\r' + line + CLEAR_THE_REST).c_str(), stdout);
    std::fflush(stdout);
    isDrawn = true;
}

void Progress::end()
{
    if (isDrawn) {
        printLine("");
        isDrawn = false;
    }
}

} // namespace zt
