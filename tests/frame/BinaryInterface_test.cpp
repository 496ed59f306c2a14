// Slots, sizes and offsets that applications are compiled against.

#include "concurrency/BoostConditionVariable.h"
#include "concurrency/BoostMutex.h"
#include "concurrency/BoostSharedMutex.h"
#include "concurrency/BoostThread.h"
#include "concurrency/BoostUniqueLock.h"
#include "support/Layout.h"
#include "support/TemporaryFolder.h"
#include "zt/ZTAutoLock.h"
#include "zt/ZTCopy.h"
#include "zt/ZTEeprom.h"
#include "zt/ZTEndPointManager.h"
#include "zt/ZTFileHandling.h"
#include "zt/ZTFileHandlingInterface.h"
#include "zt/ZTHealthManagement.h"
#include "zt/ZTIPCServer.h"
#include "zt/ZTNetworkConfigFactory.h"
#include "zt/ZTNetworkLinux.h"
#include "zt/ZTPipe.h"
#include "zt/ZTPowerManagementInterfaceR7.h"
#include "zt/ZTSignal.h"
#include "zt/ZTSignalListener.h"
#include "zt/ZTSocketFactory.h"
#include "zt/ZTSocketMessage.h"
#include "zt/zthmd_msg.h"
#include "zt/ztpmd_msg.h"

#include <cstddef>
#include <deque>
#include <gtest/gtest.h>
#include <memory>
#include <set>
#include <string>
#include <sys/socket.h>
#include <type_traits>
#include <unistd.h>
#include <utility>
#include <vector>

using namespace ZT;

// A virtual destructor takes two slots: it has one entry that destroys and one that deletes as
// well.

TEST(BinaryInterface, ZTMutex)
{
    EXPECT_EQ(slotOf(&ZTMutex::lock), 2U);
    EXPECT_EQ(slotOf(&ZTMutex::try_lock), 3U);
    EXPECT_EQ(slotOf(&ZTMutex::unlock), 4U);
    EXPECT_EQ(slotCount("_ZTVN2ZT7ZTMutexE"), 5U);
    EXPECT_EQ(slotCount("_ZTVN2ZT10BoostMutexE"), 5U);
    EXPECT_EQ(sizeof(BoostMutex), sizeof(Polymorphic<boost::mutex>));
}

TEST(BinaryInterface, ZTSharedMutex)
{
    EXPECT_EQ(slotOf(&ZTSharedMutex::lock), 2U);
    EXPECT_EQ(slotOf(&ZTSharedMutex::try_lock), 3U);
    EXPECT_EQ(slotOf(&ZTSharedMutex::unlock), 4U);
    EXPECT_EQ(slotOf(&ZTSharedMutex::lock_shared), 5U);
    EXPECT_EQ(slotOf(&ZTSharedMutex::try_lock_shared), 6U);
    EXPECT_EQ(slotOf(&ZTSharedMutex::unlock_shared), 7U);
    EXPECT_EQ(slotCount("_ZTVN2ZT13ZTSharedMutexE"), 8U);
    EXPECT_EQ(slotCount("_ZTVN2ZT16BoostSharedMutexE"), 8U);
    EXPECT_EQ(sizeof(BoostSharedMutex), sizeof(Polymorphic<boost::shared_mutex>));
}

TEST(BinaryInterface, ZTConditionVariable)
{
    EXPECT_EQ(slotOf(&ZTConditionVariable::notify_one), 2U);
    EXPECT_EQ(slotOf(&ZTConditionVariable::notify_all), 3U);
    EXPECT_EQ(slotOf(&ZTConditionVariable::wait), 4U);
    EXPECT_EQ(slotOf(&ZTConditionVariable::timed_wait), 5U);
    EXPECT_EQ(slotCount("_ZTVN2ZT19ZTConditionVariableE"), 6U);
    EXPECT_EQ(slotCount("_ZTVN2ZT22BoostConditionVariableE"), 6U);
    EXPECT_EQ(sizeof(BoostConditionVariable), sizeof(Polymorphic<boost::condition_variable>));
}

TEST(BinaryInterface, ZTLock)
{
    EXPECT_EQ(slotCount("_ZTVN2ZT6ZTLockE"), 2U);
    EXPECT_EQ(slotCount("_ZTVN2ZT15BoostUniqueLockE"), 2U);
    const std::unique_ptr<ZTMutex> mutex(ZTMutex::create());
    const std::unique_ptr<ZTLock> lock(ZTLock::create(mutex.get()));
    EXPECT_EQ(fieldAt<void*>(lock.get(), sizeof(void*)),
              &dynamic_cast<BoostMutex&>(*mutex).getBoostMutex());
    EXPECT_TRUE(fieldAt<bool>(lock.get(), 2 * sizeof(void*)));
    EXPECT_EQ(sizeof(BoostUniqueLock), sizeof(void*) + sizeof(boost::unique_lock<boost::mutex>));
}

