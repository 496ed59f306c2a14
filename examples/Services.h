#ifndef ZT_EXAMPLES_SERVICES_H
#define ZT_EXAMPLES_SERVICES_H

#include "PowerEvents.h"
#include "RecordServer.h"
#include "TextServer.h"

#include <cstdio>
#include <string>

/// What each example of a main loop has to do, all of it on one manager: power events, local
/// clients and TCP records.
class Services {
public:
    explicit Services(const std::string& path)
        : power(manager), local(manager, path, [this](const std::string& text) { take(text); }),
          records(manager)
    {
        std::setvbuf(stdout, nullptr, _IOLBF, 0);
    }

    /// Says so, too.
    bool areReady() const
    {
        const bool all = power.isConnected() && local.isListening() && records.isListening();
        std::puts(all ? "listening" : "the daemon is away, or the path or the port is taken");
        return all;
    }

    /// Whether a local client has said so.
    bool areStopped() const { return stopped; }

    ZT::ZTEndPointManager manager;

private:
    void take(const std::string& text)
    {
        if (text == "stop") {
            stopped = true;
        } else {
            power.askForState();
        }
    }

    bool stopped = false;
    PowerEvents power;
    TextServer local;
    RecordServer records;
};

#endif
