// Runs on a simulated device, which it drives, and is the program under test, too.

#include "ztsim/Device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// A client of the power-management daemon.
class Client {
public:
    Client()
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, "/var/run/ztpmd_api");
        const int result =
            ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
        EXPECT_EQ(result, 0);
    }
    ~Client() { ::close(socket); }

    void say(std::uint32_t type, std::uint32_t state = 0, std::uint32_t value = 0)
    {
        const std::uint32_t record[12]{type, 0, state, value};
        EXPECT_EQ(::send(socket, record, sizeof record, MSG_NOSIGNAL), 48);
    }

    // The type of the next record; 0 at the end.
    std::uint32_t hear()
    {
        std::uint32_t record[12]{};
        return ::recv(socket, record, sizeof record, MSG_WAITALL) == 48 ? record[0] : 0;
    }

private:
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

template <typename Exception, typename Call>
std::string textOf(Call call)
{
    try {
        call();
    } catch (const Exception& error) {
        return error.what();
    }
    return "nothing is thrown";
}

TEST(Device, IsTheOneThatThisProcessIsOn)
{
    EXPECT_EQ(ztsim::Device().powerState(), 0U);
    EXPECT_EQ(textOf<ztsim::Error>([] { ztsim::Device("other"); }),
              "no device named other runs here: start one with ztsim --name other");
}

TEST(Device, TellsWhatItWasTold)
{
    ztsim::Device device;
    device.powerState(4);
    device.timeout(3, 4294967295U);
    device.propagationTime(30);
    device.deviceState("rs232", -5);
    device.healthField("serial-number", "A  1\n\x1b");
    EXPECT_EQ(device.powerState(), 4U);
    EXPECT_EQ(device.timeout(3), 4294967295U);
    EXPECT_EQ(device.propagationTime(), 30U);
    EXPECT_EQ(device.deviceState("console"), -5);
    EXPECT_EQ(device.healthField("serial-number"), "A  1\n\x1b");
    EXPECT_THAT(device.show(), HasSubstr("\"power\":{\"state\":4,"));
}

TEST(Device, SaysWhatItRefuses)
{
    ztsim::Device device;
    EXPECT_EQ(textOf<ztsim::Error>([&] { device.powerState(7); }),
              "power: STATE: \"7\" is not in 0..6");
    EXPECT_EQ(textOf<ztsim::Error>([&] { device.powerFault("mishap"); }),
              "power-fault: there is no fault \"mishap\", but hang-up, short-record, unknown-type, "
              "unknown-device, silence");
    EXPECT_EQ(textOf<ztsim::Error>([&] { device.say({}); }).substr(0, 27),
              "there is no command \"\", but");
}

TEST(Device, TellsTheProgramOfChanges)
{
    ztsim::Device device;
    Client client;
    client.say(8);
    EXPECT_EQ(client.hear(), 10U);
    device.powerState(3);
    EXPECT_EQ(client.hear(), 11U);
}

TEST(Device, KnowsWhatTheProgramSays)
{
    ztsim::Device device;
    EXPECT_THAT(device.records(), IsEmpty());
    Client client;
    client.say(1, 2, 9);
    client.say(8);
    EXPECT_EQ(client.hear(), 2U);
    EXPECT_EQ(client.hear(), 10U);
    device.awaitRecord("timeout 2 9");
    device.awaitRecord("power .", std::chrono::milliseconds(0));
    EXPECT_THAT(device.records(), ElementsAre("timeout 2 9", "power"));
    EXPECT_THAT(device.records("timeout any 9"), ElementsAre("timeout 2 9"));
    EXPECT_EQ(device.countRecords(), 2U);
    EXPECT_EQ(device.countRecords("propagation"), 0U);
}

TEST(Device, ThrowsNotSaidWhenTheTimeIsUp)
{
    const ztsim::Device device;
    Client client;
    client.say(8);
    EXPECT_EQ(client.hear(), 10U);
    device.awaitRecord("power");
    EXPECT_EQ(textOf<ztsim::NotSaid>(
                  [&] { device.awaitNextRecord("power", std::chrono::milliseconds(1)); }),
              "no client has said \"power\" in time");
    EXPECT_EQ(textOf<ztsim::NotSaid>(
                  [&] { device.awaitRecord("timeout 2", std::chrono::milliseconds(1)); }),
              "no client has said \"timeout 2\" in time");
}

TEST(Device, AwaitsTheNextRecord)
{
    const ztsim::Device device;
    bool isOver = false;
    std::thread program([&] {
        Client client;
        while (!__atomic_load_n(&isOver, __ATOMIC_SEQ_CST)) {
            client.say(8);
            client.hear();
        }
    });
    device.awaitNextRecord("power", std::chrono::seconds(60));
    __atomic_store_n(&isOver, true, __ATOMIC_SEQ_CST);
    program.join();
}

TEST(Device, DisturbsTheProgram)
{
    ztsim::Device device;
    Client client;
    client.say(3);
    EXPECT_EQ(client.hear(), 99U) << "as the options of this device want it";
    device.powerFault("none");
    device.powerFault("unknown-type@timeout 2");
    client.say(0, 2);
    EXPECT_EQ(client.hear(), 99U);
    device.healthFault("silence");
    EXPECT_THAT(device.show(), HasSubstr("\"faults\":[\"silence@1\"]"));

    device.slow(std::chrono::milliseconds(1), "power");
    EXPECT_THAT(device.show(), HasSubstr("\"slow\":\"1ms\""));
    device.slow(std::chrono::milliseconds(0));
    EXPECT_THAT(device.show(), Not(HasSubstr("\"slow\":\"1ms\"")));

    device.deaf(true);
    client.say(8);
    device.powerState(5);
    EXPECT_EQ(client.hear(), 11U);
    device.deaf(false, "power");
    EXPECT_EQ(client.hear(), 10U);

    device.hangUp("health");
    device.hangUp();
    EXPECT_EQ(client.hear(), 0U);
}

TEST(Device, ThatWasNotStartedCannotBeAwaited)
{
    ztsim::Device device;
    EXPECT_EQ(textOf<ztsim::Error>([&] { device.wait(); }),
              "this object has started no device, or the device has ended already");
    device.end();
    EXPECT_EQ(device.powerState(), 0U);
}

} // namespace
