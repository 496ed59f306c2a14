// Prints before any shared library is initialised, then as ZTDebug_printingLibrary does, and when
// every shared library is finalised.

#include "ztutil/ZTDebug.h"

#include <cstdlib>

using namespace ZT;

namespace {

void print(const char* text)
{
    ZTDebug::debugPrintError(1, ZTDebug::insertNewDebugSection("program"), "%s", text);
}

void printLast(int, void*)
{
    print("last");
}

void printFirst()
{
    print("first");
    on_exit(&printLast, nullptr);
}

[[gnu::section(".preinit_array"), gnu::used]] void (*const FIRST)() = &printFirst;

} // namespace

int main()
{
    print("main");
}
