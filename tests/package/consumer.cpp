// Sends a byte through a pipe to itself by way of the endpoint manager, and says so.

#include "zt/ZTEndPointHandler.h"
#include "zt/ZTEndPointManager.h"
#include "zt/ZTPipe.h"
#include "ztutil/ZTTick.h"

#include <cstdio>

namespace {

class Reader : public ZT::ZTEndPointHandler {
public:
    explicit Reader(ZT::ZTPipe& source) : pipe(source) {}

    int onEndPointReadable(ZT::ZTEndPoint*, ZT::ZTEndPointManager*) override
    {
        return pipe.readFromPipe(&received, 1);
    }
    int onEndPointReconnected(ZT::ZTEndPoint*) override { return 0; }
    int onEndPointDisconnected(ZT::ZTEndPoint*) override { return 0; }

    char received = 0;

private:
    ZT::ZTPipe& pipe;
};

} // namespace

int main()
{
    const unsigned int limitMs = 5000;
    ZT::ZTPipe pipe;
    ZT::ZTEndPointManager manager;
    Reader reader(pipe);
    pipe.init();
    manager.addEndPoint(&pipe, &reader);
    pipe.writeIntoPipe("Z", 1);
    const int result = manager.waitForEndPoints(ZT::ZTTick::getTickCount() + limitMs, 0);
    std::printf("%d %c\n", result, reader.received);
    return result;
}
