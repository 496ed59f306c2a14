#include "zt/ZTSignalHandler.h"

#include <cerrno>
#include <csignal>
#include <iostream>
#include <string>

namespace ZT {

int ZTSignalHandler::installEmptySignalHandler(int sig)
{
    struct sigaction action = {};
    action.sa_handler = &sigHandler;
    return sigaction(sig, &action, nullptr);
}

void sigHandler(int sig)
{
    const int error = errno; // is what was interrupted's
    // So short a text takes no memory, and has the stream's number format kept out of it.
    std::cout << "SignalHandler received signal " << std::to_string(sig) << std::endl;
    errno = error;
}

} // namespace ZT
