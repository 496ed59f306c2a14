#include "Recorder.h"

#include "Log.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace ztsim {

Recorder::Recorder(int file) : file(file)
{
    append("# What the clients said to the daemons, and when, in seconds; ztsim --script says it "
           "again.\n");
}

Recorder::~Recorder()
{
    ::close(file);
}

void Recorder::write(double time, const std::string& command, const char* mishap)
{
    char when[32];
    std::snprintf(when, sizeof when, "%.3f ", time);
    append(mishap == nullptr ? when + command + '\n'
                             : "# " + (when + command) + ": " + mishap + '\n');
}

void Recorder::append(const std::string& line)
{
    if (file >= 0 && ::write(file, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        log(std::string("cannot record any more: ") + std::strerror(errno));
        ::close(file);
        file = -1;
    }
}

} // namespace ztsim
