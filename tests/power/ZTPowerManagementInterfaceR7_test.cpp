#include "zt/ZTPowerManagementInterfaceR7.h"

#include "support/Diagnostics.h"
#include "support/Event.h"
#include "support/FakeDaemon.h"
#include "support/FixedTick.h"
#include "support/Interpose.h"
#include "zt/ZTEndPointManager.h"
#include "zt/ZTPipe.h"
#include "zt/ZTSignal.h"
#include "zt/ZTSignalListener.h"
#include "ztutil/ZTTick.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <functional>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <poll.h>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;
using namespace ZT;

namespace {

const unsigned int POLL = 1;

Line line(const std::string& text)
{
    return {1, "zt_power_management", text};
}

class NotingListener : public ZTSignalListener {
public:
    int onSignal(ZTSignal& signal) override
    {
        signals.push_back(signal);
        return result;
    }

    std::vector<ZTSignal> signals;
    int result = 0;
};

// What a signal says, for comparing it whole.
struct Content {
    std::uint32_t eventID;
    std::uint32_t value;
    std::int32_t state;
};

bool operator==(const Content& left, const Content& right)
{
    return left.eventID == right.eventID && left.value == right.value && left.state == right.state;
}

std::ostream& operator<<(std::ostream& stream, const Content& content)
{
    return stream << content.eventID << " value " << content.value << " state " << content.state;
}

Content contentOf(const ZTSignal& signal)
{
    return {signal.getEventID(), signal.getValue(), signal.getState()};
}

// A stand-in for an endpoint that belongs to somebody else.
class OtherEndPoint : public ZTEndPoint {
public:
    explicit OtherEndPoint(int readID) : ZTEndPoint(false), readID(readID) {}

    int getReadEndPointID() const override { return readID; }
    int getWriteEndPointID() const override { return readID; }
    bool isConnected() const override { return true; }
    int reconnect() override { return 0; }

private:
    int readID;
};

class InterfaceTest : public testing::Test {
protected:
    InterfaceTest() : power(ZTPowerManagement::create()), client(daemon.accept())
    {
        EXPECT_NE(power, nullptr);
        EXPECT_EQ(power->setEventListener(&listener), 0);
        EXPECT_EQ(power->subscribeToEndpointManager(&manager), 0);
    }

    ZTPowerManagementInterfaceR7& interface()
    {
        return dynamic_cast<ZTPowerManagementInterfaceR7&>(*power);
    }

    void expectSent(const RecordBytes& record)
    {
        EXPECT_EQ(client->receive(), std::string(record));
        EXPECT_FALSE(client->hasNews());
    }

    void expectNothingSent() { EXPECT_FALSE(client->hasNews()); }

    // The connection's descriptor, which the callbacks return for endpoints of others.
    int ownDescriptor()
    {
        const OtherEndPoint other(-2);
        return interface().onEndPointReadable(const_cast<OtherEndPoint*>(&other), nullptr);
    }

    // Calls the interface as the manager does, and returns what it returns.
    int readOne()
    {
        OtherEndPoint own(ownDescriptor());
        return interface().onEndPointReadable(&own, &manager);
    }

    Diagnostics diagnostics;
    FakePowerDaemon daemon;
    ZTEndPointManager manager;
    NotingListener listener;
    std::unique_ptr<ZTPowerManagement> power;
    std::unique_ptr<FakeDaemon::Connection> client;
};

} // namespace

TEST(ZTPowerManagement, CreateWithoutADaemonReturnsNullAndLeavesNothingOpen)
{
    std::vector<int> opened;
    std::vector<int> closed;
    const Interpose openRecorder(interposed::socket, [&](int domain, int type, int protocol) {
        opened.push_back(interposed::socket.real(domain, type, protocol));
        return opened.back();
    });
    const Interpose closeRecorder(interposed::close, [&](int descriptor) {
        closed.push_back(descriptor);
        return interposed::close.real(descriptor);
    });
    EXPECT_EQ(ZTPowerManagement::create(), nullptr);
    EXPECT_EQ(opened.size(), 1U);
    EXPECT_EQ(closed, opened);
}

TEST(ZTPowerManagement, CreateWithoutASocketReturnsNull)
{
    const FakePowerDaemon daemon;
    const Interpose refused(interposed::socket, [](auto...) {
        errno = EMFILE;
        return -1;
    });
    EXPECT_EQ(ZTPowerManagement::create(), nullptr);
}

TEST(ZTPowerManagement, InitReturnsTheConnectionsCodes)
{
    ZTPowerManagementInterfaceR7 power;
    EXPECT_EQ(power.init(), 14);
    const FakePowerDaemon daemon;
    EXPECT_EQ(power.init(), 0);
    const Interpose refused(interposed::socket, [](auto...) {
        errno = EMFILE;
        return -1;
    });
    EXPECT_EQ(power.init(), 4);
}

TEST(ZTPowerManagement, RequestsBeforeInitReturn7)
{
    ZTPowerManagementInterfaceR7 power;
    EXPECT_EQ(power.getPowerState(), 7);
    EXPECT_EQ(power.setPowerState(STATE_0), 7);
    EXPECT_EQ(power.setDeviceStateForLowPower(0, 0), 7);
    EXPECT_EQ(power.release(), 0);
}

