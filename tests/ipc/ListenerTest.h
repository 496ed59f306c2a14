#ifndef ZT_TESTS_LISTENERTEST_H
#define ZT_TESTS_LISTENERTEST_H

#include "support/Diagnostics.h"
#include "support/LocalPeer.h"
#include "zt/ZTIPCEndPoint.h"

#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

const char EXPIRED[] = "receiveMessage() Receive timeout expired.";
const char HUNG_UP[] = "receiveMessage() Connection refused peerThe other end of the connection is "
                       "closed. (0 bytesH)";

inline Line failure(const std::string& text)
{
    return {1, "zt_ipc_endpoint", text};
}

inline auto openDescriptors()
{
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
}

/// Listener threads that run; a sanitizer may have threads of its own.
inline int threads()
{
    int count = 0;
    std::error_code vanished;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task", vanished)) {
        std::string name;
        std::getline(std::ifstream(task.path() / "comm"), name);
        count += name == "MsgArrivalLstnr" ? 1 : 0;
    }
    return count;
}

/// A thread that has been joined may show a moment longer.
inline void awaitEndOfThreads()
{
    while (threads() != 0) {
        std::this_thread::yield();
    }
}

/// Notes what arrives, after an action of the test's.
class NotingListener : public ZT::ZTIPCMessageArrivalListener {
public:
    void onMessageArrival(IPCMessage* message) override
    {
        const std::string text(reinterpret_cast<char*>(message->data), message->dataLength);
        action(message);
        const std::lock_guard<std::mutex> lock(mutex);
        texts.push_back(text);
        changed.notify_all();
    }

    /// Waits until so many messages have arrived, and returns what has.
    std::vector<std::string> await(std::size_t count)
    {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [&] { return texts.size() >= count; });
        return texts;
    }

    std::vector<std::string> arrived() { return await(0); }

    std::function<void(IPCMessage*)> action = [](IPCMessage*) {};

private:
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::string> texts;
};

/// An endpoint with a listener, and its peer.
class Listening {
public:
    void listen(long timeout = -1)
    {
        endPoint->setReceiveTimeout(timeout);
        ASSERT_EQ(endPoint->setMessageArrivalListener(&listener), 0);
    }

    std::string receive()
    {
        OwnedMessage message;
        EXPECT_EQ(endPoint->receiveMessage(&message, -1), 0);
        return message.text();
    }

    Diagnostics diagnostics;
    NotingListener listener;
    std::unique_ptr<ZT::ZTIPCEndPoint> endPoint = std::make_unique<ZT::ZTIPCEndPoint>(false);
    std::unique_ptr<LocalPeer> peer = std::make_unique<LocalPeer>(*endPoint);
    const int descriptor = endPoint->getReadEndPointID();
};

class ListenerTest : public testing::Test, protected Listening {
protected:
    void TearDown() override
    {
        endPoint.reset();
        EXPECT_THAT(diagnostics.take(), testing::IsEmpty());
    }
};

#endif
