#ifndef ZT_TESTS_COPYLISTENER_H
#define ZT_TESTS_COPYLISTENER_H

#include "support/Event.h"
#include "zt/ZTFileHandlingInterface.h"

#include <functional>
#include <mutex>
#include <string>
#include <vector>

/// Hears how a copy goes, keeps it and then does what the test wants.
class CopyListener : public ZT::ZTFileHandlingInterface {
public:
    /// What came, such as "progress 100" and "finished 0".
    std::vector<std::string> calls() const
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return received;
    }

    std::function<void()> onProgress = [] {};
    std::function<void()> onFinished = [] {};
    Event progressed;
    Event finished;

    void copyProgress(unsigned int percent) override
    {
        keep("progress " + std::to_string(percent));
        progressed.happen();
        onProgress();
    }

    void copyFinished(int errorCode) override
    {
        keep("finished " + std::to_string(errorCode));
        finished.happen();
        onFinished();
    }

private:
    void keep(const std::string& call)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        received.push_back(call);
    }

    mutable std::mutex mutex;
    std::vector<std::string> received;
};

#endif
