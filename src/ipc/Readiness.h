#ifndef ZT_READINESS_H
#define ZT_READINESS_H

#include "ipc/OpenDescriptor.h"

#include <cstdint>
#include <sys/epoll.h>
#include <sys/types.h>
#include <unordered_map>
#include <vector>

namespace ZT {

/// One descriptor that is readable while any of many is, or while a look for lost endpoints is due.
///
/// Each of the many has an owner, of which only the address counts. Of a connection that was closed
/// here, but not by a process that has inherited it, epoll goes on to tell, and it cannot be taken
/// out. So epoll is asked to tell of each once, and then asked again by the descriptor's number;
/// and what it says has the number of a ticket, which is good for one opening of the descriptor.
///
/// A child made by fork() shares all this with its parent, and takes nothing out.
class Readiness {
public:
    using Owner = const void*;

    struct Found {
        std::vector<Owner> owners;
        bool isLookDue = false;
    };

    /// While there is an owner, a look is due every so often.
    explicit Readiness(std::uint32_t lookIntervalMs);
    ~Readiness();

    Readiness(const Readiness&) = delete;
    Readiness& operator=(const Readiness&) = delete;

    /// Whether the system has given what it takes.
    bool isPossible() const;

    int getDescriptor() const { return poller.number; }

    /// Throws std::bad_alloc, and then nothing has changed.
    void add(Owner owner);
    void remove(Owner owner);

    /// What `owner` has open now, maybe something new under the same number; negative for nothing.
    /// What the system refuses is left out until it is watched again.
    void watch(Owner owner, int descriptor);

    /// What the last watch() of `owner` was told.
    int getWatched(Owner owner) const { return watches.at(owner).descriptor; }

    /// Whose descriptors are readable, and whether a look has become due, which is told once.
    Found find();

    /// Lets the next find() have the memory of one whose owners have been dealt with.
    void giveBack(Found& found) { spare.swap(found.owners); }

private:
    struct Watch {
        int descriptor;
        int standIn; ///< for a file, which epoll refuses: readable for good, as that is
        std::uint64_t ticket;
    };

    bool isOwnProcess() const;
    bool control(int operation, int descriptor, std::uint32_t events, std::uint64_t ticket) const;
    bool isStillOpen(std::uint64_t ticket);
    bool askAgain(const Watch& watch) const;
    void ask(Watch& watch);
    void takeNewTicket(Watch& watch);
    void ignore(Watch& watch) const;
    static void closeStandIn(Watch& watch);
    void setTimer(std::uint32_t intervalMs) const;

    const std::uint32_t lookIntervalMs;
    const pid_t process;
    const OpenDescriptor poller;
    const OpenDescriptor timer;
    std::unordered_map<Owner, Watch> watches;
    std::unordered_map<std::uint64_t, Owner> tickets; ///< one for each of them
    std::uint64_t lastTicket;
    std::vector<epoll_event> events; ///< room for what find() is told
    std::vector<Owner> spare;        ///< and for what it returns
};

} // namespace ZT

#endif