TEST_F(InterfaceTest, CreateMakesTheR7Interface)
{
    EXPECT_NE(dynamic_cast<ZTPowerManagementInterfaceR7*>(power.get()), nullptr);
    EXPECT_NE(dynamic_cast<ZTEndPointHandler*>(power.get()), nullptr);
}

TEST_F(InterfaceTest, DeletingItHangsUp)
{
    power.reset();
    EXPECT_EQ(client->receive(), "");
}

TEST_F(InterfaceTest, ReleaseHangsUpAndForgetsTheListener)
{
    EXPECT_EQ(power->release(), 0);
    EXPECT_EQ(client->receive(), "");
    EXPECT_EQ(power->getPowerState(), 7);
    ZTSignal signal;
    EXPECT_EQ(interface().fireSignalToSubscribers(signal), 0);
    EXPECT_THAT(listener.signals, IsEmpty());
}

TEST_F(InterfaceTest, ReleaseReturns16WhenTheSystemsCloseFails)
{
    const Interpose failing(interposed::close, [](int descriptor) {
        interposed::close.real(descriptor);
        errno = EIO;
        return -1;
    });
    EXPECT_EQ(power->release(), 16);
}

TEST_F(InterfaceTest, InitForgetsTheListener)
{
    EXPECT_EQ(power->init(), 0);
    ZTSignal signal;
    EXPECT_EQ(interface().fireSignalToSubscribers(signal), 0);
    EXPECT_THAT(listener.signals, IsEmpty());
}

TEST_F(InterfaceTest, SubscribingToNoManagerReturns20)
{
    EXPECT_EQ(power->subscribeToEndpointManager(nullptr), 20);
}

TEST_F(InterfaceTest, SubscribingReturnsTheManagersResult)
{
    EXPECT_EQ(power->subscribeToEndpointManager(&manager), 25);
    ZTEndPointManager second;
    EXPECT_EQ(power->subscribeToEndpointManager(&second), 0);
}

TEST_F(InterfaceTest, UnsubscribingTakesItOutAndLeavesItConnected)
{
    const std::unique_ptr<ZTPowerManagement> another(ZTPowerManagement::create());
    EXPECT_EQ(another->subscribeToEndpointManager(&manager), 0);
    EXPECT_EQ(power->unsubscribeFromEndpointManager(&manager), 0);
    client->send(RecordBytes(10));
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 17);
    EXPECT_EQ(power->unsubscribeFromEndpointManager(&manager), 23);
    EXPECT_EQ(power->subscribeToEndpointManager(&manager), 0);
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
    EXPECT_EQ(listener.signals.size(), 1U) << "it has kept its connection and its listener";
    EXPECT_EQ(another->unsubscribeFromEndpointManager(&manager), 0);
}

TEST_F(InterfaceTest, UnsubscribingFromNoManagerReturns20)
{
    EXPECT_EQ(power->unsubscribeFromEndpointManager(nullptr), 20);
}

TEST_F(InterfaceTest, ItCanDieBeforeItsManagerEvenIfItIsClosed)
{
    OtherEndPoint closed(-1);
    ZTPowerManagementInterfaceR7 notOpen;
    EXPECT_EQ(manager.addEndPoint(&closed, &notOpen), 0);
    EXPECT_EQ(power->release(), 0);
    EXPECT_EQ(power->unsubscribeFromEndpointManager(&manager), 0);
    power.reset();
    EXPECT_EQ(manager.getEndPointHandlerByEndPoint(&closed), &notOpen);
    manager.handleDisconnectedEndPoints();
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 17);
}

TEST_F(InterfaceTest, ItsListenerMayUnsubscribeIt)
{
    class Leaving : public ZTSignalListener {
    public:
        Leaving(ZTPowerManagement& power, ZTEndPointManager& manager)
            : power(power), manager(manager)
        {}
        int onSignal(ZTSignal&) override { return power.unsubscribeFromEndpointManager(&manager); }

    private:
        ZTPowerManagement& power;
        ZTEndPointManager& manager;
    } leaving(*power, manager);
    power->setEventListener(&leaving);
    client->send(RecordBytes(10));
    client->send(RecordBytes(10));
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 17);
}

TEST_F(InterfaceTest, DisablingThePowerButtonIsNotSupported)
{
    EXPECT_EQ(power->disablePowerbuttonOnToLowPower(), 11);
    expectNothingSent();
}

TEST_F(InterfaceTest, SetPowerStateSendsType9For0And1And2And5)
{
    for (const unsigned int state : {0U, 1U, 2U, 5U}) {
        EXPECT_EQ(power->setPowerState(ztPowerStates(state)), 0);
        expectSent(RecordBytes(9).put(8, state));
    }
    EXPECT_THAT(diagnostics.take(), IsEmpty());
}

TEST_F(InterfaceTest, SetPowerStateSendsTypes13And12WithoutAState)
{
    EXPECT_EQ(power->setPowerState(STATE_3), 0);
    expectSent(RecordBytes(13));
    EXPECT_EQ(power->setPowerState(STATE_6), 0);
    expectSent(RecordBytes(12));
}

