#ifndef ZT_TOOL_PROGRESS_H
#define ZT_TOOL_PROGRESS_H

#include <chrono>
#include <string>

namespace zt {

/// " 42 % [=======>          ] 0:07", `width` characters long; without the bar if that is too
/// narrow.
std::string progressBar(unsigned int percent, std::chrono::seconds elapsed, unsigned int width);

/// Shows on standard output how far something is: on a terminal as a bar over its whole width, on a
/// dumb one and elsewhere as a line for every 10 %.
class Progress {
public:
    Progress();

    void show(unsigned int percent);

    /// Leaves the terminal's line, so that others can be printed.
    void end();

private:
    void draw(unsigned int percent);

    const bool canDraw;
    const std::chrono::steady_clock::time_point start;
    bool isDrawn = false;
    unsigned int printedTens = 0;
};

} // namespace zt

#endif
