#ifndef ZTSIM_LOG_H
#define ZTSIM_LOG_H

#include "common/Printable.h"
#include "common/WallClock.h"

#include <cerrno>
#include <cstring>
#include <iostream>
#include <stdexcept>
#include <string>
#include <unistd.h>

namespace ztsim {

/// How the lines of this process look, and where those about the dialogue go.
struct LogStyle {
    bool hasTime = false;
    int file = -1; ///< stderr if -1
};

inline LogStyle& logStyle()
{
    static LogStyle style;
    return style;
}

inline std::string logLine(const std::string& line)
{
    return (logStyle().hasTime ? tools::wallClock() + ' ' : "") +
           "ztsim: " + tools::printable(line) + '\n';
}

/// One line on stderr, written at once so that COMMAND's own lines do not get into it.
inline void log(const std::string& line)
{
    std::cerr << logLine(line);
}

/// One line of what --verbose shows, or --log FILE keeps.
inline void trace(const std::string& line)
{
    int& file = logStyle().file;
    const std::string text = logLine(line);
    if (file < 0) {
        std::cerr << text;
    } else if (::write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        ::close(file);
        file = -1;
        log(std::string("cannot write into the log any more: ") + std::strerror(errno));
    }
}

/// Throws unless all that was printed on stdout has been written.
inline void flushOutput()
{
    if (std::cout.flush().fail()) {
        throw std::runtime_error("cannot write the output");
    }
}

} // namespace ztsim

#endif