TEST_F(InterfaceTest, SetPowerStateRefusesSilentOnAndUnknownStates)
{
    EXPECT_EQ(power->setPowerState(STATE_SILENT_ON), 20);
    EXPECT_EQ(power->setPowerState(ztPowerStates(7)), 20);
    EXPECT_EQ(power->setPowerState(ztPowerStates(4294967295U)), 20);
    EXPECT_THAT(diagnostics.take(), ElementsAre(line("Can't change into silent on mode via API!"),
                                                line("Unknown power state requested!"),
                                                line("Unknown power state requested!")));
    expectNothingSent();
}

TEST_F(InterfaceTest, GetPowerStateSendsType8)
{
    EXPECT_EQ(power->getPowerState(), 0);
    expectSent(RecordBytes(8));
}

TEST_F(InterfaceTest, SetTimeoutForStateSendsType1For1And2And4)
{
    for (const unsigned int state : {1U, 2U, 4U}) {
        EXPECT_EQ(power->setTimeoutForState(ztPowerStates(state), 4294967295U - state), 0);
        expectSent(RecordBytes(1).put(8, state).put(12, 4294967295U - state));
    }
}

TEST_F(InterfaceTest, SetTimeoutForStateRefusesTheOthers)
{
    for (const unsigned int state : {0U, 3U, 5U, 6U, 7U}) {
        EXPECT_EQ(power->setTimeoutForState(ztPowerStates(state), 1), 20);
        EXPECT_THAT(diagnostics.take(),
                    ElementsAre(line("Given p_state does not support setting timeout!")));
    }
    expectNothingSent();
}

TEST_F(InterfaceTest, GetTimeoutForStateSendsType0For1And2And4)
{
    for (const unsigned int state : {1U, 2U, 4U}) {
        EXPECT_EQ(power->getTimeoutForState(ztPowerStates(state)), 0);
        expectSent(RecordBytes(0).put(8, state));
    }
}

TEST_F(InterfaceTest, GetTimeoutForStateSpeaksOfSettingWhenItRefuses0And3)
{
    for (const unsigned int state : {0U, 3U}) {
        EXPECT_EQ(power->getTimeoutForState(ztPowerStates(state)), 20);
        EXPECT_THAT(diagnostics.take(),
                    ElementsAre(line("Setting timeout for given power state not supported!")));
    }
    expectNothingSent();
}

TEST_F(InterfaceTest, GetTimeoutForStateKnowsNoStateAbove4)
{
    for (const unsigned int state : {5U, 6U, 7U, 4294967295U}) {
        EXPECT_EQ(power->getTimeoutForState(ztPowerStates(state)), 20);
        EXPECT_THAT(diagnostics.take(), ElementsAre(line("Unknown power state!")));
    }
    expectNothingSent();
}

TEST_F(InterfaceTest, SetPropagationTimeSendsType15ForState2)
{
    for (const unsigned int time : {0U, 30U}) {
        EXPECT_EQ(power->setPropagationTimeForState(STATE_2, time), 0);
        expectSent(RecordBytes(15).put(8, 2).put(12, time));
    }
}

TEST_F(InterfaceTest, SetPropagationTimeChecksTheTimeBeforeTheState)
{
    EXPECT_EQ(power->setPropagationTimeForState(STATE_2, 31), 20);
    EXPECT_EQ(power->setPropagationTimeForState(STATE_1, 31), 20);
    EXPECT_EQ(power->setPropagationTimeForState(STATE_2, 4294967295U), 20);
    const Line range = line("Propagation time needs to be >= 0 and <= 30!");
    EXPECT_THAT(diagnostics.take(), ElementsAre(range, range, range));
    for (const unsigned int state : {0U, 1U, 3U, 4U, 5U, 6U, 7U}) {
        EXPECT_EQ(power->setPropagationTimeForState(ztPowerStates(state), 30), 20);
        EXPECT_THAT(diagnostics.take(),
                    ElementsAre(line("Given p_state does not support setting propagation time!")));
    }
    expectNothingSent();
}

TEST_F(InterfaceTest, GetPropagationTimeSendsType14ForState2)
{
    EXPECT_EQ(power->getPropagationTimeForState(STATE_2), 0);
    expectSent(RecordBytes(14).put(8, 2));
    for (const unsigned int state : {0U, 1U, 3U, 4U, 5U, 6U, 7U}) {
        EXPECT_EQ(power->getPropagationTimeForState(ztPowerStates(state)), 20);
        EXPECT_THAT(diagnostics.take(), ElementsAre(line("Unknown power state!")));
    }
    expectNothingSent();
}

struct DeviceNames {
    const char* set;
    const char* get;
};

const DeviceNames DEVICES[] = {
    {"display", "display"},       {"display_bl", "display_bl"},   {"keypad_bl", "keypad_bl"},
    {"encoder_bl", "encoder_bl"}, {"rgb_led", "rgb_led"},         {"beeper", "beeper"},
    {"keypad", "keypad"},         {"encoder", "encoder"},         {"touch", "touch"},
    {"rs232", "console"},         {"output0", "output0"},         {"output1", "output1"},
    {"output2", "output2"},       {"cam_output", "cam_output"},   {"video0", "video0"},
    {"input0", "input0"},         {"input1", "input1"},           {"input2", "input2"},
    {"input3", "input3"},         {"status_led1", "status_led1"}, {"status_led2", "status_led2"},
};

