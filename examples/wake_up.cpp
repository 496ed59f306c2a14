// One thread runs the main loop, another gives it numbers to add up: it writes them into a pipe
// that the loop waits for among all else. A 0 ends the loop.

#include "zt/ZTEndPointHandler.h"
#include "zt/ZTEndPointManager.h"
#include "zt/ZTPipe.h"
#include "zt/ZTThread.h"

#include <cstdio>
#include <memory>

namespace {

const int LAST = 4;
const unsigned int WITHOUT_LIMIT = 2;

class Adder : public ZT::ZTEndPointHandler {
public:
    explicit Adder(ZT::ZTPipe& source) : pipe(source) {}

    int onEndPointReadable(ZT::ZTEndPoint* /*endPoint*/, ZT::ZTEndPointManager* manager) override
    {
        int number = 0;
        const int result = pipe.readFromPipe(&number, sizeof number);
        if (result != 0 || number == 0) {
            manager->removeEndPoint(&pipe);
            done = true;
        } else {
            sum += number;
            std::printf("%d makes %d\n", number, sum);
        }
        return result;
    }
    int onEndPointReconnected(ZT::ZTEndPoint* /*endPoint*/) override { return 0; }
    int onEndPointDisconnected(ZT::ZTEndPoint* /*endPoint*/) override { return 0; }

    bool done = false;

private:
    ZT::ZTPipe& pipe;
    int sum = 0;
};

void giveNumbers(void* argument)
{
    const ZT::ZTPipe& pipe = *static_cast<ZT::ZTPipe*>(argument);
    for (int number = LAST; number >= 0; --number) {
        pipe.writeIntoPipe(&number, sizeof number);
    }
}

} // namespace

int main()
{
    ZT::ZTPipe pipe;
    ZT::ZTEndPointManager manager;
    Adder adder(pipe);
    if (pipe.init() != 0 || manager.addEndPoint(&pipe, &adder) != 0) {
        return 1;
    }
    const std::unique_ptr<ZT::ZTThread> giver(ZT::ZTThread::create("giver"));
    giver->startThread(giveNumbers, &pipe);
    while (!adder.done) {
        manager.waitForEndPoints(0, WITHOUT_LIMIT);
    }
    giver->join();
    std::puts("done");
}
