#include "ipc/ListenerWait.h"

#include "ipc/DescriptorSet.h"
#include "ipc/Frame.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>

namespace ZT {

namespace {

const int NO_LIMIT = -1;

void watch(int poller, int descriptor, std::uint32_t events)
{
    epoll_event event{};
    event.events = events;
    event.data.fd = descriptor;
    epoll_ctl(poller, EPOLL_CTL_ADD, descriptor, &event);
}

// A poller tells of each change of the socket as long as this lives, and of how the socket is now.
class WatchedSocket {
public:
    WatchedSocket(int poller, int socket) : poller(poller), socket(socket)
    {
        watch(poller, socket, EPOLLIN | EPOLLRDHUP | EPOLLET);
    }
    ~WatchedSocket() { epoll_ctl(poller, EPOLL_CTL_DEL, socket, nullptr); }

    WatchedSocket(const WatchedSocket&) = delete;
    WatchedSocket& operator=(const WatchedSocket&) = delete;

private:
    const int poller;
    const int socket;
};

} // namespace

ListenerWait::ListenerWait()
    : woken(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), poller(epoll_create1(EPOLL_CLOEXEC))
{
    watch(poller.number, woken.number, EPOLLIN);
}

bool ListenerWait::isPossible() const
{
    return woken.number >= 0 && poller.number >= 0;
}

void ListenerWait::wake() const
{
    eventfd_write(woken.number, 1);
}

bool ListenerWait::takeWake(const DescriptorSet& readable) const
{
    if (!readable.contains(woken.number)) {
        return false;
    }
    eventfd_t count = 0;
    eventfd_read(woken.number, &count);
    return true;
}

bool ListenerWait::awaitWholeFrame(int socket) const
{
    if (!hasPartOfFrame(socket)) {
        return true;
    }
    const WatchedSocket watched(poller.number, socket);
    do {
        epoll_event events[2];
        const int count = epoll_wait(poller.number, events, 2, NO_LIMIT);
        for (int i = 0; i < count; ++i) {
            if (events[i].data.fd == woken.number) {
                return false;
            }
            if ((events[i].events & EPOLLRDHUP) != 0) {
                return true;
            }
        }
    } while (hasPartOfFrame(socket));
    return true;
}

} // namespace ZT