TEST_F(InterfaceTest, SetDeviceStateSendsType4WithTheNameAndTheStateAsItIs)
{
    for (int device = 0; device <= 20; ++device) {
        const int state = device % 2 == 0 ? -device : 2000000000 + device;
        EXPECT_EQ(power->setDeviceStateForLowPower(device, state), 0);
        expectSent(
            RecordBytes(4).put(8, DEVICES[device].set).put(24, static_cast<unsigned>(state)));
    }
}

TEST_F(InterfaceTest, GetDeviceStateSendsType3WithTheName)
{
    for (int device = 0; device <= 20; ++device) {
        EXPECT_EQ(power->getDeviceStateInLowPower(device), 0);
        expectSent(RecordBytes(3).put(8, DEVICES[device].get));
    }
}

TEST_F(InterfaceTest, UnknownDevicesAreRefused)
{
    for (const int device : {-1, 21, 2147483647, -2147483647 - 1}) {
        EXPECT_EQ(power->setDeviceStateForLowPower(device, 1), 20);
        EXPECT_EQ(power->getDeviceStateInLowPower(device), 20);
        EXPECT_THAT(diagnostics.take(),
                    ElementsAre(line("Unknown power device!"), line("Unknown power device!")));
    }
    expectNothingSent();
}

TEST_F(InterfaceTest, SendingReturnsTheConnectionsCode)
{
    const Interpose failing(interposed::write, [](auto...) { return -1; });
    EXPECT_EQ(power->getPowerState(), 6);
    EXPECT_EQ(power->setTimeoutForState(STATE_1, 1), 6);
    EXPECT_EQ(power->getDeviceStateInLowPower(1), 6);
}

TEST_F(InterfaceTest, ASignalCarriesCategory6AndTheTickCountOfTheReading)
{
    const FixedTick tick(4294967290U);
    client->send(RecordBytes(10).put(8, 3));
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
    ASSERT_EQ(listener.signals.size(), 1U);
    const ZTSignal& signal = listener.signals[0];
    EXPECT_EQ(signal.getCategory(), 6U);
    EXPECT_EQ(signal.getTimestamp(), 4294967290U);
    EXPECT_EQ(signal.getData1(), 0U);
    EXPECT_EQ(signal.getData2(), 0U);
    EXPECT_EQ(signal.getTriggerData(), 0U);
    EXPECT_EQ(signal.getSignalData1(), 0U);
    EXPECT_EQ(signal.getSignalData2(), 0U);
}

TEST_F(InterfaceTest, EveryRecordOfTheDaemonBecomesItsSignal)
{
    const std::pair<RecordBytes, Content> cases[] = {
        {RecordBytes(2).put(8, 0U).put(12, 4294967295U), {800, 4294967295U, 0}},
        {RecordBytes(2).put(8, 5).put(12, 7), {800, 7, 5}},
        {RecordBytes(5).put(8, "display").put(24, 4294967295U), {801, 0, -1}},
        {RecordBytes(10).put(8, 0U), {802, 0, 0}},
        {RecordBytes(10).put(8, 5).put(12, 99), {802, 0, 5}},
        {RecordBytes(11).put(8, 4).put(12, 99), {803, 0, 4}},
        {RecordBytes(16).put(8, 2).put(12, 30), {804, 30, 2}},
        {RecordBytes(17).put(8, 2).put(12, 31), {805, 31, 2}},
    };
    for (const auto& [record, content] : cases) {
        client->send(record);
        EXPECT_EQ(readOne(), 0);
        ASSERT_EQ(listener.signals.size(), 1U);
        EXPECT_EQ(contentOf(listener.signals[0]), content);
        listener.signals.clear();
    }
    EXPECT_THAT(diagnostics.take(), IsEmpty());
}

TEST_F(InterfaceTest, EveryReportedDeviceNameHasItsNumber)
{
    const std::pair<const char*, unsigned int> reported[] = {
        {"display", 0},      {"display_bl", 1}, {"keypad_bl", 2}, {"rgb_led", 4},
        {"beeper", 5},       {"keypad", 6},     {"encoder", 7},   {"touch", 8},
        {"console", 9},      {"output0", 10},   {"output1", 11},  {"output2", 12},
        {"cam_output", 13},  {"video", 14},     {"video0", 14},   {"input0", 15},
        {"input1", 16},      {"input2", 17},    {"input3", 18},   {"status_led1", 19},
        {"status_led2", 20},
    };
    for (const auto& [name, number] : reported) {
        client->send(RecordBytes(5).put(8, name).put(24, 3));
        EXPECT_EQ(readOne(), 0) << name;
        ASSERT_EQ(listener.signals.size(), 1U);
        EXPECT_EQ(contentOf(listener.signals[0]), (Content{801, number, 3}));
        listener.signals.clear();
    }
}

