// ZTDebug_printer [--set-user-id] [--sink] [--level LEVEL] [LEVEL SECTION TEXT]...
//
// Prints the lines given; the section "?" is none that is registered. What a sink gets, what goes
// to syslog and whether the output file would be inherited shows in stdout. --set-user-id lets the
// C library take it for a program of that kind.

#include "ztutil/ZTDebug.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <unistd.h>

using namespace ZT;

namespace {

void showInStdout(void*, int level, const char* section, const char* text)
{
    printf("sink %d %s %s\n", level, section, text);
}

void showSyslog(int priority, const char* format, va_list arguments)
{
    printf("syslog %d ", priority);
    vprintf(format, arguments);
    printf("\n");
}

bool isSetUserID = false;

void showInheritance(const char* path)
{
    std::error_code error;
    for (int descriptor = 3; path != nullptr && descriptor < 64; ++descriptor) {
        const auto link = "/proc/self/fd/" + std::to_string(descriptor);
        if (std::filesystem::read_symlink(link, error) == path) {
            printf(fcntl(descriptor, F_GETFD) & FD_CLOEXEC ? "close-on-exec\n" : "inherited\n");
        }
    }
}

} // namespace

extern "C" char* secure_getenv(const char* name) noexcept
{
    return isSetUserID ? nullptr : getenv(name);
}

extern "C" void syslog(int priority, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    showSyslog(priority, format, arguments);
    va_end(arguments);
}

// What syslog is called by the name of where _FORTIFY_SOURCE is set.
extern "C" void __syslog_chk(int priority, int, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    showSyslog(priority, format, arguments);
    va_end(arguments);
}

int main(int, char** argument)
{
    ++argument;
    if (*argument != nullptr && *argument == std::string("--set-user-id")) {
        isSetUserID = true;
        ++argument;
    }
    if (*argument != nullptr && *argument == std::string("--sink")) {
        ZTDebug::setSink(&showInStdout, nullptr);
        ++argument;
    }
    if (*argument != nullptr && *argument == std::string("--level")) {
        ZTDebug::setLevel(atoi(argument[1]));
        argument += 2;
    }
    int result = 0;
    for (; *argument != nullptr; argument += 3) {
        const bool isKnown = argument[1] != std::string("?");
        const unsigned int key = isKnown ? ZTDebug::insertNewDebugSection(argument[1]) : 0;
        result |= ZTDebug::debugPrintError(atoi(argument[0]), key, "%s", argument[2]);
    }
    showInheritance(getenv("ZT_DEBUG_OUTPUT"));
    return result;
}
