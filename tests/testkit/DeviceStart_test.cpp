// Starts devices of its own, outside of any.

#include "ztsim/Device.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

class DeviceStart : public testing::Test {
protected:
    void SetUp() override { ::setenv("ZTSIM", ZTSIM_PATH, 1); }
};

template <typename Call>
std::string errorOf(Call call)
{
    try {
        call();
    } catch (const ztsim::Error& error) {
        return error.what();
    }
    return "nothing is thrown";
}

TEST_F(DeviceStart, RunsACommandOnADeviceOfItsOwn)
{
    auto device =
        ztsim::Device::start({"sh", "-c", "until [ $(ztsim ctl power) = 5 ]; do :; done; exit 7"},
                             {"--power-state", "3"});
    EXPECT_EQ(device.powerState(), 3U);
    device.powerState(5);
    EXPECT_EQ(device.wait(), 7);
    EXPECT_EQ(errorOf([&] { device.powerState(); }), "the device has ended");
    EXPECT_EQ(errorOf([&] { device.wait(); }),
              "this object has started no device, or the device has ended already");
}

TEST_F(DeviceStart, OutlivesACommandThatEndsAtOnce)
{
    for (int round = 0; round < 20; ++round) {
        EXPECT_EQ(ztsim::Device::start({"true"}).wait(), 0);
    }
}

TEST_F(DeviceStart, RunsTenAtOnce)
{
    std::vector<ztsim::Device> devices;
    for (unsigned int number = 0; number < 10; ++number) {
        devices.push_back(ztsim::Device::start({"sleep", "infinity"}));
        devices.back().timeout(1, number);
    }
    for (unsigned int number = 0; number < 10; ++number) {
        EXPECT_EQ(devices[number].timeout(1), number);
    }
}

TEST_F(DeviceStart, EndsTheDeviceWithTheObject)
{
    const std::string name = "ended-" + std::to_string(::getpid());
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_NONBLOCK), 0);
    pid_t child = -1;
    {
        const auto device = ztsim::Device::start({"sleep", "infinity"}, {"--name", name});
        EXPECT_EQ(ztsim::Device(name).powerState(), 0U);
        ::close(ends[1]);
        child = ::fork(); // has inherited what the object has open
        if (child == 0) {
            ::pause();
        }
    }
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    char byte = 0;
    EXPECT_EQ(::read(ends[0], &byte, 1), 0) << "a process of the device is left";
    ::close(ends[0]);
    EXPECT_EQ(errorOf([&] { ztsim::Device{name}; }),
              "no device named " + name + " runs here: start one with ztsim --name " + name);
}

TEST_F(DeviceStart, EndsTheDeviceWithTheProcessThatStartedIt)
{
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        const auto device = ztsim::Device::start({"sleep", "infinity"});
        ::kill(::getpid(), SIGKILL);
    }
    ::close(ends[1]);
    ::waitpid(child, nullptr, 0);
    char byte = 0;
    EXPECT_EQ(::read(ends[0], &byte, 1), 0) << "a process of the device is left";
    ::close(ends[0]);
}

TEST_F(DeviceStart, MovesTheDevice)
{
    auto device = ztsim::Device::start({"sleep", "infinity"}, {"--power-state", "1"});
    device = ztsim::Device::start({"sleep", "infinity"}, {"--power-state", "2"});
    EXPECT_EQ(device.powerState(), 2U);
    const ztsim::Device moved = std::move(device);
    EXPECT_EQ(moved.powerState(), 2U);
}

TEST_F(DeviceStart, SaysWhatIsMissing)
{
    ::setenv("ZTSIM", "/nonesuch", 1);
    EXPECT_EQ(
        errorOf([] { ztsim::Device::start({"true"}); }),
        "cannot run /nonesuch: put the folder of ztsim on the PATH, or set ZTSIM to its path");
    ::setenv("ZTSIM", ZTSIM_PATH, 1);
    EXPECT_EQ(
        errorOf([] { ztsim::Device::start({"true"}, {"--bogus"}); }),
        "ztsim ended with 125 before its device was ready: see what it says on standard error");
    ::unsetenv("ZTSIM");
    ::setenv(
        "PATH",
        (std::string(ZTSIM_PATH).substr(0, std::string(ZTSIM_PATH).rfind('/')) + ":/bin").c_str(),
        1);
    EXPECT_EQ(ztsim::Device::start({"true"}).wait(), 0);
}

TEST_F(DeviceStart, LeaksNoDescriptor)
{
    const int before = ::dup(0);
    ::close(before);
    ztsim::Device::start({"sleep", "infinity"}).powerFault("none");
    EXPECT_NE(errorOf([] { ztsim::Device::start({"true"}, {"--bogus"}); }), "");
    const int after = ::dup(0);
    ::close(after);
    EXPECT_EQ(after, before);
}

} // namespace