TEST(BinaryInterface, ZTAutoLock)
{
    EXPECT_EQ(slotCount("_ZTVN2ZT10ZTAutoLockE"), 2U);
    EXPECT_EQ(sizeof(ZTAutoLock), 3 * sizeof(void*));
    const std::unique_ptr<ZTMutex> mutex(ZTMutex::create());
    const ZTAutoLock lock(mutex.get());
    EXPECT_FALSE(fieldAt<bool>(&lock, sizeof(void*)));
    EXPECT_EQ(fieldAt<ZTMutex*>(&lock, 2 * sizeof(void*)), mutex.get());
}

TEST(BinaryInterface, ZTThread)
{
    EXPECT_EQ(slotOf(&ZTThread::startThread), 2U);
    EXPECT_EQ(slotOf(&ZTThread::join), 3U);
    EXPECT_EQ(slotOf(&ZTThread::getPriority), 4U);
    EXPECT_EQ(slotOf(&ZTThread::setPriority), 5U);
    EXPECT_EQ(slotOf(&ZTThread::timed_join), 6U);
    EXPECT_EQ(slotOf(&ZTThread::sendSignal), 7U);
    EXPECT_EQ(slotCount("_ZTVN2ZT8ZTThreadE"), 8U);
    EXPECT_EQ(slotCount("_ZTVN2ZT11BoostThreadE"), 8U);
    const BoostThread thread("a name");
    EXPECT_EQ(fieldAt<void*>(&thread, sizeof(void*)), nullptr);
    const void* name = reinterpret_cast<const char*>(&thread) + 2 * sizeof(void*);
    EXPECT_EQ(*static_cast<const std::string*>(name), "a name");
    EXPECT_EQ(sizeof(BoostThread), 3 * sizeof(void*) + sizeof(std::string));
}

TEST(BinaryInterface, ZTEndPoint)
{
    EXPECT_EQ(slotOf(&ZTEndPoint::getReadEndPointID), 2U);
    EXPECT_EQ(slotOf(&ZTEndPoint::getWriteEndPointID), 3U);
    EXPECT_EQ(slotOf(&ZTEndPoint::isConnected), 4U);
    EXPECT_EQ(slotOf(&ZTEndPoint::reconnect), 5U);
    EXPECT_EQ(slotCount("_ZTVN2ZT10ZTEndPointE"), 6U);
    ZTPowerManagementEndPoint endPoint;
    endPoint.autoReconnect = false;
    EXPECT_FALSE(fieldAt<bool>(&endPoint, sizeof(void*)));
}

TEST(BinaryInterface, ZTPipe)
{
    EXPECT_EQ(slotCount("_ZTVN2ZT6ZTPipeE"), 6U);
    EXPECT_EQ(sizeof(ZTPipe), (sizeof(void*) + 20 + alignof(void*) - 1) & ~(alignof(void*) - 1));
}

TEST(BinaryInterface, IPCMessage)
{
    EXPECT_EQ(offsetof(IPCMessage, header1), 0U);
    EXPECT_EQ(offsetof(IPCMessage, header2), 4U);
    EXPECT_EQ(offsetof(IPCMessage, dataLength), 8U);
    EXPECT_EQ(offsetof(IPCMessage, data), alignof(void*) == 4 ? 12U : 16U);
    EXPECT_EQ(sizeof(IPCMessage), offsetof(IPCMessage, data) + sizeof(void*));
}

TEST(BinaryInterface, ZTIPCMessageArrivalListener)
{
    EXPECT_EQ(slotOf(&ZTIPCMessageArrivalListener::onMessageArrival), 0U);
    EXPECT_FALSE(std::has_virtual_destructor<ZTIPCMessageArrivalListener>::value);
}

TEST(BinaryInterface, ZTIPCEndPoint)
{
    EXPECT_EQ(slotCount("_ZTVN2ZT13ZTIPCEndPointE"), 6U);
    ZTIPCEndPoint endPoint(true);
    int sockets[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sockets), 0);
    ASSERT_EQ(endPoint.initialize(sockets[0], "own", "peer"), 0);
    endPoint.setConnectTimeout(1);
    endPoint.setReceiveTimeout(2);
    endPoint.setSendTimeout(3);
    struct Listener : ZTIPCMessageArrivalListener {
        void onMessageArrival(IPCMessage*) override {}
    } listener;
    ASSERT_EQ(endPoint.setMessageArrivalListener(&listener), 0);

    const auto* bytes = reinterpret_cast<const char*>(&endPoint);
    const std::size_t flag = sizeof(void*);
    EXPECT_TRUE(fieldAt<bool>(&endPoint, flag)) << "auto-reconnect";
    EXPECT_EQ(fieldAt<int>(&endPoint, flag + 4), sockets[0]);
    const std::size_t addresses = flag + 8;
    EXPECT_EQ(*reinterpret_cast<const std::string*>(bytes + addresses), "own");
    EXPECT_EQ(*reinterpret_cast<const std::string*>(bytes + addresses + sizeof(std::string)),
              "peer");
    const std::size_t timeouts = addresses + 2 * sizeof(std::string);
    EXPECT_EQ(fieldAt<long>(&endPoint, timeouts), 1);
    EXPECT_EQ(fieldAt<long>(&endPoint, timeouts + sizeof(long)), 2);
    EXPECT_EQ(fieldAt<long>(&endPoint, timeouts + 2 * sizeof(long)), 3);
    const std::size_t connected = timeouts + 3 * sizeof(long);
    EXPECT_TRUE(fieldAt<bool>(&endPoint, connected));
    const std::size_t listening = connected + sizeof(void*);
    EXPECT_EQ(fieldAt<ZTIPCMessageArrivalListener*>(&endPoint, listening), &listener);
    EXPECT_NE(fieldAt<void*>(&endPoint, listening + sizeof(void*)), nullptr) << "the thread";
    EXPECT_NE(fieldAt<void*>(&endPoint, listening + 2 * sizeof(void*)), nullptr) << "the gate";
    endPoint.deinitialize();
    EXPECT_FALSE(fieldAt<bool>(&endPoint, connected));
    EXPECT_EQ(fieldAt<void*>(&endPoint, listening + sizeof(void*)), nullptr);
    EXPECT_EQ(fieldAt<void*>(&endPoint, listening + 2 * sizeof(void*)), nullptr);
    close(sockets[1]);
}

