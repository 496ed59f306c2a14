#ifndef ZT_TESTS_HIGHDESCRIPTORS_H
#define ZT_TESTS_HIGHDESCRIPTORS_H

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <unistd.h>
#include <vector>

/// Uses up the descriptors below FD_SETSIZE, so that whatever is opened next lies beyond it.
class HighDescriptors {
public:
    HighDescriptors()
    {
        rlimit limit{};
        getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
        int descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
        while (descriptor >= 0 && descriptor < FD_SETSIZE - 1) {
            used.push_back(descriptor);
            descriptor = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
        }
        used.push_back(descriptor);
    }

    ~HighDescriptors()
    {
        for (const int descriptor : used) {
            close(descriptor);
        }
    }

    HighDescriptors(const HighDescriptors&) = delete;
    HighDescriptors& operator=(const HighDescriptors&) = delete;

private:
    std::vector<int> used;
};

#endif
