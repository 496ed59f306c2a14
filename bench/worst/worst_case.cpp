// worst_case COUNT: how long the slowest of COUNT times take, beside the same work by hand, and
// what a mutex does to a thread that is more urgent than the one that holds it. It says so if it
// has no real-time priority. With the arguments of ipc_peer it is that itself.

#include "bench/ipc/Connection.h"
#include "bench/ipc/FloorLink.h"
#include "bench/ipc/ZtLink.h"
#include "bench/ipc/answer.h"
#include "bench/power/FloorClient.h"
#include "bench/power/ZtClient.h"
#include "bench/support/Pinning.h"
#include "bench/support/require.h"
#include "zt/ZTMutex.h"

#include <boost/thread/mutex.hpp>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <ctime>
#include <memory>
#include <pthread.h>
#include <semaphore.h>
#include <string>
#include <thread>
#include <vector>

namespace {

using Nanoseconds = long long;

const Nanoseconds HELD_FOR = 100000;
const Nanoseconds BUSY_FOR = 5000000;
const std::size_t INVERSIONS = 100;

Nanoseconds now()
{
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * 1000000000LL + time.tv_nsec;
}

Nanoseconds processorTime()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return time.tv_sec * 1000000000LL + time.tv_nsec;
}

void work(Nanoseconds time)
{
    const Nanoseconds end = processorTime() + time;
    while (processorTime() < end) {
    }
}

// False without the right to it, which whoever is urgent already has for less.
bool beUrgent(int priority)
{
    sched_param parameter{};
    parameter.sched_priority = priority;
    return pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameter) == 0;
}

struct Times {
    Nanoseconds median;
    Nanoseconds ofThousand; // of a thousand one takes longer
    Nanoseconds highest;
};

template <class Work>
Times timesOf(std::size_t count, Work work)
{
    std::vector<Nanoseconds> all(count);
    for (Nanoseconds& time : all) {
        time = work();
    }
    std::sort(all.begin(), all.end());
    return {all[count / 2], all[count - 1 - count / 1000], all.back()};
}

template <class Work>
Nanoseconds timeOf(Work work)
{
    const Nanoseconds start = now();
    work();
    return now() - start;
}

void printRow(const char* name, const Times& floor, const Times& ours)
{
    const auto microseconds = [](Nanoseconds time) { return static_cast<double>(time) / 1000; };
    const auto ratio = [](Nanoseconds one, Nanoseconds other) {
        return static_cast<double>(one) / static_cast<double>(other);
    };
    std::printf("| %s | %.2f | %.2f | %.2f | %.2f | %.2f | %.2f |\n", name,
                microseconds(floor.median), microseconds(floor.ofThousand),
                microseconds(floor.highest), ratio(ours.median, floor.median),
                ratio(ours.ofThousand, floor.ofThousand), ratio(ours.highest, floor.highest));
    std::fflush(stdout);
}

template <class Link>
Times roundTrips(std::size_t count)
{
    Connection<Link> connection(64, 1);
    return timesOf(count, [&] {
        return timeOf([&] {
            connection.send();
            connection.receive();
        });
    });
}

template <class Client>
Times events(std::size_t count)
{
    Client client;
    return timesOf(count, [&] {
        return timeOf([&] {
            client.ask();
            client.takeAnswer();
        });
    });
}

class ZtMutex {
public:
    void lock() { mutex->lock(); }
    void unlock() { mutex->unlock(); }

private:
    const std::unique_ptr<ZT::ZTMutex> mutex{ZT::ZTMutex::create()};
};

// The system's, which lends its holder the priority of those that wait.
class LendingMutex {
public:
    LendingMutex()
    {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_setprotocol(&attributes, PTHREAD_PRIO_INHERIT);
        require(pthread_mutex_init(&mutex, &attributes) == 0, "pthread_mutex_init");
        pthread_mutexattr_destroy(&attributes);
    }
    ~LendingMutex() { pthread_mutex_destroy(&mutex); }

    LendingMutex(const LendingMutex&) = delete;
    LendingMutex& operator=(const LendingMutex&) = delete;

    void lock() { pthread_mutex_lock(&mutex); }
    void unlock() { pthread_mutex_unlock(&mutex); }

private:
    pthread_mutex_t mutex{};
};

class Gate {
public:
    Gate() { sem_init(&opened, 0, 0); }
    ~Gate() { sem_destroy(&opened); }

    Gate(const Gate&) = delete;
    Gate& operator=(const Gate&) = delete;

    void open() { sem_post(&opened); }
    void await() { sem_wait(&opened); }

private:
    sem_t opened{};
};

// Against a less urgent thread on the other core.
template <class Mutex>
Times contendedLocks(std::size_t count)
{
    Mutex mutex;
    std::atomic<bool> isOver{false};
    Gate gate;
    std::thread other([&] {
        pinTo(1);
        beUrgent(1);
        gate.open();
        while (!isOver) {
            mutex.lock();
            mutex.unlock();
        }
    });
    gate.await();
    const Times times = timesOf(count, [&] {
        return timeOf([&] {
            mutex.lock();
            mutex.unlock();
        });
    });
    isOver = true;
    other.join();
    return times;
}

// Three threads on one core: while the least urgent holds the mutex, the most urgent comes to wait
// for it, and one between them to be busy.
template <class Mutex>
Times inversions()
{
    return timesOf(INVERSIONS, [] {
        Mutex mutex;
        Nanoseconds waited = 0;
        Gate urgentGate;
        Gate busyGate;
        std::thread urgent([&] {
            beUrgent(4);
            urgentGate.await();
            waited = timeOf([&] { mutex.lock(); });
            mutex.unlock();
        });
        std::thread busy([&] {
            beUrgent(3);
            busyGate.await();
            work(BUSY_FOR);
        });
        std::thread holder([&] {
            beUrgent(2);
            mutex.lock();
            urgentGate.open();
            busyGate.open();
            work(HELD_FOR);
            mutex.unlock();
        });
        urgent.join();
        busy.join();
        holder.join();
        return waited;
    });
}

} // namespace

int main(int count, char** arguments)
{
    if (count == 5) {
        (arguments[1] == std::string(ZtLink::NAME)
             ? answer<ZtLink>
             : answer<FloorLink>)(arguments[2],
                                  static_cast<std::uint32_t>(std::stoul(arguments[3])),
                                  std::stoi(arguments[4]));
    }
    require(count == 2, "usage: worst_case COUNT");
    const std::size_t times = std::stoul(arguments[1]);
    require(times > 0, "COUNT");
    pinTo(0);
    if (!beUrgent(5)) {
        std::puts("Without real-time priority: the highest times are those of the machine's other "
                  "work.\n");
    }
    std::puts("| Work | by hand: median µs | 99.9 % | highest | ours: median | 99.9 % | highest |\n"
              "|---|---|---|---|---|---|---|");
    printRow("IPC round trip, 64 bytes, two processes", roundTrips<FloorLink>(times),
             roundTrips<ZtLink>(times));
    printRow("power request out, event in", events<FloorClient>(times), events<ZtClient>(times));
    printRow("lock, contended by a thread of less priority", contendedLocks<boost::mutex>(times),
             contendedLocks<ZtMutex>(times));
    printRow("lock held by the least urgent of three threads on one core",
             inversions<LendingMutex>(), inversions<ZtMutex>());
    return 0;
}