TEST(BinaryInterface, ZTIPCEndPointKeepsWhetherItsNameIsUnlinked)
{
    const std::size_t connected = sizeof(void*) + 8 + 2 * sizeof(std::string) + 3 * sizeof(long);
    const std::size_t nameUnlinked = connected + 1;
    const std::string path = "BinaryInterface." + std::to_string(getpid());
    ZTIPCEndPoint endPoint(false);
    EXPECT_FALSE(fieldAt<bool>(&endPoint, nameUnlinked));
    ASSERT_EQ(endPoint.initialize(path, false), 0);
    EXPECT_TRUE(fieldAt<bool>(&endPoint, nameUnlinked));
    endPoint.deinitialize();
    EXPECT_FALSE(fieldAt<bool>(&endPoint, nameUnlinked));
    ASSERT_EQ(endPoint.initialize(path, true), 0);
    EXPECT_FALSE(fieldAt<bool>(&endPoint, nameUnlinked));
    unlink(path.c_str());
}

TEST(BinaryInterface, ZTIPCServer)
{
    EXPECT_EQ(slotOf(&ZTIPCServer::initialize), 2U);
    EXPECT_EQ(slotOf(&ZTIPCServer::deinitialize), 3U);
    EXPECT_EQ(slotCount("_ZTVN2ZT11ZTIPCServerE"), 4U);
    EXPECT_EQ(sizeof(ZTIPCServer), sizeof(void*) + sizeof(ZTIPCEndPoint));
}

TEST(BinaryInterface, ZTEndPointHandler)
{
    EXPECT_EQ(slotOf(&ZTEndPointHandler::onEndPointReadable), 0U);
    EXPECT_EQ(slotOf(&ZTEndPointHandler::onEndPointReconnected), 1U);
    EXPECT_EQ(slotOf(&ZTEndPointHandler::onEndPointDisconnected), 2U);
    EXPECT_FALSE(std::has_virtual_destructor<ZTEndPointHandler>::value);
}

TEST(BinaryInterface, ZTEndPointManager)
{
    EXPECT_EQ(slotCount("_ZTVN2ZT17ZTEndPointManagerE"), 2U);
    ZTEndPointManager manager;
    const std::size_t lastCheck = sizeof(void*) + sizeof(std::set<void*>);
    EXPECT_EQ(fieldAt<std::uint32_t>(&manager, lastCheck), 0U);
    EXPECT_EQ(manager.waitForEndPoints(305419896, 0), 17);
    EXPECT_EQ(fieldAt<std::uint32_t>(&manager, lastCheck), 305419896U);
    EXPECT_EQ(sizeof(ZTEndPointManager), (lastCheck + 4 + 7) / 8 * 8 + 8)
        << "embedded by applications";
    EXPECT_EQ(alignof(ZTEndPointManager), alignof(Polymorphic<std::uint64_t>));
}

template <class Class>
void expectPowerManagementSlots()
{
    EXPECT_EQ(slotOf(&Class::onEndPointReadable), 0U);
    EXPECT_EQ(slotOf(&Class::onEndPointReconnected), 1U);
    EXPECT_EQ(slotOf(&Class::onEndPointDisconnected), 2U);
    EXPECT_EQ(slotOf(&Class::init), 5U);
    EXPECT_EQ(slotOf(&Class::release), 6U);
    EXPECT_EQ(slotOf(&Class::setEventListener), 7U);
    EXPECT_EQ(slotOf(&Class::setTimeoutForState), 8U);
    EXPECT_EQ(slotOf(&Class::setPropagationTimeForState), 9U);
    EXPECT_EQ(slotOf(&Class::getTimeoutForState), 10U);
    EXPECT_EQ(slotOf(&Class::getPropagationTimeForState), 11U);
    EXPECT_EQ(slotOf(&Class::setDeviceStateForLowPower), 12U);
    EXPECT_EQ(slotOf(&Class::getDeviceStateInLowPower), 13U);
    EXPECT_EQ(slotOf(&Class::setPowerState), 14U);
    EXPECT_EQ(slotOf(&Class::getPowerState), 15U);
    EXPECT_EQ(slotOf(&Class::subscribeToEndpointManager), 16U);
    EXPECT_EQ(slotOf(&Class::disablePowerbuttonOnToLowPower), 17U);
}