TEST_F(InterfaceTest, OtherDeviceNamesYield35WithoutALineOrASignal)
{
    for (const char* name : {"encoder_bl", "rs232", "", "Display", "display_", "displa", "video00",
                             "status_led1xxxxx", "status_led1_long", "0123456789abcdef"}) {
        client->send(RecordBytes(5).put(8, name).put(24, 3));
        EXPECT_EQ(readOne(), 35) << name;
    }
    EXPECT_THAT(listener.signals, IsEmpty());
    EXPECT_THAT(diagnostics.take(), IsEmpty());
}

TEST_F(InterfaceTest, ADeviceNameEndsAtItsNul)
{
    client->send(RecordBytes(5).put(8, std::string("touch\0_garbage!", 15)).put(24, 1));
    EXPECT_EQ(readOne(), 0);
    ASSERT_EQ(listener.signals.size(), 1U);
    EXPECT_EQ(listener.signals[0].getValue(), 8U);
}

TEST_F(InterfaceTest, ADeviceNameWithoutItsNulIsBoundedByItsField)
{
    client->send(RecordBytes(5).put(8, "status_led2zzzzz").put(24, 0x7a7a7a7a));
    EXPECT_EQ(readOne(), 35);
}

TEST_F(InterfaceTest, RefusedRecordsPrintTheirLineAndFireNothing)
{
    struct {
        RecordBytes record;
        int result;
        const char* text;
    } const cases[] = {
        {RecordBytes(2).put(8, 6), 35, "Unknown power state!"},
        {RecordBytes(2).put(8, 4294967295U), 35, "Unknown power state!"},
        {RecordBytes(7), 11, "Eventing device list is not supported!"},
        {RecordBytes(10).put(8, 6), 35, "Unknown power state read!"},
        {RecordBytes(11).put(8, 6), 35, "Unknown power state read!"},
        {RecordBytes(16).put(8, 1), 35, "Unknown power state read in propagation time message!"},
        {RecordBytes(16).put(8, 3), 35, "Unknown power state read in propagation time message!"},
        {RecordBytes(17).put(8, 0U), 35, "Unknown power state read in propagation time message!"},
    };
    for (const auto& [record, result, text] : cases) {
        client->send(record);
        EXPECT_EQ(readOne(), result);
        EXPECT_THAT(diagnostics.take(), ElementsAre(line(text)));
    }
    EXPECT_THAT(listener.signals, IsEmpty());
}

TEST_F(InterfaceTest, TypesThatDoNotComeFromTheDaemonYield26)
{
    for (const unsigned int type :
         {0U, 1U, 3U, 4U, 6U, 8U, 9U, 12U, 13U, 14U, 15U, 18U, 99U, 2147483650U, 4294967295U}) {
        client->send(RecordBytes(type).put(8, 2));
        EXPECT_EQ(readOne(), 26) << type;
        EXPECT_THAT(diagnostics.take(), ElementsAre(line("Unknown message type read!")));
    }
    EXPECT_THAT(listener.signals, IsEmpty());
}

TEST_F(InterfaceTest, MessageToEventStoresTheTimestampAlwaysAndTheIdentifierBeforeItsChecks)
{
    struct {
        unsigned int type;
        unsigned int state;
        Content content;
    } const cases[] = {
        {2, 6, {800, 0, 0}},  {5, 6, {0, 0, 0}},    {7, 0, {0, 0, 0}},
        {10, 6, {802, 0, 0}}, {11, 6, {803, 0, 0}}, {16, 1, {804, 0, 0}},
        {17, 1, {805, 0, 0}}, {99, 0, {0, 0, 0}},   {10, 1, {802, 0, 1}},
    };
    for (const auto& [type, state, content] : cases) {
        ztpmd_msg_t message{};
        message.type = type;
        message.power = {state, 12345};
        message.deviceState = 77;
        ZTSignal signal;
        interface().messageToEvent(signal, message, 987654321);
        EXPECT_EQ(contentOf(signal), content) << type;
        EXPECT_EQ(signal.getTimestamp(), 987654321U);
        EXPECT_EQ(signal.getCategory(), 0U) << "only the reading sets it";
    }
}

TEST_F(InterfaceTest, ReadsExactlyOneRecordAtATime)
{
    client->send(std::string(RecordBytes(10).put(8, 1)) + std::string(RecordBytes(11).put(8, 2)));
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
    ASSERT_EQ(listener.signals.size(), 1U);
    EXPECT_EQ(contentOf(listener.signals[0]), (Content{802, 0, 1}));
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
    ASSERT_EQ(listener.signals.size(), 2U);
    EXPECT_EQ(contentOf(listener.signals[1]), (Content{803, 0, 2}));
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 17);
}

TEST_F(InterfaceTest, WithoutAListenerAValidRecordIsConsumedWith0)
{
    EXPECT_EQ(power->setEventListener(nullptr), 0);
    client->send(RecordBytes(10).put(8, 1));
    EXPECT_EQ(readOne(), 0);
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 17);
}

