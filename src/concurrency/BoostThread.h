#ifndef ZT_BOOSTTHREAD_H
#define ZT_BOOSTTHREAD_H

#include "zt/ZTThread.h"

#include <sys/types.h>

namespace boost {
class thread;
}

namespace ZT {

class ZT_API BoostThread : public ZTThread {
public:
    explicit BoostThread(const std::string& name);
    ~BoostThread() override;

    BoostThread(const BoostThread&) = delete;
    BoostThread& operator=(const BoostThread&) = delete;

    int startThread(void (*function)(void*), void* argument) override;
    int join() override;
    int getPriority(int& policy, int& priority) override;
    int setPriority(int policy, int priority) override;
    int timed_join(unsigned int milliseconds) override;
    int sendSignal(int signal) override;

    /// Names the thread for the system's thread lists; returns pthread_setname_np's result.
    int setThreadName(const std::string& name);

private:
    int setSystemPriority(int systemPolicy, int priority);

    boost::thread* handle;
    std::string name;
    pid_t process; // in which the thread runs; a child made by fork() has another one
};

} // namespace ZT

#endif
