#include "zt/ZTSignalHandler.h"

#include "frame/printLine.h"

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>
#include <iostream>

namespace ZT {

int ZTSignalHandler::installEmptySignalHandler(int sig)
{
    struct sigaction action = {};
    action.sa_handler = &sigHandler;
    return sigaction(sig, &action, nullptr);
}

void sigHandler(int sig)
{
    const int error = errno;                          // is what was interrupted's
    char line[64] = "SignalHandler received signal "; // on the stack: memory must not be asked for
    char* end = line + std::strlen(line);
    end = std::to_chars(end, line + sizeof line, sig).ptr;
    *end++ = '\n';
    printLine(std::cout, {line, static_cast<std::size_t>(end - line)});
    errno = error;
}

} // namespace ZT