TEST_F(InterfaceTest, ANewListenerReplacesTheOldOne)
{
    NotingListener second;
    EXPECT_EQ(power->setEventListener(&second), 0);
    client->send(RecordBytes(10).put(8, 1));
    EXPECT_EQ(readOne(), 0);
    EXPECT_THAT(listener.signals, IsEmpty());
    EXPECT_EQ(second.signals.size(), 1U);
}

TEST_F(InterfaceTest, AListenerThatRefusesASignalGives7)
{
    for (const int refusal : {-1, 1, 7}) {
        listener.result = refusal;
        client->send(RecordBytes(10).put(8, 1));
        EXPECT_EQ(readOne(), 7);
    }
    EXPECT_EQ(listener.signals.size(), 3U);
}

TEST_F(InterfaceTest, CallbacksForAnotherEndPointDoNothingAndReturnTheOwnDescriptor)
{
    client->send(RecordBytes(10).put(8, 1));
    const int own = ownDescriptor();
    EXPECT_GE(own, 0);
    OtherEndPoint other(own + 1);
    EXPECT_EQ(interface().onEndPointReadable(&other, &manager), own);
    EXPECT_EQ(interface().onEndPointReconnected(&other), own);
    EXPECT_EQ(interface().onEndPointDisconnected(&other), own);
    EXPECT_THAT(listener.signals, IsEmpty());
    EXPECT_FALSE(daemon.hasClient());
    EXPECT_EQ(readOne(), 0) << "the record is still there";
}

TEST_F(InterfaceTest, OnEndPointReconnectedConnectsAnew)
{
    OtherEndPoint own(ownDescriptor());
    EXPECT_EQ(interface().onEndPointReconnected(&own), 0);
    EXPECT_EQ(client->receive(), "");
    client = daemon.accept();
    EXPECT_EQ(power->getPowerState(), 0);
    expectSent(RecordBytes(8));
}

TEST_F(InterfaceTest, OnEndPointReconnectedReturnsTheResultOfConnecting)
{
    const Interpose refused(interposed::connect, [](auto...) {
        errno = ECONNREFUSED;
        return -1;
    });
    OtherEndPoint own(ownDescriptor());
    EXPECT_EQ(interface().onEndPointReconnected(&own), 14);
}

TEST_F(InterfaceTest, OnEndPointDisconnectedClosesAndReturnsTheResult)
{
    {
        OtherEndPoint own(ownDescriptor());
        EXPECT_EQ(interface().onEndPointDisconnected(&own), 0);
        EXPECT_EQ(client->receive(), "");
    }
    EXPECT_EQ(power->init(), 0);
    const Interpose failing(interposed::close, [](int descriptor) {
        interposed::close.real(descriptor);
        return -1;
    });
    OtherEndPoint own(ownDescriptor());
    EXPECT_EQ(interface().onEndPointDisconnected(&own), 16);
}

TEST_F(InterfaceTest, AShortReadClosesTheConnectionAndPrints)
{
    client->send(std::string(47, '\0'));
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
    EXPECT_THAT(diagnostics.take(), ElementsAre(line("Socket was not opened!")));
    EXPECT_EQ(client->receive(), "") << "hung up";
    EXPECT_EQ(power->getPowerState(), 7);
    EXPECT_THAT(listener.signals, IsEmpty());
}

TEST_F(InterfaceTest, AHangUpClosesTheConnectionAndPrints)
{
    client.reset();
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
    EXPECT_THAT(diagnostics.take(), ElementsAre(line("Socket was not opened!")));
    EXPECT_EQ(power->getPowerState(), 7);
}

TEST_F(InterfaceTest, AFailedReadClosesTheConnectionAndIsNotRepeated)
{
    int reads = 0;
    const Interpose failing(interposed::read, [&](int, void*, size_t size) {
        EXPECT_EQ(size, 48U);
        ++reads;
        errno = EINTR;
        return -1;
    });
    EXPECT_EQ(readOne(), 0) << "what printing the line returned";
    EXPECT_EQ(reads, 1);
    EXPECT_THAT(diagnostics.take(), ElementsAre(line("Socket was not opened!")));
    EXPECT_EQ(power->getPowerState(), 7);
}

TEST_F(InterfaceTest, ARecoveryConnectsTwice)
{
    client.reset();
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
    manager.handleDisconnectedEndPoints();
    const auto first = daemon.accept();
    const auto second = daemon.accept();
    EXPECT_FALSE(daemon.hasClient());
    EXPECT_EQ(first->receive(), "") << "the manager's connection, closed again";
    EXPECT_EQ(power->getPowerState(), 0);
    EXPECT_EQ(second->receive(), std::string(RecordBytes(8)));
}

TEST_F(InterfaceTest, ReleasingDoesNotLastWhileAManagerHasTheEndPoint)
{
    EXPECT_EQ(power->release(), 0);
    EXPECT_EQ(power->getPowerState(), 7);
    manager.handleDisconnectedEndPoints();
    EXPECT_EQ(power->getPowerState(), 0);
}

TEST_F(InterfaceTest, ProgramsThatAreStartedInheritTheConnection)
{
    EXPECT_EQ(fcntl(ownDescriptor(), F_GETFD), 0);
}

