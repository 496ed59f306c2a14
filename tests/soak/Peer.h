#ifndef ZT_SOAK_PEER_H
#define ZT_SOAK_PEER_H

#include "Check.h"
#include "Message.h"
#include "Random.h"

#include "zt/ZTIPCEndPoint.h"

#include <chrono>
#include <csignal>
#include <cstdint>
#include <string>
#include <thread>
#include <unistd.h>

/// A process that sends messages over some connections and then ends, or is killed amid one.
class Peer {
public:
    Peer(std::string folder, unsigned int seed) : folder(std::move(folder)), random(seed) {}

    /// Returns if it is not killed.
    void run()
    {
        for (unsigned int connections = 1 + random.below(3); connections > 0; --connections) {
            connect();
            const std::uint32_t messages = 1 + random.below(3000);
            for (std::uint32_t number = 0; number < messages; ++number) {
                send(number, number == 0 ? ANNOUNCEMENT + messages : chooseWish());
                if (random.isOneIn(100)) {
                    std::this_thread::sleep_for(std::chrono::microseconds(random.below(20000)));
                }
            }
            if (random.isOneIn(4)) {
                kill(getpid(), SIGKILL);
            }
            endPoint.deinitialize();
        }
    }

private:
    static constexpr long WITHOUT_LIMIT = -1;

    std::uint32_t chooseWish() { return random.isOneIn(50) ? ECHO : NOTHING; }

    void connect()
    {
        endPoint.setConnectTimeout(WITHOUT_LIMIT);
        endPoint.setSendTimeout(WITHOUT_LIMIT);
        const std::string name = folder + "/peer" + std::to_string(getpid());
        check(endPoint.initialize(name, false) == 0, "a peer can bind its name");
        check(endPoint.connectTo(folder + "/server") == 0, "a peer can connect");
    }

    void send(std::uint32_t number, std::uint32_t wish)
    {
        Message message(number, wish);
        check(endPoint.sendMessage(&message) == 0, "a peer can send");
        if (wish == ECHO) {
            Message echo;
            check(endPoint.receiveMessage(&echo, WITHOUT_LIMIT) == 0, "an echo comes");
            check(echo.header1 == number && bytesOf(echo) == payload(number),
                  "an echo is what was sent");
        }
    }

    const std::string folder;
    Random random;
    ZT::ZTIPCEndPoint endPoint{false};
};

#endif
