#include "frame/printLine.h"

#include <exception>
#include <iostream>

namespace ZT {

void printLine(std::string_view line)
{
    try {
        std::cout.write(line.data(), static_cast<std::streamsize>(line.size())).flush();
    } catch (const std::exception&) { // the stream keeps the failure in its state
    }
}

} // namespace ZT