TEST_F(InterfaceTest, ADaemonThatStaysAwayIsTriedAtEveryCheck)
{
    client.reset();
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
    {
        const Interpose refused(interposed::connect, [](auto...) {
            errno = ECONNREFUSED;
            return -1;
        });
        manager.handleDisconnectedEndPoints();
        EXPECT_EQ(power->getPowerState(), 7) << "the handler has released the failed connection";
        manager.handleDisconnectedEndPoints();
        EXPECT_EQ(power->getPowerState(), 7);
    }
    manager.handleDisconnectedEndPoints();
    EXPECT_EQ(power->getPowerState(), 0);
    EXPECT_THAT(diagnostics.take(), ElementsAre(line("Socket was not opened!")));
    daemon.accept();
    client = daemon.accept();
    client->send(RecordBytes(10).put(8, 1));
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
    EXPECT_EQ(listener.signals.size(), 1U) << "the listener has stayed";
}

TEST_F(InterfaceTest, RequestsToADaemonThatHasGoneReturn6UntilTheHangUpHasBeenRead)
{
    {
        const Interpose refused(interposed::connect, [](auto...) {
            errno = ECONNREFUSED;
            return -1;
        });
        client.reset();
        EXPECT_EQ(power->getPowerState(), 6);
        EXPECT_EQ(power->getPowerState(), 6);
        EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
        EXPECT_EQ(power->getPowerState(), 7);
    }
    manager.handleDisconnectedEndPoints();
    EXPECT_EQ(power->getPowerState(), 0);
}

TEST(ZTPowerManagement, AnEndPointWhoseInitFailedIsReadableAndClosedByTheReading)
{
    Diagnostics diagnostics;
    ZTEndPointManager manager;
    ZTPowerManagementInterfaceR7 power;
    EXPECT_EQ(power.init(), 14);
    EXPECT_EQ(power.subscribeToEndpointManager(&manager), 0);
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
    EXPECT_THAT(diagnostics.take(), ElementsAre(line("Socket was not opened!")));
    EXPECT_EQ(power.getPowerState(), 7);
}

TEST_F(InterfaceTest, SurvivesAStormOfReconnections)
{
    for (int i = 0; i < 500; ++i) {
        client.reset();
        while (daemon.hasClient()) {
            daemon.accept();
        }
        EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
        manager.handleDisconnectedEndPoints();
        daemon.accept();
        client = daemon.accept();
        EXPECT_EQ(power->getPowerState(), 0);
        expectSent(RecordBytes(8));
        client->send(RecordBytes(10).put(8, 1));
        EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
    }
    EXPECT_EQ(listener.signals.size(), 500U);
}

// In a main loop of another kind

namespace {

// The daemon's connections change at the next look; this is one.
class DispatchTest : public InterfaceTest {
protected:
    DispatchTest() { EXPECT_GE(manager.getDescriptor(), 0); }

    bool isManagerReadable()
    {
        pollfd waited{};
        waited.fd = manager.getDescriptor();
        waited.events = POLLIN;
        return poll(&waited, 1, 0) == 1;
    }

    // The connection is the last that was made.
    void look()
    {
        manager.handleDisconnectedEndPoints();
        while (daemon.hasClient()) {
            client = daemon.accept();
        }
    }

    void expectAnEvent()
    {
        listener.signals.clear();
        client->send(RecordBytes(10).put(8, 1));
        EXPECT_TRUE(isManagerReadable());
        EXPECT_EQ(manager.dispatch(), 0);
        while (isManagerReadable()) { // for a look that has become due
            EXPECT_EQ(manager.dispatch(), 17);
        }
        EXPECT_EQ(listener.signals.size(), 1U);
    }
};

} // namespace

TEST_F(DispatchTest, HearsEventsAfterTheDaemonHasHungUpAtAnyMoment)
{
    const std::function<void()> nothing = [] {};
    const std::function<void()> request = [this] { power->getPowerState(); };
    const std::function<void()> event = [this] { client->send(RecordBytes(10).put(8, 1)); };
    const std::function<void()> part = [this] { client->send(std::string(47, 'x')); };
    const std::function<void()> dispatch = [this] { manager.dispatch(); };
    for (const auto& before : {nothing, request, event, part}) {
        for (const auto& after : {nothing, request, dispatch}) {
            expectAnEvent();
            before();
            client.reset();
            after();
            look();
            while (isManagerReadable()) {
                manager.dispatch();
            }
            look();
        }
    }
}

TEST_F(DispatchTest, SurvivesAStormOfReconnections)
{
    for (int i = 0; i < 500; ++i) {
        client.reset();
        while (isManagerReadable()) {
            manager.dispatch();
        }
        look();
        ASSERT_NE(client, nullptr);
        EXPECT_EQ(power->getPowerState(), 0);
        expectSent(RecordBytes(8));
        expectAnEvent();
    }
}

TEST_F(DispatchTest, ReadsNoConnectionThatWasMadeInTheSameDispatch)
{
    const int inherited = fcntl(ownDescriptor(), F_DUPFD_CLOEXEC, 100);
    client.reset();
    EXPECT_EQ(power->init(), 0) << "under the same number";
    power->setEventListener(&listener);
    client = daemon.accept();
    EXPECT_EQ(manager.dispatch(), 17) << "with reading it would wait for the daemon";
    while (isManagerReadable()) {
        EXPECT_EQ(manager.dispatch(), 17);
    }
    manager.handleDisconnectedEndPoints();
    expectAnEvent();
    close(inherited);
}

