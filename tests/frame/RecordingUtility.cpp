#include "RecordingUtility.h"

#include "ztutil/ZTDebug.h"
#include "ztutil/ZTTick.h"

#include <cstdarg>
#include <cstdio>

#define EXPORTED __attribute__((visibility("default")))

namespace {

// Never destroyed, for objects may print until the very end of the program.

std::vector<std::string>& sections()
{
    static auto* recorded = new std::vector<std::string>;
    return *recorded;
}

std::vector<std::string>& lines()
{
    static auto* recorded = new std::vector<std::string>;
    return *recorded;
}

std::vector<std::string>& lookups()
{
    static auto* recorded = new std::vector<std::string>;
    return *recorded;
}

std::vector<unsigned int>& keys()
{
    static auto* recorded = new std::vector<unsigned int>;
    return *recorded;
}

} // namespace

EXPORTED const std::vector<std::string>& recordedSections()
{
    return sections();
}

EXPORTED const std::vector<std::string>& recordedLookups()
{
    return lookups();
}

EXPORTED const std::vector<std::string>& recordedLines()
{
    return lines();
}

EXPORTED const std::vector<unsigned int>& recordedKeys()
{
    return keys();
}

unsigned int ZT::ZTDebug::insertNewDebugSection(const std::string& name)
{
    sections().push_back(name);
    return static_cast<unsigned int>(99 + sections().size());
}

unsigned int ZT::ZTDebug::getDebugSectionKey(const std::string& name)
{
    lookups().push_back(name);
    return static_cast<unsigned int>(999 + lookups().size());
}

int ZT::ZTDebug::debugPrintError(int, unsigned int key, const char* format, ...)
{
    char line[1000];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    keys().push_back(key);
    lines().push_back(std::string(format) + " | " + line);
    return RECORDING_PRINT_RESULT;
}

unsigned int ZT::ZTTick::getTickCount()
{
    return 0;
}
