// The manager in a main loop of one's own on epoll: loop_epoll PATH

#include "Services.h"

#include <sys/epoll.h>
#include <unistd.h>

int main(int argc, char** argv)
{
    Services services(argc == 2 ? argv[1] : "");
    if (!services.areReady()) {
        return 1;
    }
    const int poller = epoll_create1(EPOLL_CLOEXEC);
    epoll_event event{};
    event.events = EPOLLIN;
    epoll_ctl(poller, EPOLL_CTL_ADD, services.manager.getDescriptor(), &event);
    while (!services.areStopped()) {
        if (epoll_wait(poller, &event, 1, -1) == 1) {
            services.manager.dispatch();
        }
    }
    close(poller);
}
