#include "ipc/ListenerGate.h"

#include <unistd.h>

namespace ZT {

namespace {

using Lock = std::unique_lock<ZTMutex>;

} // namespace

ListenerGate::ListenerGate(ZTIPCMessageArrivalListener* listener)
    : process(getpid()), mutex(ZTMutex::create()), listener(listener)
{}

bool ListenerGate::isOfThisProcess() const
{
    return process == getpid();
}

bool ListenerGate::enter()
{
    Lock lock(*mutex);
    changed.wait(lock, [this] { return stopped || (!closed && closing == 0 && !isInside()); });
    if (stopped) {
        return false;
    }
    inside = std::this_thread::get_id();
    return true;
}

void ListenerGate::leave()
{
    const Lock lock(*mutex);
    inside = std::thread::id();
    changed.notify_all();
}

void ListenerGate::deliver(IPCMessage* message)
{
    const std::lock_guard<std::mutex> lock(calling);
    listener->onMessageArrival(message);
}

void ListenerGate::open()
{
    const Lock lock(*mutex);
    closed = false;
    changed.notify_all();
}

void ListenerGate::close()
{
    Lock lock(*mutex);
    const bool fromInside = inside == std::this_thread::get_id();
    ++closing;
    wait.wake();
    changed.wait(lock, [&] { return stopped || fromInside || (!closed && !isInside()); });
    --closing;
    closed = true;
}

ListenerGate::Change ListenerGate::setListener(ZTIPCMessageArrivalListener* newListener,
                                               ShownListener& shown)
{
    std::unique_lock<std::mutex> notRunning(calling, std::defer_lock);
    if (!isCallerInside()) {
        notRunning.lock();
    }
    const Lock lock(*mutex);
    if (awaited) {
        return Change::Refused;
    }
    if (stopped && !isInside()) {
        return Change::TooLate;
    }
    if (stopped) {
        stopped = false;
        closed = false;
    }
    listener = newListener;
    shown = newListener;
    return Change::Made;
}

bool ListenerGate::stop(ShownListener& shown)
{
    const Lock lock(*mutex);
    shown = nullptr;
    stopped = true;
    awaited = awaited || inside != std::this_thread::get_id();
    changed.notify_all();
    wait.wake();
    return inside != std::this_thread::get_id();
}

bool ListenerGate::isCallerInside() const
{
    const Lock lock(*mutex);
    return inside == std::this_thread::get_id();
}

} // namespace ZT
