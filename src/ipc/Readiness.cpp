#include "ipc/Readiness.h"

#include <algorithm>
#include <cerrno>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>
#include <utility>

namespace ZT {

namespace {

const int NOTHING = -1;
const std::uint64_t TIMER_TICKET = 0;
const std::uint32_t ONCE = EPOLLIN | EPOLLONESHOT;

} // namespace

Readiness::Readiness(std::uint32_t lookIntervalMs)
    : lookIntervalMs(lookIntervalMs), process(getpid()), poller(epoll_create1(EPOLL_CLOEXEC)),
      timer(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)), lastTicket(TIMER_TICKET),
      events(1)
{
    control(EPOLL_CTL_ADD, timer.number, EPOLLIN, TIMER_TICKET);
}

Readiness::~Readiness()
{
    for (auto& [owner, watch] : watches) {
        closeStandIn(watch);
    }
}

bool Readiness::isPossible() const
{
    return poller.number >= 0 && timer.number >= 0;
}

void Readiness::add(Owner owner)
{
    events.resize(watches.size() + 2);
    spare.reserve(events.size());
    const std::uint64_t ticket = ++lastTicket;
    tickets.emplace(ticket, owner);
    try {
        watches.emplace(owner, Watch{NOTHING, NOTHING, ticket});
    } catch (...) {
        tickets.erase(ticket);
        throw;
    }
    if (watches.size() == 1) {
        setTimer(lookIntervalMs);
    }
}

void Readiness::remove(Owner owner)
{
    const auto found = watches.find(owner);
    ignore(found->second);
    tickets.erase(found->second.ticket);
    watches.erase(found);
    if (watches.empty()) {
        setTimer(0);
    }
}

void Readiness::watch(Owner owner, int descriptor)
{
    Watch& watch = watches.at(owner);
    if (descriptor != watch.descriptor) {
        ignore(watch);
    }
    watch.descriptor = descriptor;
    if (descriptor >= 0 && !askAgain(watch)) {
        ask(watch);
    }
}

Readiness::Found Readiness::find()
{
    const int count = epoll_wait(poller.number, events.data(), static_cast<int>(events.size()), 0);
    const auto end = std::remove_if(
        events.begin(), events.begin() + std::max(count, 0), [this](const epoll_event& event) {
            return event.data.u64 != TIMER_TICKET && !isStillOpen(event.data.u64);
        });
    // Only now, for what follows may throw: all are asked for again.
    Found found;
    found.owners.swap(spare);
    found.owners.clear();
    found.owners.reserve(static_cast<std::size_t>(end - events.begin()));
    std::for_each(events.begin(), end, [this, &found](const epoll_event& event) {
        const std::uint64_t ticket = event.data.u64; // where it lies nothing may refer to it
        if (ticket == TIMER_TICKET) {
            std::uint64_t expirations = 0;
            found.isLookDue = read(timer.number, &expirations, sizeof expirations) > 0;
        } else {
            found.owners.push_back(tickets.at(ticket));
        }
    });
    return found;
}

// Whether a ticket is good for what its owner has open now. Asks for that again.
bool Readiness::isStillOpen(std::uint64_t ticket)
{
    const auto found = tickets.find(ticket);
    if (found == tickets.end()) {
        return false;
    }
    Watch& watch = watches.at(found->second);
    const bool isSame = askAgain(watch);
    if (!isSame) {
        ask(watch);
    }
    return isSame;
}

bool Readiness::control(int operation, int descriptor, std::uint32_t events,
                        std::uint64_t ticket) const
{
    epoll_event event{};
    event.events = events;
    event.data.u64 = ticket;
    return epoll_ctl(poller.number, operation, descriptor, &event) == 0;
}

// False if what was asked for has been closed since.
bool Readiness::askAgain(const Watch& watch) const
{
    return control(EPOLL_CTL_MOD, watch.descriptor, ONCE, watch.ticket) ||
           (errno == EPERM && watch.standIn >= 0);
}

void Readiness::ask(Watch& watch)
{
    closeStandIn(watch);
    takeNewTicket(watch);
    if (isOwnProcess() && !control(EPOLL_CTL_ADD, watch.descriptor, ONCE, watch.ticket) &&
        errno == EPERM) {
        watch.standIn = eventfd(1, EFD_CLOEXEC);
        control(EPOLL_CTL_ADD, watch.standIn, EPOLLIN, watch.ticket);
    }
}

// Takes no memory.
void Readiness::takeNewTicket(Watch& watch)
{
    auto ticket = tickets.extract(watch.ticket);
    watch.ticket = ++lastTicket;
    ticket.key() = watch.ticket;
    tickets.insert(std::move(ticket));
}

// The number may be that of another owner, who has opened it after this one had closed it. Then
// this one may have asked in the place of that.
void Readiness::ignore(Watch& watch) const
{
    closeStandIn(watch);
    if (watch.descriptor < 0 || !isOwnProcess()) {
        return;
    }
    const auto other = std::find_if(watches.begin(), watches.end(), [&watch](const auto& each) {
        return each.second.descriptor == watch.descriptor && &each.second != &watch;
    });
    if (other == watches.end()) {
        control(EPOLL_CTL_DEL, watch.descriptor, ONCE, watch.ticket);
    } else {
        askAgain(other->second);
    }
}

void Readiness::closeStandIn(Watch& watch)
{
    if (watch.standIn >= 0) {
        close(watch.standIn);
        watch.standIn = NOTHING;
    }
}

void Readiness::setTimer(std::uint32_t intervalMs) const
{
    itimerspec time{};
    time.it_interval.tv_sec = intervalMs / 1000;
    time.it_interval.tv_nsec = static_cast<long>(intervalMs % 1000) * 1000000;
    time.it_value = time.it_interval;
    if (isOwnProcess()) {
        timerfd_settime(timer.number, 0, &time, nullptr);
    }
}

bool Readiness::isOwnProcess() const
{
    return process == getpid();
}

} // namespace ZT