TEST(BinaryInterface, ZTPowerManagement)
{
    expectPowerManagementSlots<ZTPowerManagement>();
    expectPowerManagementSlots<ZTPowerManagementInterfaceR7>();
    EXPECT_EQ(slotCount("_ZTVN2ZT17ZTPowerManagementE"), 18U);
    EXPECT_EQ(slotCount("_ZTVN2ZT28ZTPowerManagementInterfaceR7E"), 18U);
    const std::size_t listenerOffset = sizeof(void*) + sizeof(ZTPowerManagementEndPoint);
    EXPECT_EQ(sizeof(ZTPowerManagementInterfaceR7), listenerOffset + sizeof(void*));
    class Listener : public ZTSignalListener {
        int onSignal(ZTSignal&) override { return 0; }
    } listener;
    ZTPowerManagementInterfaceR7 power;
    power.setEventListener(&listener);
    EXPECT_EQ(fieldAt<ZTSignalListener*>(&power, listenerOffset), &listener);
}

TEST(BinaryInterface, ZTPowerManagementEndPoint)
{
    EXPECT_EQ(slotCount("_ZTVN2ZT25ZTPowerManagementEndPointE"), 6U);
    EXPECT_EQ(sizeof(sockaddr_un), 110U);
    const ZTPowerManagementEndPoint endPoint;
    EXPECT_TRUE(fieldAt<bool>(&endPoint, sizeof(void*))) << "auto-reconnect";
    EXPECT_EQ(fieldAt<int>(&endPoint, sizeof(void*) + 4), -1) << "the descriptor";
}

TEST(BinaryInterface, ZTEvent)
{
    ZTEvent event;
    event.setCategory(1);
    event.setEventID(2);
    event.setTimestamp(3);
    event.setData1(4);
    event.setData2(5);
    event.setValue(6);
    event.setState(7);
    const std::size_t numbers = sizeof(void*);
    const std::size_t data =
        (numbers + 12 + alignof(std::uint64_t) - 1) & ~(alignof(std::uint64_t) - 1);
    EXPECT_EQ(fieldAt<std::uint32_t>(&event, numbers), 1U);
    EXPECT_EQ(fieldAt<std::uint32_t>(&event, numbers + 4), 2U);
    EXPECT_EQ(fieldAt<std::uint32_t>(&event, numbers + 8), 3U);
    EXPECT_EQ(fieldAt<std::uint64_t>(&event, data), 4U);
    EXPECT_EQ(fieldAt<std::uint64_t>(&event, data + 8), 5U);
    EXPECT_EQ(fieldAt<std::uint32_t>(&event, data + 16), 6U);
    EXPECT_EQ(fieldAt<std::int32_t>(&event, data + 20), 7);
    EXPECT_EQ(sizeof(ZTEvent), data + 24);
}

TEST(BinaryInterface, ZTSignal)
{
    // Each has a pointer to its virtual table, its own fields, and its base behind them.
    EXPECT_EQ(sizeof(ZTTrigger), sizeof(ZTEvent) + 2 * sizeof(void*));
    EXPECT_EQ(sizeof(ZTSignal), sizeof(ZTTrigger) + 8 + 16);
    EXPECT_TRUE(std::has_virtual_destructor<ZTEvent>::value);
    EXPECT_EQ(slotCount("_ZTVN2ZT7ZTEventE"), 2U);
    const ZTSignal signal;
    EXPECT_NE(dynamic_cast<const ZTTrigger*>(static_cast<const ZTEvent*>(&signal)), nullptr);
    EXPECT_NE(dynamic_cast<const ZTSignal*>(static_cast<const ZTEvent*>(&signal)), nullptr);
}

TEST(BinaryInterface, ZTSignalListener)
{
    EXPECT_EQ(slotOf(&ZTSignalListener::onSignal), 2U);
    EXPECT_EQ(slotCount("_ZTVN2ZT16ZTSignalListenerE"), 3U);
}

TEST(BinaryInterface, ZTSocketMessage)
{
    EXPECT_EQ(slotOf(&ZTSocketMessage::operator=), 2U);
    EXPECT_EQ(slotOf(&ZTSocketMessage::fillBuffer), 3U);
    EXPECT_EQ(slotOf(&ZTSocketMessage::calculateBufferSize), 4U);
    EXPECT_EQ(slotOf(&ZTSocketMessage::init), 5U);
    EXPECT_EQ(slotCount("_ZTVN2ZT15ZTSocketMessageE"), 6U);
    ZTSocketMessage message;
    message.messageType = 1;
    message.messageLength = 2;
    message.messageFlag = true;
    message.parameter1 = 3;
    message.parameter2 = 4;
    message.parameter3 = 5;
    const std::size_t fields = sizeof(void*);
    EXPECT_EQ(fieldAt<std::uint16_t>(&message, fields), 1U);
    EXPECT_EQ(fieldAt<std::uint32_t>(&message, fields + 4), 2U);
    EXPECT_TRUE(fieldAt<bool>(&message, fields + 8));
    EXPECT_EQ(fieldAt<std::uint16_t>(&message, fields + 10), 3U);
    EXPECT_EQ(fieldAt<std::uint16_t>(&message, fields + 12), 4U);
    EXPECT_EQ(fieldAt<std::uint16_t>(&message, fields + 14), 5U);
    EXPECT_EQ(sizeof(ZTSocketMessage), fields + 16);
}

