// Writes to somebody who has gone, which ends a program that does nothing about SIGPIPE, and goes
// on.

#include "zt/ZTSignalHandler.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <unistd.h>

int main()
{
    int ends[2];
    if (pipe(ends) != 0 || ZT::ZTSignalHandler::installEmptySignalHandler(SIGPIPE) != 0) {
        return 1;
    }
    // The handler prints, too. What is printed before gives standard output its memory, which a
    // handler must not take.
    std::puts("nobody listens");
    close(ends[0]);
    if (write(ends[1], "hello", 5) == -1) {
        std::printf("cannot write: %s\n", std::strerror(errno));
    }
    close(ends[1]);
    std::puts("still here");
}
