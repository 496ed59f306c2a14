#include "frame/printLine.h"

#include <exception>
#include <ostream>

namespace ZT {

void printLine(std::ostream& stream, std::string_view line)
{
    try {
        stream.write(line.data(), static_cast<std::streamsize>(line.size())).flush();
    } catch (const std::exception&) { // it keeps the failure in its state
    }
}

} // namespace ZT
