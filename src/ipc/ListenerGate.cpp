#include "ipc/ListenerGate.h"

#include <sys/eventfd.h>

namespace ZT {

ListenerGate::ListenerGate(ZTIPCMessageArrivalListener* listener)
    : wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), listener(listener)
{}

bool ListenerGate::enter()
{
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [this] { return stopped || (!closed && closing == 0 && !isInside()); });
    if (stopped) {
        return false;
    }
    inside = std::this_thread::get_id();
    return true;
}

void ListenerGate::leave()
{
    const std::lock_guard<std::mutex> lock(mutex);
    inside = std::thread::id();
    changed.notify_all();
}

bool ListenerGate::isStopped() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return stopped;
}

void ListenerGate::deliver(IPCMessage* message)
{
    const std::lock_guard<std::mutex> lock(calling);
    listener->onMessageArrival(message);
}

void ListenerGate::open()
{
    const std::lock_guard<std::mutex> lock(mutex);
    closed = false;
    changed.notify_all();
}

void ListenerGate::close()
{
    std::unique_lock<std::mutex> lock(mutex);
    const bool fromInside = inside == std::this_thread::get_id();
    ++closing;
    changed.wait(lock, [&] { return stopped || fromInside || (!closed && !isInside()); });
    --closing;
    closed = true;
}

void ListenerGate::stop()
{
    const std::lock_guard<std::mutex> lock(mutex);
    stopped = true;
    changed.notify_all();
    eventfd_write(wake.number, 1);
}

bool ListenerGate::isCallerInside() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return inside == std::this_thread::get_id();
}

void ListenerGate::setListener(ZTIPCMessageArrivalListener* newListener)
{
    std::unique_lock<std::mutex> lock(calling, std::defer_lock);
    if (!isCallerInside()) {
        lock.lock();
    }
    listener = newListener;
}

} // namespace ZT
