// The clients and the simulated device's health-monitor daemon, which misbehaves as the test's
// registration says: an unknown type at its 1st record, a short record at the 2nd, a text without
// a NUL at the 3rd, a hang-up at the 4th, silence at the 5th, a hang-up at the 6th and a short
// record at the 8th.

#include "zt/ZTEeprom.h"
#include "zt/ZTHealthManagement.h"

#include <csignal>
#include <future>
#include <gtest/gtest.h>
#include <string>

using namespace ZT;

namespace {

int ask(ZTHealthManagementCommand command, unsigned char& data)
{
    return ZTHealthManagement::sendMessage(command, &data, true);
}

// Repeats what returns `away` for as long as the daemon is away after a hang-up.
template <class Exchange>
int untilBack(int away, Exchange exchange)
{
    int result = exchange();
    while (result == away) {
        result = exchange();
    }
    return result;
}

} // namespace

TEST(HealthDaemonFaults, EachOneEndsOneExchange)
{
    std::signal(SIGPIPE, SIG_IGN);
    unsigned char byte = 99;
    EXPECT_EQ(ask(COMMAND_20, byte), 1) << "unknown type";
    EXPECT_EQ(byte, 99);

    EXPECT_EQ(ZTEeprom::getPartNumber(), "ab") << "short record";
    EXPECT_EQ(ZTEeprom::getPartNumber(), std::string(32, 'x')) << "without a NUL";

    EXPECT_EQ(ask(COMMAND_20, byte), 1) << "hang-up";
    EXPECT_EQ(byte, 99);

    auto waiting = std::async(std::launch::async, [] {
        unsigned char data = 99;
        const int result = untilBack(14, [&data] { return ask(COMMAND_20, data); });
        EXPECT_EQ(data, 99);
        return result;
    });
    EXPECT_EQ(waiting.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout);
    ZTEEPROMMessageData data{};
    data.byte = 99;
    const int result =
        untilBack(1, [&data] { return ZTEeprom::readDataFromEeprom(EEPROM_PRODUCT_TYPE, data); });
    EXPECT_EQ(result, 0) << "hang-up";
    EXPECT_EQ(data.byte, 0);
    EXPECT_EQ(waiting.get(), 1) << "what was met by silence ends with the hang-up";

    EXPECT_EQ(untilBack(14, [&byte] { return ask(COMMAND_20, byte); }), 0) << "the daemon is back";
    EXPECT_EQ(byte, 20);

    byte = 99;
    EXPECT_EQ(ask(COMMAND_25, byte), 0) << "a short record, but long enough";
    EXPECT_EQ(byte, 99);
    EXPECT_EQ(ask(COMMAND_20, byte), 0);
    EXPECT_EQ(byte, 20) << "the fault took the place of the setting";
}
