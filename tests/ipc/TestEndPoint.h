#ifndef ZT_TESTS_TESTENDPOINT_H
#define ZT_TESTS_TESTENDPOINT_H

#include "zt/ZTEndPoint.h"
#include "zt/ZTEndPointHandler.h"

#include <functional>
#include <ostream>
#include <string>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>
#include <vector>

/// An endpoint whose answers the test decides. It owns no descriptor.
class TestEndPoint : public ZT::ZTEndPoint {
public:
    explicit TestEndPoint(int readID, bool connected = true, bool autoReconnect = false)
        : ZTEndPoint(autoReconnect), readID(readID), connected(connected)
    {}

    int getReadEndPointID() const override { return readID; }
    int getWriteEndPointID() const override { return -1; }
    bool isConnected() const override { return connected; }

    int reconnect() override
    {
        ++reconnections;
        connected = reconnectResult <= 1;
        return reconnectResult;
    }

    int readID;
    bool connected;
    int reconnectResult = 0;
    int reconnections = 0;
};

/// An endpoint that is readable until it is read.
class ReadableEndPoint : public TestEndPoint {
public:
    ReadableEndPoint() : TestEndPoint(eventfd(1, EFD_CLOEXEC | EFD_NONBLOCK)) {}
    ~ReadableEndPoint() override { close(readID); }

    ReadableEndPoint(const ReadableEndPoint&) = delete;
    ReadableEndPoint& operator=(const ReadableEndPoint&) = delete;
};

/// A call of a handler.
struct Call {
    std::string callback;
    ZT::ZTEndPoint* endPoint;
};

inline bool operator==(const Call& left, const Call& right)
{
    return left.callback == right.callback && left.endPoint == right.endPoint;
}

inline std::ostream& operator<<(std::ostream& stream, const Call& call)
{
    return stream << call.callback << ' ' << call.endPoint;
}

/// Notes what it is called with, and does what the test says.
class NotingHandler : public ZT::ZTEndPointHandler {
public:
    int onEndPointReadable(ZT::ZTEndPoint* endPoint, ZT::ZTEndPointManager* manager) override
    {
        managers.push_back(manager);
        return note("readable", endPoint);
    }

    int onEndPointReconnected(ZT::ZTEndPoint* endPoint) override
    {
        return note("reconnected", endPoint);
    }

    int onEndPointDisconnected(ZT::ZTEndPoint* endPoint) override
    {
        return note("disconnected", endPoint);
    }

    std::vector<Call> take() { return std::exchange(calls, {}); }

    std::vector<Call> calls;
    std::vector<ZT::ZTEndPointManager*> managers;
    std::function<void(ZT::ZTEndPoint*)> action = [](ZT::ZTEndPoint*) {};
    int result = 0;

private:
    int note(const std::string& callback, ZT::ZTEndPoint* endPoint)
    {
        calls.push_back({callback, endPoint});
        action(endPoint);
        return result;
    }
};

#endif
