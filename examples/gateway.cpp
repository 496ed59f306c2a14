// A whole application on one thread and the manager's own loop: it says which device it is, hears
// power events, serves local and TCP clients, and copies a folder when a local client says "copy",
// until one says "stop": gateway PATH SOURCE TARGET

#include "FolderCopy.h"
#include "PowerEvents.h"
#include "RecordServer.h"
#include "TextServer.h"
#include "zt/ZTEeprom.h"
#include "ztutil/ZTTick.h"

#include <cstdio>
#include <string>

namespace {

const unsigned int TURN_MS = 500; // how long a look for the daemon, if it is away, may be late

} // namespace

int main(int argc, char** argv)
{
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    if (argc != 4) {
        std::fputs("usage: gateway PATH SOURCE TARGET\n", stderr);
        return 2;
    }
    bool stopped = false;
    ZT::ZTEndPointManager manager;
    FolderCopy copy(manager);
    PowerEvents power(manager);
    RecordServer records(manager);
    const TextServer local(manager, argv[1], [&](const std::string& text) {
        if (text == "stop") {
            stopped = true;
        } else if (text == "copy") {
            copy.start(argv[2], argv[3]);
        } else {
            power.askForState();
        }
    });
    if (!power.isConnected() || !local.isListening() || !records.isListening()) {
        std::fputs("the daemon is away, or the path or the port is taken\n", stderr);
        return 1;
    }
    std::printf("device %s\n", ZT::ZTEeprom::getSerialNumber().c_str());
    while (!stopped) {
        manager.waitForEndPoints(ZT::ZTTick::getTickCount() + TURN_MS, 0);
    }
}
