#include "PowerSocket.h"

#include <gtest/gtest.h>

#include <deque>
#include <initializer_list>
#include <limits>
#include <string>
#include <vector>

namespace {

constexpr std::array<const char*, 21> kDevices{
    "display", "display_bl", "keypad_bl", "encoder_bl", "rgb_led", "beeper",      "keypad",
    "encoder", "touch",      "console",   "output0",    "output1", "output2",     "cam_output",
    "video0",  "input0",     "input1",    "input2",     "input3",  "status_led1", "status_led2"};

const Record kGetPowerState = power(8);

/// That nothing else has come before the answer to a question asked now.
void expectNothingBut(const PowerSocket& client, const Record& powerState)
{
    EXPECT_EQ(client.ask(kGetPowerState), powerState);
}

TEST(ZtsimPowerDaemon, AnswersTheTimeoutOfEachState)
{
    const PowerSocket client;
    for (std::uint32_t state = 0; state <= 5; ++state) {
        EXPECT_EQ(client.ask(power(0, state)), power(2, state, 0));
    }
}

TEST(ZtsimPowerDaemon, StoresATimeoutPerStateAndTellsEverybody)
{
    const PowerSocket setter;
    const PowerSocket other;
    for (std::uint32_t state = 0; state <= 5; ++state) {
        const std::uint32_t value = std::numeric_limits<std::uint32_t>::max() - state;
        EXPECT_EQ(setter.ask(power(1, state, value)), power(2, state, value));
        EXPECT_EQ(other.receive(), power(2, state, value));
    }
    for (std::uint32_t state = 0; state <= 5; ++state) {
        EXPECT_EQ(other.ask(power(0, state)),
                  power(2, state, std::numeric_limits<std::uint32_t>::max() - state));
    }
}

TEST(ZtsimPowerDaemon, AnswersTheStateOfEachDevice)
{
    const PowerSocket client;
    for (const char* name : kDevices) {
        EXPECT_EQ(client.ask(device(3, name)), device(5, name, 0));
    }
}

TEST(ZtsimPowerDaemon, StoresAStatePerDeviceAndTellsEverybody)
{
    const PowerSocket setter;
    const PowerSocket other;
    std::int32_t state = -10;
    for (const char* name : kDevices) {
        EXPECT_EQ(setter.ask(device(4, name, state)), device(5, name, state));
        EXPECT_EQ(other.receive(), device(5, name, state));
        ++state;
    }
    state = -10;
    for (const char* name : kDevices) {
        EXPECT_EQ(other.ask(device(3, name)), device(5, name, state++));
    }
}

TEST(ZtsimPowerDaemon, ReportsRs232AsConsole)
{
    const PowerSocket client;
    EXPECT_EQ(client.ask(device(4, "rs232", 3)), device(5, "console", 3));
    EXPECT_EQ(client.ask(device(3, "console")), device(5, "console", 3));
    EXPECT_EQ(client.ask(device(4, "console", 4)), device(5, "console", 4));
    EXPECT_EQ(client.ask(device(3, "rs232")), device(5, "console", 4));
}

TEST(ZtsimPowerDaemon, ReportsVideoAsVideo0)
{
    const PowerSocket client;
    EXPECT_EQ(client.ask(device(4, "video", 3)), device(5, "video0", 3));
    EXPECT_EQ(client.ask(device(3, "video0")), device(5, "video0", 3));
    EXPECT_EQ(client.ask(device(4, "video0", 4)), device(5, "video0", 4));
    EXPECT_EQ(client.ask(device(3, "video")), device(5, "video0", 4));
}

TEST(ZtsimPowerDaemon, ReadsADeviceNameUpToItsNulOnly)
{
    const PowerSocket client;
    const std::string name("touch\0garbage", 13);
    EXPECT_EQ(client.ask(device(3, name)), device(5, "touch", 0));
}

TEST(ZtsimPowerDaemon, ReadsADeviceNameWithoutNulUpToItsRoomOnly)
{
    const PowerSocket client;
    Record full = device(3, "touch_and_more_x");
    put(full, 24, 0x68637574); // would prolong the name
    client.send(full);
    expectNothingBut(client, power(10, 0));
}

TEST(ZtsimPowerDaemon, StoresAPowerStateAndTellsEverybody)
{
    const PowerSocket setter;
    const PowerSocket other;
    for (const std::uint32_t state : {5U, 2U, 1U, 0U}) {
        EXPECT_EQ(setter.ask(power(9, state)), power(11, state));
        EXPECT_EQ(other.receive(), power(11, state));
        EXPECT_EQ(setter.ask(kGetPowerState), power(10, state));
    }
    expectNothingBut(other, power(10, 0));
}

TEST(ZtsimPowerDaemon, EntersState3AndTellsEverybody)
{
    const PowerSocket setter;
    const PowerSocket other;
    EXPECT_EQ(setter.ask(power(13)), power(11, 3));
    EXPECT_EQ(other.receive(), power(11, 3));
    EXPECT_EQ(other.ask(kGetPowerState), power(10, 3));
}

TEST(ZtsimPowerDaemon, EntersState6AndTellsNobody)
{
    const PowerSocket setter;
    const PowerSocket other;
    EXPECT_EQ(setter.ask(power(9, 2)), power(11, 2));
    EXPECT_EQ(other.receive(), power(11, 2));
    setter.send(power(12));
    expectNothingBut(setter, power(10, 2));
    expectNothingBut(other, power(10, 2));
}

TEST(ZtsimPowerDaemon, StoresThePropagationTimeAndTellsEverybody)
{
    const PowerSocket setter;
    const PowerSocket other;
    EXPECT_EQ(setter.ask(power(14, 2)), power(16, 2, 0));
    for (const std::uint32_t value : {1U, 30U, 0U, 17U}) {
        EXPECT_EQ(setter.ask(power(15, 2, value)), power(17, 2, value));
        EXPECT_EQ(other.receive(), power(17, 2, value));
        EXPECT_EQ(setter.ask(power(14, 2)), power(16, 2, value));
    }
    expectNothingBut(other, power(10, 0));
}

TEST(ZtsimPowerDaemon, AnswersTheAskerOnly)
{
    const PowerSocket asker;
    const PowerSocket other;
    EXPECT_EQ(asker.ask(power(0, 1)), power(2, 1));
    EXPECT_EQ(asker.ask(device(3, "touch")), device(5, "touch"));
    EXPECT_EQ(asker.ask(kGetPowerState), power(10));
    EXPECT_EQ(asker.ask(power(14, 2)), power(16, 2));
    expectNothingBut(other, power(10));
}

TEST(ZtsimPowerDaemon, IgnoresWhatIsOutOfRangeOrUnknown)
{
    const PowerSocket client;
    const std::vector<Record> requests{
        power(0, 6),
        power(1, 6, 1),
        power(0, 0xFFFFFFFF),
        power(9, 3),
        power(9, 4),
        power(9, 6),
        power(9, 7),
        power(14, 1),
        power(14, 3),
        power(15, 1, 1),
        power(15, 3, 1),
        power(15, 2, 31),
        device(3, "toaster"),
        device(4, "toaster", 1),
        device(3, ""),
        device(3, "touch0"),
        device(4, "touc", 1),
        device(3, "Touch"),
        power(2, 1, 1),
        device(5, "touch", 1),
        power(6),
        power(7),
        power(10, 1),
        power(11, 1),
        power(16, 2, 1),
        power(17, 2, 1),
        power(18),
        power(0xFFFFFFFF),
    };
    for (const Record& request : requests) {
        client.send(request);
        expectNothingBut(client, power(10, 0));
    }
    EXPECT_EQ(client.ask(power(14, 2)), power(16, 2, 0));
    EXPECT_EQ(client.ask(device(3, "touch")), device(5, "touch", 0));
    EXPECT_EQ(client.ask(power(0, 1)), power(2, 1, 0));
}

TEST(ZtsimPowerDaemon, PutsARecordTogetherFromItsBytes)
{
    const PowerSocket slow;
    const PowerSocket other;
    const Record request = power(1, 4, 77);
    for (const unsigned char& byte : request) {
        EXPECT_EQ(other.ask(kGetPowerState), power(10)); // the bytes before have been read
        slow.sendBytes(&byte, 1);
    }
    EXPECT_EQ(slow.receive(), power(2, 4, 77));
}

TEST(ZtsimPowerDaemon, TakesManyRecordsAtOnce)
{
    const PowerSocket client;
    std::vector<unsigned char> requests;
    for (std::uint32_t value = 0; value < 100; ++value) {
        const Record request = power(1, 3, value);
        requests.insert(requests.end(), request.begin(), request.end());
    }
    const Record half = power(8);
    requests.insert(requests.end(), half.begin(), half.begin() + 24);
    client.sendBytes(requests.data(), requests.size());
    for (std::uint32_t value = 0; value < 100; ++value) {
        EXPECT_EQ(client.receive(), power(2, 3, value));
    }
    client.sendBytes(half.data() + 24, 24);
    EXPECT_EQ(client.receive(), power(10));
}

TEST(ZtsimPowerDaemon, TellsWhoeverHadConnectedBefore)
{
    const PowerSocket setter;
    for (std::uint32_t round = 0; round < 50; ++round) {
        const std::deque<PowerSocket> others(8);
        EXPECT_EQ(setter.ask(power(1, 0, round)), power(2, 0, round));
        for (const PowerSocket& other : others) {
            EXPECT_EQ(other.receive(), power(2, 0, round));
        }
    }
}

TEST(ZtsimPowerDaemon, TellsWhoeverHadConnectedEvenWhenBusy)
{
    const PowerSocket setter;
    for (std::uint32_t round = 0; round < 2000; ++round) {
        setter.send(power(1, 0, round));
        const PowerSocket other;
        setter.send(power(1, 1, round));
        setter.receiveBytes(2 * sizeof(Record));
        Record heard = other.ask(kGetPowerState);
        if (heard == power(2, 0, round)) {
            heard = other.receive();
        }
        ASSERT_EQ(heard, power(2, 1, round));
    }
}

TEST(ZtsimPowerDaemon, ServesManyClients)
{
    const std::deque<PowerSocket> clients(200);
    EXPECT_EQ(clients.front().ask(power(13)), power(11, 3));
    for (const PowerSocket& client : clients) {
        if (&client != &clients.front()) {
            EXPECT_EQ(client.receive(), power(11, 3));
        }
        expectNothingBut(client, power(10, 3));
    }
}

void connectAndClose(const void* bytes, std::size_t size)
{
    const PowerSocket client;
    client.sendBytes(bytes, size);
}

TEST(ZtsimPowerDaemon, OutlivesClientsThatCloseAtOnceOrAmidARecord)
{
    const PowerSocket client;
    for (int round = 0; round < 100; ++round) {
        connectAndClose(nullptr, 0);
        connectAndClose("half", 4);
        connectAndClose(kGetPowerState.data(), kGetPowerState.size()); // the answer stays unread
    }
    EXPECT_EQ(client.ask(kGetPowerState), power(10));
}

TEST(ZtsimPowerDaemon, DropsAClientThatAsksButDoesNotRead)
{
    const PowerSocket deaf;
    std::size_t asked = 0;
    while (asked < 100000 && deaf.send(kGetPowerState)) {
        ++asked;
    }
    EXPECT_LT(asked, 100000U);
    const PowerSocket client;
    EXPECT_EQ(client.ask(kGetPowerState), power(10));
}

/// Has so many notifications sent to all clients.
void notify(std::uint32_t count)
{
    const PowerSocket client;
    for (std::uint32_t value = 0; value < count; ++value) {
        ASSERT_EQ(client.ask(power(1, 0, value)), power(2, 0, value));
    }
}

TEST(ZtsimPowerDaemon, DropsAClientThatDoesNotReadNotifications)
{
    constexpr std::uint32_t kMany = 10000;
    const PowerSocket deaf;
    notify(kMany);
    EXPECT_LT(deaf.receiveBytes(kMany * sizeof(Record)).size(), kMany * sizeof(Record));
}

TEST(ZtsimPowerDaemon, KeepsNotificationsForASlowClient)
{
    constexpr std::uint32_t kSome = 1000;
    const PowerSocket slow;
    notify(kSome);
    for (std::uint32_t value = 0; value < kSome; ++value) {
        ASSERT_EQ(slow.receive(), power(2, 0, value));
    }
    expectNothingBut(slow, power(10));
}

} // namespace
