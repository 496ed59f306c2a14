#include "zt/ZTEndPointManager.h"

#include "ipc/DescriptorSet.h"
#include "ipc/Readiness.h"
#include "ipc/WaitNumber.h"
#include "zt/ZTEndPoint.h"
#include "zt/ZTEndPointHandler.h"

#include "ztutil/ZTTick.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <poll.h>

namespace ZT {

namespace {

const unsigned int MODE_UNTIL_DEADLINE = 0;
const unsigned int MODE_WITHOUT_LIMIT = 2;

const std::uint32_t CHECK_INTERVAL_MS = 2000;
const std::uint32_t LONGEST_WAIT_MS = 10000;

const long WITHOUT_LIMIT = -1;

// All ticks are 32 bits wide and wrap. A deadline that has passed is a large number of ms away.
long timeToWait(std::uint32_t deadline, unsigned int mode)
{
    if (mode == MODE_WITHOUT_LIMIT) {
        return WITHOUT_LIMIT;
    }
    if (mode != MODE_UNTIL_DEADLINE) {
        return 0;
    }
    const std::uint32_t remaining = deadline - ZTTick::getTickCount();
    return remaining <= LONGEST_WAIT_MS ? static_cast<long>(remaining) : 0;
}

int descriptorOf(const ZTEndPoint& endPoint)
{
    return endPoint.isConnected() ? endPoint.getReadEndPointID() : -1;
}

bool isReadable(int descriptor)
{
    pollfd asked{};
    asked.fd = descriptor;
    asked.events = POLLIN;
    return poll(&asked, 1, 0) == 1 && (asked.revents & POLLNVAL) == 0;
}

} // namespace

struct ZTEndPointManager::Registration {
    ZTEndPoint* endPoint;
    ZTEndPointHandler* handler;
    std::uint64_t since; // the manager's count of changes when this one was made
    Registration* next;  // in the order of the set, whose own steps cost more than a look

    static Registration* first(const Registrations& all)
    {
        return all.empty() ? nullptr : *all.begin();
    }
    static Registration* atOrNone(const Registrations& all, Registrations::const_iterator place)
    {
        return place == all.end() ? nullptr : *place;
    }
};

// What belongs to the descriptor for other main loops. Most managers never have it.
struct ZTEndPointManager::Outside {
    explicit Outside(std::uint64_t changes) : changes(changes), readiness(CHECK_INTERVAL_MS) {}

    void watch(const Registration& registration)
    {
        readiness.watch(&registration, descriptorOf(*registration.endPoint));
    }

    // True if the endpoint has the descriptor that it had when that was watched.
    bool noticeChange(const Registration& registration)
    {
        const int descriptor = descriptorOf(*registration.endPoint);
        const bool isSame = descriptor == readiness.getWatched(&registration);
        if (!isSame) {
            readiness.watch(&registration, descriptor);
        }
        return isSame;
    }