// A connection that is made while a manager hands out what it has found

namespace {

// Some pipes that are readable; the first of them that is handled acts.
class Pipes : public ZTEndPointHandler {
public:
    Pipes(ZTEndPointManager& manager, std::function<void()> action) : action(std::move(action))
    {
        for (ZTPipe& pipe : pipes) {
            pipe.init();
            manager.addEndPoint(&pipe, this);
            pipe.writeIntoPipe("x", 1);
        }
    }

    virtual ~Pipes() = default;

    int onEndPointReadable(ZTEndPoint* endPoint, ZTEndPointManager* manager) override
    {
        manager->removeEndPoint(endPoint);
        std::exchange(action, [] {})();
        return 0;
    }
    int onEndPointReconnected(ZTEndPoint* /*endPoint*/) override { return 0; }
    int onEndPointDisconnected(ZTEndPoint* /*endPoint*/) override { return 0; }

private:
    std::function<void()> action;
    std::array<ZTPipe, 8> pipes;
};

class ReconnectingTest : public InterfaceTest {
protected:
    // The daemon has hung up, and a handler acts before the connection's own is called. A manager's
    // order is its own, so that may take more than one try.
    void actInAHandler(const std::function<void(ZTEndPointManager&)>& action)
    {
        for (bool acted = false; !acted;) {
            EXPECT_EQ(power->init(), 0);
            power->setEventListener(&listener);
            while (daemon.hasClient()) {
                daemon.accept();
            }
            client.reset();
            ZTEndPointManager waiting;
            const Pipes pipes(waiting, [&] {
                if (diagnostics.take().empty()) {
                    acted = true;
                    action(waiting);
                }
            });
            EXPECT_EQ(power->subscribeToEndpointManager(&waiting), 0);
            EXPECT_EQ(waiting.waitForEndPoints(0, POLL), 0);
            diagnostics.take();
        }
    }
};

} // namespace

TEST_F(ReconnectingTest, ItIsNotReadBeforeAWaitHasFoundItReadable)
{
    const int before = ownDescriptor();
    actInAHandler([this](ZTEndPointManager&) { EXPECT_EQ(power->getPowerState(), 0); });
    EXPECT_EQ(ownDescriptor(), before) << "which the wait has found readable";
    client = daemon.accept();
    expectSent(RecordBytes(8));
    client->send(RecordBytes(10).put(8, 1));
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
    EXPECT_EQ(listener.signals.size(), 1U);
}

TEST_F(ReconnectingTest, NorIsItOnceTheWaitsCountBeginsAnew)
{
    const auto waitOften = [](int count) {
        ZTEndPointManager idle;
        for (int i = 0; i < count; ++i) {
            EXPECT_EQ(idle.waitForEndPoints(0, POLL), 17);
        }
    };
    waitOften(10000);
    const int before = ownDescriptor();
    actInAHandler([&](ZTEndPointManager&) {
        waitOften(65000);
        EXPECT_EQ(power->getPowerState(), 0);
    });
    EXPECT_EQ(ownDescriptor(), before);
}

TEST_F(ReconnectingTest, NorIfAWaitOfAnotherThreadEndsMeanwhile)
{
    Event waits;
    Event mayEnd;
    auto other = std::async(std::launch::async, [&] {
        ZTEndPointManager waiting;
        const Pipes pipes(waiting, [&] {
            waits.happen();
            mayEnd.await();
        });
        EXPECT_EQ(waiting.waitForEndPoints(0, POLL), 0);
    });
    waits.await();
    const int before = ownDescriptor();
    actInAHandler([&](ZTEndPointManager&) {
        mayEnd.happen();
        other.get();
        EXPECT_EQ(power->getPowerState(), 0);
    });
    EXPECT_EQ(ownDescriptor(), before);
}

TEST_F(ReconnectingTest, ItIsReadByAWaitInTheHandlerAndNotAgainByTheOuterOne)
{
    actInAHandler([this](ZTEndPointManager& waiting) {
        EXPECT_EQ(power->getPowerState(), 0);
        client = daemon.accept();
        client->send(RecordBytes(10).put(8, 1));
        EXPECT_EQ(waiting.waitForEndPoints(0, POLL), 0);
    });
    EXPECT_EQ(listener.signals.size(), 1U);
}

TEST_F(ReconnectingTest, ItIsReadByTheWaitThatHasMadeItInItsLookForLostEndPoints)
{
    client.reset();
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
    auto answered = std::async(std::launch::async, [this] {
        daemon.accept();
        client = daemon.accept();
        client->send(RecordBytes(10).put(8, 1));
    });
    EXPECT_EQ(manager.waitForEndPoints(ZTTick::getTickCount() + 10000, 0), 0);
    answered.get();
    EXPECT_EQ(listener.signals.size(), 1U);
    EXPECT_THAT(diagnostics.take(), ElementsAre(line("Socket was not opened!")));
}
