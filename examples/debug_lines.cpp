// Prints diagnostic lines in a section of its own, and takes all lines, those of the library too,
// to show them in its own way.

#include "zt/ZTPipe.h"
#include "ztutil/ZTDebug.h"

#include <cstdio>

namespace {

const int FAILURE = 1;
const int TRACE = 4;

void show(void* /*context*/, int level, const char* section, const char* text)
{
    std::printf("%s [%s] %s\n", level == FAILURE ? "failure" : "trace  ", section, text);
}

} // namespace

int main()
{
    ZT::ZTDebug::setSink(show, nullptr);
    const unsigned int section = ZT::ZTDebug::insertNewDebugSection("my_application");

    ZT::ZTDebug::debugPrintError(TRACE, section, "not shown");
    ZT::ZTDebug::setLevel(TRACE);
    ZT::ZTDebug::debugPrintError(TRACE, section, "%d pipe", 1);

    ZT::ZTPipe pipe;
    pipe.init();
    pipe.init();

    ZT::ZTDebug::setSink(nullptr, nullptr);
}
