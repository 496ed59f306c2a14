#include "StopSignals.h"

#include "Failure.h"
#include "zt/ZTEndPointManager.h"

#include <cerrno>
#include <csignal>
#include <unistd.h>

namespace zt {
namespace {

const int SIGNALS[] = {SIGINT, SIGTERM, SIGHUP};

volatile std::sig_atomic_t receivedSignal = 0;
volatile std::sig_atomic_t pipeDescriptor = -1;

void keep(int number)
{
    const int error = errno;
    receivedSignal = number;
    const char byte = 0;
    static_cast<void>(::write(pipeDescriptor, &byte, sizeof byte) == sizeof byte);
    errno = error;
}

} // namespace

StopSignals::StopSignals()
{
    check(pipe.init(), "make a pipe", "see how many files are open");
    receivedSignal = 0;
    pipeDescriptor = pipe.getWriteEndPointID();
    struct sigaction action = {};
    action.sa_handler = keep;
    action.sa_flags = static_cast<int>(SA_RESETHAND); // and waits are not begun again
    for (const int number : SIGNALS) {
        struct sigaction before = {};
        ::sigaction(number, nullptr, &before);
        // What nohup or a shell's background ignores stays ignored.
        if (before.sa_handler != SIG_IGN) {
            ::sigaction(number, &action, nullptr);
        }
    }
}

StopSignals::~StopSignals()
{
    for (const int number : SIGNALS) {
        struct sigaction now = {};
        ::sigaction(number, nullptr, &now);
        if (now.sa_handler == keep) {
            std::signal(number, SIG_DFL);
        }
    }
}

void StopSignals::subscribeTo(ZT::ZTEndPointManager& manager)
{
    check(manager.addEndPoint(&pipe, this), "wait for signals", "report this");
}

int StopSignals::received()
{
    return receivedSignal;
}

int StopSignals::onEndPointReadable(ZT::ZTEndPoint* /*endPoint*/,
                                    ZT::ZTEndPointManager* /*manager*/)
{
    char byte = 0;
    return pipe.readFromPipe(&byte, sizeof byte);
}

} // namespace zt
