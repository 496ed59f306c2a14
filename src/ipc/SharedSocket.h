#ifndef ZT_SHAREDSOCKET_H
#define ZT_SHAREDSOCKET_H

#include <atomic>
#include <memory>
#include <unistd.h>
#include <utility>

namespace ZT {

/// A place for a socket that several threads use: whoever uses the socket holds it, and the last
/// one closes it. Holding it takes no lock.
///
/// A place stays in memory as long as its endpoint, and is used again once it is empty. So a thread
/// that comes too late for one socket may look into its place: it finds nothing there, or the next.
class SharedSocket {
public:
    /// Empty, and the first of a list.
    explicit SharedSocket(std::unique_ptr<SharedSocket> next) : next(std::move(next)) {}

    /// Closes what is still held: in a forked child, by threads that are not there.
    ~SharedSocket()
    {
        if (users != 0) {
            close(number);
        }
    }

    SharedSocket(const SharedSocket&) = delete;
    SharedSocket& operator=(const SharedSocket&) = delete;

    /// Holds the socket. False if the place is empty, or if another thread holds or releases the
    /// socket in the same moment. Any thread may call it at any time.
    bool hold()
    {
        unsigned int count = users.load(std::memory_order_relaxed);
        return count != 0 && users.compare_exchange_weak(count, count + 1); // not covered: a race
    }

    // For those that hold it.

    int getNumber() const { return number; }

    void release()
    {
        const int last = number; // whoever takes the empty place changes it
        if (users.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            close(last);
        }
    }

    // For one thread at a time.

    /// An empty place of a list, to which it adds one if there is none. Throws std::bad_alloc.
    static SharedSocket* emptyOf(std::unique_ptr<SharedSocket>& list);

    /// Puts a socket into the empty place, held for the caller.
    void put(int newNumber)
    {
        number = newNumber;
        users.store(1, std::memory_order_release);
    }

private:
    bool isEmpty() const { return users.load(std::memory_order_acquire) == 0; }

    const std::unique_ptr<SharedSocket> next;
    int number = 0;
    std::atomic<unsigned int> users{0};
};

struct SharedSocketRelease {
    void operator()(SharedSocket* held) const { held->release(); }
};

} // namespace ZT

#endif
