// soak SECONDS [SEED], on the simulated device: an application uses the library while its daemons
// are taken away and come back, peers of its message server come, go and are killed, and files are
// copied. Ends with 0 if nothing was lost that need not be, and if the application holds no more
// descriptors, threads and memory than after a warm-up.
//
// The process disturbs; the application is its child, and so are the peers.

#include "Actor.h"
#include "Check.h"
#include "Copier.h"
#include "Disturbance.h"
#include "HealthUser.h"
#include "Holdings.h"
#include "MessageServer.h"
#include "Peer.h"
#include "PowerUser.h"
#include "Random.h"
#include "support/TemporaryFolder.h"

#include "ztutil/ZTDebug.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

const char SERIAL_NUMBER[] = "SOAK-1"; // as the simulated device was given it
const int MOST_PEERS = 4;

struct Disturbances {
    Disturbance power{"/var/run/ztpmd_api", "ztsim ctl hang-up power"};
    Disturbance health{"/var/run/zthmd_api", "ztsim ctl hang-up health"};
};

Disturbances& shareDisturbances()
{
    void* const memory = mmap(nullptr, sizeof(Disturbances), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    check(memory != MAP_FAILED, "there is memory to share");
    return *new (memory) Disturbances;
}

/// How the two processes tell each other that they are ready for what comes next.
class Rendezvous {
public:
    Rendezvous() { check(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0, "there are sockets"); }

    /// This process has the one end, its child the other; so it is seen if either ends.
    void takeEnd(int index)
    {
        close(ends[1 - index]);
        own = ends[index];
    }

    void tell() const { check(write(own, "", 1) == 1, "the other process can be told"); }

    void await() const
    {
        char byte = 0;
        check(read(own, &byte, 1) == 1, "the other process goes on");
    }

private:
    int ends[2];
    int own = -1;
};

class Application {
public:
    Application(const std::string& folder, unsigned int seed, const Disturbances& daemons)
    {
        actors.push_back(std::make_unique<PowerUser>(seed + 1, daemons.power));
        actors.push_back(std::make_unique<HealthUser>(seed + 2, daemons.health, SERIAL_NUMBER));
        actors.push_back(std::make_unique<MessageServer>(seed + 3, folder));
        actors.push_back(std::make_unique<Copier>(seed + 4));
    }

    void run(const Rendezvous& disturber)
    {
        act(disturber);
        const Holdings before;
        disturber.tell();
        act(disturber);
        checkNoGrowth(before);
        for (const auto& actor : actors) {
            std::printf("%s\n", actor->report().c_str());
        }
        disturber.tell();
    }

private:
    // Until the disturber has had enough.
    void act(const Rendezvous& disturber)
    {
        for (const auto& actor : actors) {
            actor->start();
        }
        disturber.tell();
        disturber.await();
        for (const auto& actor : actors) {
            actor->stop();
        }
    }

    static void checkNoGrowth(const Holdings& before)
    {
        const auto deadline = Clock::now() + std::chrono::seconds(10);
        while (!Holdings().isWithin(before) && Clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        const Holdings after;
        std::printf("after the warm-up %s, in the end %s\n", before.text().c_str(),
                    after.text().c_str());
        check(after.isWithin(before), "the application holds no more than it held");
    }

    std::vector<std::unique_ptr<Actor>> actors;
};

class Disturber {
public:
    Disturber(std::string folder, unsigned int seed, Disturbances& daemons)
        : folder(std::move(folder)), random(seed), daemons(daemons)
    {}

    void disturbFor(std::chrono::milliseconds time)
    {
        const auto deadline = Clock::now() + time;
        while (Clock::now() < deadline) {
            disturbOnce();
            reapPeers(WNOHANG);
            std::this_thread::sleep_for(std::chrono::milliseconds(random.below(100)));
        }
        while (peers > 0) {
            reapPeers(0);
        }
    }

    void report() const
    {
        std::printf("%d times without the power-management daemon, %d without the health-monitor "
                    "daemon, %d peers, %d of them killed\n",
                    daemons.power.count(), daemons.health.count(), started, killed);
    }

private:
    void disturbOnce()
    {
        switch (random.below(8)) {
        case 0:
            daemons.power.disturb();
            break;
        case 1:
            daemons.health.disturb();
            break;
        case 2:
        case 3:
        case 4:
            startPeer();
            break;
        default:
            break;
        }
    }

    void startPeer()
    {
        const unsigned int seed = random.number();
        if (peers == MOST_PEERS) {
            return;
        }
        ++peers;
        ++started;
        if (fork() == 0) {
            Peer(folder, seed).run();
            std::_Exit(0);
        }
    }

    void reapPeers(int options)
    {
        int status = 0;
        while (peers > 0 && waitpid(0, &status, options) > 0) {
            const bool isKilled = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
            check(isKilled || status == 0, "a peer or the application goes on");
            killed += isKilled ? 1 : 0;
            --peers;
        }
    }

    const std::string folder;
    Random random;
    Disturbances& daemons;
    int peers = 0;
    int started = 0;
    int killed = 0;
};

void run(std::chrono::milliseconds time, unsigned int seed)
{
    const TemporaryFolder folder;
    Disturbances& daemons = shareDisturbances();
    Rendezvous rendezvous;
    const pid_t application = fork();
    if (application == 0) {
        rendezvous.takeEnd(1);
        Application(folder / "", seed, daemons).run(rendezvous);
        std::fflush(stdout);
        std::_Exit(0);
    }
    rendezvous.takeEnd(0);

    Disturber disturber(folder / "", seed, daemons);
    for (const auto part : {time / 5, time - time / 5}) {
        rendezvous.await();
        disturber.disturbFor(part);
        rendezvous.tell();
        rendezvous.await();
    }
    int status = -1;
    waitpid(application, &status, 0);
    check(status == 0, "the application ends well");
    disturber.report();
}

// Process 1 of another system must not be told anything.
bool isOnSimulatedDevice()
{
    return readAll("/proc/1/comm") == "ztsim\n";
}

} // namespace

int main(int count, char** arguments)
{
    if (count < 2 || !isOnSimulatedDevice()) {
        std::fprintf(stderr, "usage, on the simulated device: soak SECONDS [SEED]\n");
        return 2;
    }
    const unsigned long seconds = std::strtoul(arguments[1], nullptr, 10);
    const unsigned int seed =
        count > 2 ? static_cast<unsigned int>(std::strtoul(arguments[2], nullptr, 10))
                  : std::random_device()();
    std::printf("%lu s, seed %u\n", seconds, seed);
    std::fflush(stdout);
    std::signal(SIGPIPE, SIG_IGN);
    ZT::ZTDebug::setLevel(0); // each lost connection has a line
    try {
        run(std::chrono::seconds(seconds), seed);
    } catch (const std::exception& error) {
        check(false, error.what());
    }
}