// The type that picks one of several functions of the same name.
template <class Class, class... Parameters>
using Overload = int (Class::*)(Parameters...);

template <class Class>
void expectSocketSlots()
{
    EXPECT_EQ(slotOf(&Class::initSocket), 2U);
    EXPECT_EQ(slotOf(&Class::resetSocket), 3U);
    EXPECT_EQ((slotOf<Overload<Class, ZTSocketMessage*>>(&Class::sendSocketData)), 4U);
    EXPECT_EQ((slotOf<Overload<Class, unsigned, int*, unsigned>>(&Class::sendSocketData)), 5U);
    EXPECT_EQ((slotOf<Overload<Class, int*, unsigned>>(&Class::sendSocketData)), 6U);
    EXPECT_EQ((slotOf<Overload<Class, int*, unsigned>>(&Class::receiveSocketData)), 7U);
    EXPECT_EQ((slotOf<Overload<Class, unsigned, int*, unsigned>>(&Class::receiveSocketData)), 8U);
    EXPECT_EQ((slotOf<Overload<Class, unsigned>>(&Class::closeSocket)), 9U);
    EXPECT_EQ((slotOf<Overload<Class>>(&Class::closeSocket)), 10U);
    EXPECT_EQ((slotOf<Overload<Class, char*, unsigned>>(&Class::connectSocket)), 11U);
    EXPECT_EQ((slotOf<Overload<Class>>(&Class::connectSocket)), 12U);
    EXPECT_EQ((slotOf<Overload<Class, char*, unsigned>>(&Class::bindSocket)), 13U);
    EXPECT_EQ((slotOf<Overload<Class>>(&Class::bindSocket)), 14U);
    EXPECT_EQ(slotOf(&Class::listenSocket), 15U);
    EXPECT_EQ(slotOf(&Class::acceptSocket), 16U);
    EXPECT_EQ(slotOf(&Class::exitReceiveSocketData), 17U);
    EXPECT_EQ(slotOf(&Class::resetSocketPort), 18U);
    EXPECT_EQ(slotOf(&Class::setSocketDomain), 19U);
    EXPECT_EQ(slotOf(&Class::getSocketDomain), 20U);
    EXPECT_EQ(slotOf(&Class::setSocketType), 21U);
    EXPECT_EQ(slotOf(&Class::getSocketType), 22U);
    EXPECT_EQ(slotOf(&Class::setSocketProtocol), 23U);
    EXPECT_EQ(slotOf(&Class::getSocketProtocol), 24U);
    EXPECT_EQ(slotOf(&Class::setSocketMaxQueuedConnections), 25U);
    EXPECT_EQ(slotOf(&Class::getSocketMaxQueuedConnections), 26U);
    EXPECT_EQ(slotOf(&Class::setSocketOptionsLevel), 27U);
    EXPECT_EQ(slotOf(&Class::getSocketOptionsLevel), 28U);
    EXPECT_EQ(slotOf(&Class::setSocketOptionsName), 29U);
    EXPECT_EQ(slotOf(&Class::getSocketOptionsName), 30U);
    EXPECT_EQ((slotOf<Overload<Class, char*&>>(&Class::receiveSocketData)), 31U);
    EXPECT_EQ((slotOf<Overload<Class, unsigned, char*&>>(&Class::receiveSocketData)), 32U);
    EXPECT_EQ((slotOf<Overload<Class, unsigned, ZTSocketMessage*>>(&Class::sendSocketData)), 33U);
    EXPECT_EQ(slotOf(&Class::getSocketIdentifier), 34U);
}

TEST(BinaryInterface, ZTSocket)
{
    expectSocketSlots<ZTSocket>();
    EXPECT_EQ(slotCount("_ZTVN2ZT8ZTSocketE"), 35U);
    const std::size_t partial = sizeof(void*) + sizeof(std::deque<char*>);
    EXPECT_EQ(sizeof(ZTSocket),
              (partial + sizeof(void*) + 4 + 1500 + alignof(void*) - 1) & ~(alignof(void*) - 1));
    const ZTSocketLinux socket;
    EXPECT_EQ(fieldAt<char*>(&socket, partial), nullptr);
    EXPECT_EQ(fieldAt<int>(&socket, partial + sizeof(void*)), 0);
}

TEST(BinaryInterface, ZTSocketLinux)
{
    expectSocketSlots<ZTSocketLinux>();
    EXPECT_EQ(slotCount("_ZTVN2ZT13ZTSocketLinuxE"), 35U);
    ZTSocketLinux socket;
    socket.setSocketMaxQueuedConnections(10);
    socket.setSocketOptionsLevel(11);
    socket.setSocketOptionsName(12);
    socket.setSocketDomain(13);
    socket.setSocketType(14);
    socket.setSocketProtocol(15);
    const int numbers[] = {10, 11, 12, 13, 14, 15, -1};
    std::size_t offset = sizeof(void*) + sizeof(std::deque<char*>) + sizeof(void*) + 4 + 1500;
    for (const int number : numbers) {
        EXPECT_EQ(fieldAt<int>(&socket, offset), number);
        offset += sizeof(int);
    }
    EXPECT_EQ(sizeof(sockaddr_in), 16U);
    EXPECT_EQ(fieldAt<sockaddr_in>(&socket, offset).sin_port, htons(15000));
}

