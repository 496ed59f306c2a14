#ifndef ZTSIM_LOG_H
#define ZTSIM_LOG_H

#include "common/Printable.h"

#include <iostream>
#include <stdexcept>
#include <string>

namespace ztsim {

/// One line on stderr, written at once so that COMMAND's own lines do not get into it.
inline void log(const std::string& line)
{
    std::cerr << "ztsim: " + tools::printable(line) + '\n';
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
