#include "zt/ZTEndPointManager.h"

#include "ipc/DescriptorSet.h"
#include "ipc/WaitNumber.h"
#include "zt/ZTEndPoint.h"
#include "zt/ZTEndPointHandler.h"

#include "ztutil/ZTTick.h"

#include <algorithm>
#include <iterator>
#include <memory>

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

} // namespace

struct ZTEndPointManager::Registration {
    ZTEndPoint* endPoint;
    ZTEndPointHandler* handler;
    std::uint64_t since; // the manager's count of changes when this one was made
};

ZTEndPointManager::ZTEndPointManager() : lastCheck(0), changes(0) {}

ZTEndPointManager::~ZTEndPointManager()
{
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
    *registration = {endPoint, handler, ++changes};
    registrations.insert(registration.get());
    static_cast<void>(registration.release());
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
    for (const Registration* registration : registrations) {
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
    forEachRegistration([&](const Registration& registration) {
        ZTEndPoint* endPoint = registration.endPoint;
        if (endPoint->isConnected() && descriptors.contains(endPoint->getReadEndPointID())) {
            registration.handler->onEndPointReadable(endPoint, this);
        }
    });
    return 0;
}

void ZTEndPointManager::handleDisconnectedEndPoints()
{
    forEachRegistration([](const Registration& registration) {
        ZTEndPoint* endPoint = registration.endPoint;
        if (endPoint->isConnected()) {
            return;
        }
        if (endPoint->autoReconnect && endPoint->reconnect() == 0) {
            registration.handler->onEndPointReconnected(endPoint);
        } else {
            registration.handler->onEndPointDisconnected(endPoint);
        }
    });
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

ZTEndPointManager::Registrations::const_iterator
ZTEndPointManager::remove(Registrations::const_iterator found)
{
    delete *found;
    ++changes;
    return registrations.erase(found);
}

// Visits what is registered now. A visit may add and remove registrations, the visited one too:
// what it adds is left out, what it removes is not visited any more.
template <class Visit>
void ZTEndPointManager::forEachRegistration(Visit visit)
{
    const std::uint64_t start = changes;
    auto next = registrations.begin();
    while (next != registrations.end()) {
        Registration* const current = *next;
        const std::uint64_t before = changes;
        if (current->since <= start) {
            visit(Registration(*current));
        }
        next = changes == before ? std::next(next) : registrations.upper_bound(current);
    }
}

} // namespace ZT