TEST(BinaryInterface, ZTSocketFactory)
{
    EXPECT_EQ(slotCount("_ZTVN2ZT15ZTSocketFactoryE"), 2U);
    EXPECT_EQ(sizeof(ZTSocketFactory), sizeof(void*));
}

TEST(BinaryInterface, ZTNetworkConfig)
{
    ZTNetworkConfig config;
    const auto* fields = reinterpret_cast<const std::string*>(&config);
    EXPECT_EQ(&config.ipAddress, fields);
    EXPECT_EQ(&config.netmask, fields + 1);
    EXPECT_EQ(&config.gateway, fields + 2);
    EXPECT_EQ(sizeof(ZTNetworkConfig), 3 * sizeof(std::string));
}

template <class Class>
void expectNetworkSlots()
{
    EXPECT_EQ(slotOf(&Class::setNetworkConfig), 2U);
    EXPECT_EQ(slotOf(&Class::getNetworkConfig), 3U);
    EXPECT_EQ(slotOf(&Class::setNetworkSettings), 4U);
    EXPECT_EQ(slotOf(&Class::isIPAddressValid), 5U);
    EXPECT_EQ(slotOf(&Class::readNetworkSettings), 6U);
    EXPECT_EQ(slotOf(&Class::applyNetworkSettings), 7U);
    EXPECT_EQ(slotOf(&Class::setNetworkinterface), 8U);
    EXPECT_EQ(slotOf(&Class::setIPAddress), 9U);
    EXPECT_EQ(slotOf(&Class::setNetmaskIP), 10U);
    EXPECT_EQ(slotOf(&Class::setGatewayIP), 11U);
    EXPECT_EQ(slotOf(&Class::getDefaultIPAdress), 12U);
    EXPECT_EQ(slotOf(&Class::getDefaultNetmaskIP), 13U);
    EXPECT_EQ(slotOf(&Class::getDefaultGatewayIP), 14U);
}

TEST(BinaryInterface, ZTNetwork)
{
    expectNetworkSlots<ZTNetwork>();
    EXPECT_EQ(slotCount("_ZTVN2ZT9ZTNetworkE"), 15U);
    EXPECT_EQ(sizeof(ZTNetwork), sizeof(void*));
}

TEST(BinaryInterface, ZTNetworkLinux)
{
    expectNetworkSlots<ZTNetworkLinux>();
    EXPECT_EQ(slotCount("_ZTVN2ZT14ZTNetworkLinuxE"), 15U);
    EXPECT_EQ(sizeof(ZTNetworkLinux), sizeof(void*) + 10 * sizeof(std::string));
    ZTNetworkLinux network;
    network.setNetworkinterface("eth3");
    network.setIPAddress("1.1.1.1", false);
    network.setNetmaskIP("2.2.2.2", false);
    network.setGatewayIP("3.3.3.3", false);
    *network.getNetworkConfig() = {"4.4.4.4", "5.5.5.5", "6.6.6.6"};
    const void* behindTable = reinterpret_cast<const char*>(&network) + sizeof(void*);
    const auto* fields = static_cast<const std::string*>(behindTable);
    const std::vector<std::string> expected = {
        "eth3",    "192.168.135.6", "255.255.255.0", "192.168.135.1", "4.4.4.4",
        "5.5.5.5", "6.6.6.6",       "1.1.1.1",       "2.2.2.2",       "3.3.3.3"};
    EXPECT_EQ(std::vector<std::string>(fields, fields + 10), expected);
}

TEST(BinaryInterface, ZTNetworkConfigFactory)
{
    EXPECT_EQ(slotCount("_ZTVN2ZT22ZTNetworkConfigFactoryE"), 2U);
    EXPECT_EQ(sizeof(ZTNetworkConfigFactory), 5 * sizeof(void*));
    ZTNetworkConfigFactory factory;
    factory.create(0);
    factory.create(3);
    for (int n = 0; n < 4; ++n) {
        EXPECT_EQ(fieldAt<ZTNetwork*>(&factory, sizeof(void*) * static_cast<std::size_t>(1 + n)),
                  factory.getEthInstance(n));
    }
}

TEST(BinaryInterface, ztpmd_msg_t)
{
    EXPECT_EQ(sizeof(ztpmd_msg_t), 48U);
    EXPECT_EQ(offsetof(ztpmd_msg_t, type), 0U);
    EXPECT_EQ(offsetof(ztpmd_msg_t, reserved1), 4U);
    EXPECT_EQ(offsetof(ztpmd_msg_t, power.state), 8U);
    EXPECT_EQ(offsetof(ztpmd_msg_t, power.value), 12U);
    EXPECT_EQ(offsetof(ztpmd_msg_t, deviceName), 8U);
    EXPECT_EQ(sizeof(ztpmd_msg_t::deviceName), 16U);
    EXPECT_EQ(offsetof(ztpmd_msg_t, deviceState), 24U);
    EXPECT_TRUE((std::is_same<decltype(ztpmd_msg_t::deviceState), std::int32_t>::value));
    EXPECT_EQ(offsetof(ztpmd_msg_t, reserved2), 28U);
    EXPECT_EQ(sizeof(ztpmd_msg_t::reserved2), 20U);
}

