#ifndef ZTSIM_LOG_H
#define ZTSIM_LOG_H

#include <iostream>
#include <string>

namespace ztsim {

/// One line on stderr, written at once so that COMMAND's own lines do not get into it.
inline void log(const std::string& line)
{
    std::cerr << "ztsim: " + line + '\n';
}

} // namespace ztsim

#endif