    std::uint64_t changes; // the manager's count from now on
    Readiness readiness;
};

inline ZTEndPointManager::Outside* ZTEndPointManager::getOutside() const
{
    const auto address = static_cast<std::uintptr_t>(changes);
    return changes % 2 != 0
               ? nullptr
               : reinterpret_cast<Outside*>(address); // NOLINT(performance-no-int-to-ptr)
}

inline std::uint64_t& ZTEndPointManager::changeCount()
{
    Outside* const outside = getOutside();
    return outside == nullptr ? changes : outside->changes;
}

ZTEndPointManager::ZTEndPointManager() : lastCheck(0), changes(1) {}

ZTEndPointManager::~ZTEndPointManager()
{
    delete getOutside();
    for (const Registration* registration : registrations) {
        delete registration;
    }
}

int ZTEndPointManager::addEndPoint(ZTEndPoint* endPoint, ZTEndPointHandler* handler)
{
    if (endPoint == nullptr || handler == nullptr) {
        return 20;
    }
    if (findByReadID(*endPoint) != registrations.end()) {
        return 25;
    }
    auto registration = std::make_unique<Registration>();
    *registration = {endPoint, handler, changeCount() += 2, nullptr};
    const auto added = registrations.insert(registration.get()).first;
    static_cast<void>(registration.release());
    if (Outside* const outside = getOutside()) {
        try {
            outside->readiness.add(*added);
        } catch (...) {
            delete *added;
            registrations.erase(added);
            throw;
        }
        outside->watch(**added);
    }
    (*added)->next = Registration::atOrNone(registrations, std::next(added));
    if (added != registrations.begin()) {
        (*std::prev(added))->next = *added;
    }
    return 0;
}

int ZTEndPointManager::removeEndPoint(ZTEndPoint* endPoint)
{
    if (endPoint == nullptr) {
        return 20;
    }
    const auto found = findByReadID(*endPoint);
    if (found == registrations.end()) {
        return 23;
    }
    remove(found);
    return 0;
}

int ZTEndPointManager::removeExactEndPoint(ZTEndPoint* endPoint)
{
    if (endPoint == nullptr) {
        return 20;
    }
    const auto found = findExact(endPoint);
    if (found == registrations.end()) {
        return 23;
    }
    remove(found);
    return 0;
}

int ZTEndPointManager::removeEndPointsOf(ZTEndPointHandler* handler)
{
    if (handler == nullptr) {
        return 20;
    }
    int result = 23;
    for (auto next = registrations.begin(); next != registrations.end();) {
        if ((*next)->handler == handler) {
            next = remove(next);
            result = 0;
        } else {
            ++next;
        }
    }
    return result;
}

ZTEndPointHandler* ZTEndPointManager::getEndPointHandlerByEndPoint(ZTEndPoint* endPoint) const
{
    const auto found = findExact(endPoint);
    return found == registrations.end() ? nullptr : (*found)->handler;
}

int ZTEndPointManager::waitForEndPoints(unsigned int deadline, unsigned int mode)
{
    if (mode == MODE_UNTIL_DEADLINE &&
        (lastCheck > deadline || deadline - lastCheck > CHECK_INTERVAL_MS)) {
        handleDisconnectedEndPoints();
        lastCheck = deadline;
    }

    const WaitNumber wait;
    DescriptorSet descriptors;
    for (const Registration* registration = Registration::first(registrations);
         registration != nullptr; registration = registration->next) {
        if (registration->endPoint->isConnected()) {
            descriptors.add(registration->endPoint->getReadEndPointID());
        }
    }

    const int ready = descriptors.awaitReadable(timeToWait(deadline, mode));
    if (ready < 0) {
        return 10;
    }
    if (ready == 0) {
        return 17;
    }
    forEachRegistration([&](ZTEndPoint* endPoint, ZTEndPointHandler* handler) {
        if (endPoint->isConnected() && descriptors.contains(endPoint->getReadEndPointID())) {
            handler->onEndPointReadable(endPoint, this);
        }
    });
    return 0;
}

void ZTEndPointManager::handleDisconnectedEndPoints()
{
    forEachRegistration([](ZTEndPoint* endPoint, ZTEndPointHandler* handler) {
        if (endPoint->isConnected()) {
            return;
        }
        if (endPoint->autoReconnect && endPoint->reconnect() == 0) {
            handler->onEndPointReconnected(endPoint);
        } else {
            handler->onEndPointDisconnected(endPoint);
        }
    });
    if (Outside* const outside = getOutside()) {
        for (const Registration* registration : registrations) {
            outside->watch(*registration);
        }
    }
}

int ZTEndPointManager::getDescriptor()
{
    if (getOutside() == nullptr) {
        auto outside = std::make_unique<Outside>(changes);
        if (!outside->readiness.isPossible()) {
            return -1;
        }
        for (const Registration* registration : registrations) {
            outside->readiness.add(registration);
            outside->watch(*registration);
        }
        changes = reinterpret_cast<std::uintptr_t>(outside.release());
    }
    return getOutside()->readiness.getDescriptor();
}

int ZTEndPointManager::dispatch()
{
    if (getDescriptor() < 0) {
        return 10;
    }
    Readiness& readiness = getOutside()->readiness;
    for (bool hasLooked = false;; hasLooked = true) {
        if (hasLooked) {
            handleDisconnectedEndPoints();
        }
        const WaitNumber wait;
        Readiness::Found found = readiness.find();
        const bool isLast = hasLooked || !found.isLookDue;
        const int result = isLast ? handOut(found.owners) : 17;
        readiness.giveBack(found);
        if (isLast) {
            return result;
        }
    }
}

int ZTEndPointManager::handOut(const std::vector<const void*>& found)
{
    const std::uint64_t start = changeCount();
    int result = 17;
    for (const void* owner : found) {
        const Registration* const registration = findByAddress(owner);
        if (registration == nullptr || registration->since > start) {
            continue; // a handler has removed it, and may have added another at the same address
        }
        const bool isAsFound = getOutside()->noticeChange(*registration) && result != 0;
        if (isAsFound || isReadable(descriptorOf(*registration->endPoint))) {
            result = 0;
            registration->handler->onEndPointReadable(registration->endPoint, this);
            if (const Registration* const kept = findByAddress(owner)) {
                getOutside()->noticeChange(*kept);
            }
        }
    }
    return result;
}

ZTEndPointManager::Registrations::const_iterator
ZTEndPointManager::findByReadID(const ZTEndPoint& endPoint) const
{
    const int readID = endPoint.getReadEndPointID();
    return std::find_if(registrations.begin(), registrations.end(),
                        [readID](const Registration* registration) {
                            return registration->endPoint->getReadEndPointID() == readID;
                        });
}

ZTEndPointManager::Registrations::const_iterator
ZTEndPointManager::findExact(const ZTEndPoint* endPoint) const
{
    return std::find_if(registrations.begin(), registrations.end(),
                        [endPoint](const Registration* registration) {
                            return registration->endPoint == endPoint;
                        });
}

const ZTEndPointManager::Registration* ZTEndPointManager::findByAddress(const void* address) const
{
    const auto found = registrations.find(static_cast<Registration*>(const_cast<void*>(address)));
    return found == registrations.end() ? nullptr : *found;
}

ZTEndPointManager::Registrations::const_iterator
ZTEndPointManager::remove(Registrations::const_iterator found)
{
    if (Outside* const outside = getOutside()) {
        outside->readiness.remove(*found);
    }
    changeCount() += 2;
    if (found != registrations.begin()) {
        (*std::prev(found))->next = (*found)->next;
    }
    delete *found;
    return registrations.erase(found);
}

// Visits what is registered now. A visit may add and remove registrations, the visited one too:
// what it adds is left out, what it removes is not visited any more.
template <class Visit>
void ZTEndPointManager::forEachRegistration(Visit visit)
{
    const std::uint64_t* count = &changeCount(); // another one once there is a descriptor
    const std::uint64_t start = *count;
    std::uint64_t before = start;
    Registration* current = Registration::first(registrations);
    while (current != nullptr) {
        if (current->since <= start) {
            visit(current->endPoint, current->handler);
        }
        if (*count == before) {
            current = current->next;
        } else {
            current = Registration::atOrNone(registrations, registrations.upper_bound(current));
            count = &changeCount();
            before = *count;
        }
    }
}

} // namespace ZT