TEST(BinaryInterface, ZTHealthManagement)
{
    EXPECT_EQ(slotCount("_ZTVN2ZT18ZTHealthManagementE"), 2U);
    EXPECT_EQ(sizeof(ZTHealthManagement), sizeof(void*));
    EXPECT_TRUE(std::has_virtual_destructor<ZTHealthManagement>::value);
}

TEST(BinaryInterface, ZTHealthManagementCommand)
{
    EXPECT_EQ(sizeof(ZTHealthManagementCommand), 4U);
    EXPECT_EQ(COMMAND_20, 20U);
    EXPECT_EQ(COMMAND_25, 25U);
    EXPECT_EQ(COMMAND_26, 26U);
    EXPECT_EQ(COMMAND_27, 27U);
    EXPECT_EQ(COMMAND_29, 29U);
    EXPECT_EQ(COMMAND_30, 30U);
    EXPECT_EQ(COMMAND_32, 32U);
    EXPECT_EQ(COMMAND_33, 33U);
}

TEST(BinaryInterface, zthmd_msg_t)
{
    EXPECT_EQ(sizeof(zthmd_msg_t), 36U);
    EXPECT_EQ(offsetof(zthmd_msg_t, type), 0U);
    EXPECT_EQ(offsetof(zthmd_msg_t, text), 4U);
    EXPECT_EQ(sizeof(zthmd_msg_t::text), 32U);
    EXPECT_EQ(offsetof(zthmd_msg_t, byte), 4U);
    EXPECT_EQ(sizeof(zthmd_msg_t::byte), 1U);
    EXPECT_EQ(offsetof(zthmd_msg_t, value), 4U);
    EXPECT_EQ(sizeof(zthmd_msg_t::value), 4U);
}

TEST(BinaryInterface, ZTEeprom)
{
    EXPECT_TRUE(std::is_empty<ZTEeprom>::value);
    EXPECT_EQ(sizeof(ZTEEPROMMessageData), 36U);
    EXPECT_EQ(sizeof(ZTEEPROMMessageData::text), 33U);
    EXPECT_EQ(sizeof(ZTEEPROMMessageData::byte), 1U);
    EXPECT_EQ(sizeof(ZTEEPROMMessageData::value), 4U);
}

TEST(BinaryInterface, ZTEEPROMCommand)
{
    EXPECT_TRUE((std::is_same<std::underlying_type<ZTEEPROMCommand>::type, int>::value));
    EXPECT_EQ(EEPROM_FIELD_0, 0);
    EXPECT_EQ(EEPROM_PRODUCT_TYPE, 2);
    EXPECT_EQ(EEPROM_PRODUCT_VARIANT, 4);
    EXPECT_EQ(EEPROM_FIELD_6, 6);
    EXPECT_EQ(EEPROM_FIELD_8, 8);
    EXPECT_EQ(EEPROM_PART_NUMBER, 10);
    EXPECT_EQ(EEPROM_CUSTOMER_PART_NUMBER, 12);
    EXPECT_EQ(EEPROM_SERIAL_NUMBER, 14);
    EXPECT_EQ(EEPROM_FIELD_16, 16);
    EXPECT_EQ(EEPROM_FIELD_17, 17);
    EXPECT_EQ(EEPROM_FIELD_19, 19);
    EXPECT_EQ(EEPROM_FIELD_21, 21);
    EXPECT_EQ(EEPROM_FIELD_23, 23);
    EXPECT_EQ(EEPROM_FIELD_25, 25);
}

TEST(BinaryInterface, ztPowerDevices)
{
    const int devices[] = {
        DEVICE_DISPLAY,     DEVICE_DISPLAY_BL, DEVICE_KEYPAD_BL, DEVICE_ENCODER_BL,
        DEVICE_RGB_LED,     DEVICE_BEEPER,     DEVICE_KEYPAD,    DEVICE_ENCODER,
        DEVICE_TOUCH,       DEVICE_CONSOLE,    DEVICE_OUTPUT0,   DEVICE_OUTPUT1,
        DEVICE_OUTPUT2,     DEVICE_CAM_OUTPUT, DEVICE_VIDEO0,    DEVICE_INPUT0,
        DEVICE_INPUT1,      DEVICE_INPUT2,     DEVICE_INPUT3,    DEVICE_STATUS_LED1,
        DEVICE_STATUS_LED2,
    };
    int number = 0;
    for (const int device : devices) {
        EXPECT_EQ(device, number++);
    }
    EXPECT_EQ(number, 21);
}

TEST(BinaryInterface, ztPowerStates)
{
    EXPECT_EQ(sizeof(ztPowerStates), 4U);
    EXPECT_EQ(STATE_0, 0U);
    EXPECT_EQ(STATE_1, 1U);
    EXPECT_EQ(STATE_2, 2U);
    EXPECT_EQ(STATE_3, 3U);
    EXPECT_EQ(STATE_SILENT_ON, 4U);
    EXPECT_EQ(STATE_5, 5U);
    EXPECT_EQ(STATE_6, 6U);
}

