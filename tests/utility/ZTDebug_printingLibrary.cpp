#include "ztutil/ZTDebug.h"

using namespace ZT;

namespace {

const unsigned int SECTION = ZTDebug::insertNewDebugSection("library");

struct Printer {
    Printer() { ZTDebug::debugPrintError(1, SECTION, "static constructor"); }
    ~Printer() { ZTDebug::debugPrintError(1, SECTION, "static destructor"); }
} printer;

} // namespace
