#include "ztutil/ZTDebug.h"

using namespace ZT;

namespace {

const unsigned int section = ZTDebug::insertNewDebugSection("library");

struct Printer {
    Printer() { ZTDebug::debugPrintError(1, section, "static constructor"); }
    ~Printer() { ZTDebug::debugPrintError(1, section, "static destructor"); }
} printer;

} // namespace