TEST(BinaryInterface, ZTFileHandlingInterface)
{
    EXPECT_EQ(slotOf(&ZTFileHandlingInterface::copyProgress), 2U);
    EXPECT_EQ(slotOf(&ZTFileHandlingInterface::copyFinished), 3U);
    EXPECT_EQ(slotCount("_ZTVN2ZT23ZTFileHandlingInterfaceE"), 4U);
    EXPECT_TRUE(std::has_virtual_destructor<ZTFileHandlingInterface>::value);
}

struct SilentInterface : ZTFileHandlingInterface {
    void copyProgress(unsigned int) override {}
    void copyFinished(int) override {}
};

TEST(BinaryInterface, ZTCopy)
{
    EXPECT_EQ(slotCount("_ZTVN2ZT6ZTCopyE"), 2U);
    SilentInterface interface;
    ZTCopy copier;
    copier.setInterface(&interface);
    copier.setOffsetAndTotal(1, 2);
    const std::size_t fields = sizeof(void*);
    EXPECT_EQ(fieldAt<ZTFileHandlingInterface*>(&copier, fields), &interface);
    EXPECT_EQ(fieldAt<unsigned int>(&copier, fields + sizeof(void*)), 1U);
    EXPECT_EQ(fieldAt<unsigned int>(&copier, fields + sizeof(void*) + 4), 2U);
    EXPECT_EQ(sizeof(ZTCopy), fields + sizeof(void*) + 8);
}

TEST(BinaryInterface, ZTFileHandling)
{
    EXPECT_EQ(slotCount("_ZTVN2ZT14ZTFileHandlingE"), 2U);
    const std::size_t flags = sizeof(void*);
    const std::size_t names = 2 * sizeof(void*);
    const std::size_t mode = names + 4 * sizeof(std::string);
    const std::size_t waiting = mode + 8 + sizeof(void*);
    // A condition variable stands at a multiple of its alignment, whatever it is.
    const std::size_t condition = (waiting + alignof(boost::condition_variable) - 1) &
                                  ~(alignof(boost::condition_variable) - 1);
    const std::size_t lock = condition + sizeof(boost::condition_variable) + sizeof(boost::mutex);

    SilentInterface interface;
    ZTFileHandling handling;
    EXPECT_EQ(fieldAt<void*>(&handling, lock), nullptr);
    EXPECT_EQ(fieldAt<void*>(&handling, lock + sizeof(void*)), nullptr) << "the thread";
    EXPECT_EQ(fieldAt<unsigned int>(&handling, lock + 2 * sizeof(void*)),
              handling.getDebugSection());

    const TemporaryFolder source;
    const TemporaryFolder target;
    ASSERT_EQ(handling.copyDir(source / "", target / "", true, &interface), 0);
    handling.setCurrentSourceFile("/proc/self/status");
    handling.setCurrentTargetFile("target");
    const auto* bytes = reinterpret_cast<const char*>(&handling);
    const auto* strings = reinterpret_cast<const std::string*>(bytes + names);
    EXPECT_EQ(strings[0], source / "");
    EXPECT_EQ(strings[1], target / "");
    EXPECT_EQ(strings[2], "/proc/self/status");
    EXPECT_EQ(strings[3], "target");
    EXPECT_TRUE(fieldAt<bool>(&handling, mode));
    EXPECT_EQ(fieldAt<ZTFileHandlingInterface*>(&handling, mode + 8), &interface);
    const auto* uniqueLock = fieldAt<boost::unique_lock<boost::mutex>*>(&handling, lock);
    ASSERT_NE(uniqueLock, nullptr);
    EXPECT_EQ(reinterpret_cast<const char*>(uniqueLock->mutex()),
              bytes + condition + sizeof(boost::condition_variable));
    EXPECT_NE(fieldAt<void*>(&handling, lock + sizeof(void*)), nullptr) << "the thread";

    handling.release();
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(strings[i], "");
    }
    EXPECT_FALSE(fieldAt<bool>(&handling, flags + 1)) << "stop requested";
    EXPECT_FALSE(fieldAt<bool>(&handling, mode));
    EXPECT_EQ(fieldAt<void*>(&handling, mode + 8), nullptr);
    EXPECT_EQ(fieldAt<void*>(&handling, lock), nullptr);
    EXPECT_EQ(fieldAt<void*>(&handling, lock + sizeof(void*)), nullptr) << "the thread";

    handling.start();
    EXPECT_TRUE(fieldAt<bool>(&handling, flags)) << "running";
    handling.stop();
    EXPECT_FALSE(fieldAt<bool>(&handling, flags));
    EXPECT_TRUE(fieldAt<bool>(&handling, flags + 1)) << "stop requested";
    handling.setThreadEnd(true);
    EXPECT_FALSE(fieldAt<bool>(&handling, flags + 1));
    EXPECT_TRUE(fieldAt<bool>(&handling, flags + 2)) << "thread ended";
    EXPECT_EQ(handling.setSourceDirectory(""), 41);
    EXPECT_EQ(fieldAt<int>(&handling, mode + 4), 41);
}
