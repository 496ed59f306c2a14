// The device's EEPROM is locked: "/dev/eeprom2" comes when 4 bytes have been written to the unlock
// attribute.

#include "health/EepromUnlock.h"
#include "support/CapturedStream.h"
#include "support/Interpose.h"
#include "support/TemporaryFolder.h"
#include "zt/ZTEeprom.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <ctime>
#include <deque>
#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iostream>
#include <sched.h>
#include <string>
#include <sys/time.h>
#include <unistd.h>
#include <vector>

using testing::ElementsAre;
using namespace ZT;

namespace {

const char DEVICE[] = "/dev/eeprom2";
const char ATTRIBUTE[] = "/sys/bus/i2c/devices/1-0050/app";

// Bit by bit, as the CRC-32 of zip files and Ethernet is defined.
std::uint32_t crcOf(std::uint32_t seed, const std::string& text)
{
    std::uint32_t crc = ~seed;
    for (const char character : text) {
        crc ^= static_cast<unsigned char>(character);
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1U) != 0 ? crc >> 1U ^ 0xEDB88320U : crc >> 1U;
        }
    }
    return ~crc;
}

std::string bytesOf(std::uint32_t word)
{
    return {reinterpret_cast<const char*>(&word), sizeof word};
}

std::string textOf(const timespec& time)
{
    return std::to_string(time.tv_sec) + " s " + std::to_string(time.tv_nsec) + " ns";
}

// The device comes a moment after the word; the test waits for it instead of for 100 ms.
class PatientSleep {
public:
    std::vector<std::string> slept;

private:
    const Interpose<int(const timespec*, timespec*)> sleeping{
        interposed::nanosleep, [this](const timespec* time, timespec*) {
            slept.push_back(textOf(*time));
            while (access(DEVICE, F_OK) != 0) {
                sched_yield();
            }
            return 0;
        }};
};

class InitEepromDev : public testing::Test {
protected:
    int open() const { return initEepromDev(device.c_str(), seed, key, unlock.c_str()); }

    const TemporaryFolder folder;
    const std::string device = folder / "device";
    const std::string unlock = folder / "unlock";
    const std::uint32_t seed = 0x89ABCDEF;
    const char* key = "Key#06";
};

} // namespace

TEST(InitEeprom, TheIndependentCrcIsTheUsualOne)
{
    EXPECT_EQ(crcOf(0, "123456789"), 0xCBF43926U);
}

TEST_F(InitEepromDev, ADeviceThatOpensIsLeftAtThat)
{
    writeAll(device, "content");
    writeAll(unlock, "nothing");
    const int descriptor = open();
    ASSERT_GE(descriptor, 0);
    EXPECT_EQ(fcntl(descriptor, F_GETFL) & O_ACCMODE, O_RDWR);
    EXPECT_EQ(fcntl(descriptor, F_GETFD), 0) << "programs inherit it";
    EXPECT_EQ(readAll(device), "content");
    EXPECT_EQ(readAll(unlock), "nothing");
    close(descriptor);
}

TEST_F(InitEepromDev, WritesTheCrcOfTheKeyThatBeginsWithTheSeedInHostOrder)
{
    EXPECT_EQ(open(), -1);
    EXPECT_EQ(readAll(unlock), bytesOf(crcOf(0x89ABCDEF, "Key#06")));
    EXPECT_EQ(initEepromDev(device.c_str(), 0, "123456789", unlock.c_str()), -1);
    EXPECT_EQ(readAll(unlock), "\x26\x39\xF4\xCB") << "on a little-endian machine";
    EXPECT_EQ(initEepromDev(device.c_str(), 1, "", unlock.c_str()), -1);
    EXPECT_EQ(readAll(unlock), bytesOf(1));
}

TEST_F(InitEepromDev, WhatWasInTheUnlockFileIsReplaced)
{
    writeAll(unlock, "something longer");
    EXPECT_EQ(open(), -1);
    EXPECT_EQ(readAll(unlock).size(), 4U);
}

TEST_F(InitEepromDev, WithoutAnUnlockFileReturnsMinus1AtOnce)
{
    const CapturedStream output(std::cout);
    int opened = 0;
    const Interpose opening(interposed::open64, [&](const char*, int, mode_t) {
        ++opened;
        errno = ENOENT;
        return -1;
    });
    const Interpose noSleep(interposed::nanosleep, [](auto...) {
        ADD_FAILURE();
        return 0;
    });
    EXPECT_EQ(initEepromDev(device.c_str(), seed, key, (folder / "none/unlock").c_str()), -1);
    EXPECT_EQ(opened, 1);
    EXPECT_EQ(output.text(), "");
}

namespace {

// Notes the calls that unlocking is made of, in their order.
class StepRecorder {
public:
    explicit StepRecorder(std::string unlockPath) : unlockPath(std::move(unlockPath)) {}

    std::vector<std::string> steps;
    std::vector<int> openResults{-1, -1};
    std::size_t written = 4;           // what fwrite() says
    std::deque<timespec> restsOfSleep; // after each signal that comes while it sleeps

private:
    void note(const std::string& step) { steps.push_back(step); }

    std::string unlockPath;
    std::FILE* file = nullptr;
    std::size_t opened = 0;

    const Interpose<unsigned long(unsigned long, const unsigned char*, unsigned int)> crc{
        interposed::crc32,
        [this](unsigned long seed, const unsigned char* bytes, unsigned int size) {
            note(bytes == nullptr ? "crc32 of nothing" : "crc32 of the key");
            EXPECT_EQ(seed, bytes == nullptr ? 0U : 0x89ABCDEFU);
            EXPECT_EQ(size, bytes == nullptr ? 0U : 6U);
            return interposed::crc32.real(seed, bytes, size);
        }};
    const Interpose<int(const char*, int, mode_t)> open{
        interposed::open64, [this](const char* path, int flags, mode_t) {
            note(std::string("open ") + std::filesystem::path(path).filename().string());
            EXPECT_EQ(flags & ~O_LARGEFILE, O_RDWR);
            return openResults.at(opened++);
        }};
    const Interpose<std::FILE*(const char*, const char*)> fopen{
        interposed::fopen64, [this](const char* path, const char* mode) {
            note(std::string("fopen ") + mode);
            EXPECT_EQ(path, unlockPath);
            file = interposed::fopen64.real(path, mode);
            return file;
        }};
    const Interpose<size_t(const void*, size_t, size_t, std::FILE*)> fwrite{
        interposed::fwrite, [this](const void* data, size_t size, size_t count, std::FILE* to) {
            const std::size_t result = interposed::fwrite.real(data, size, count, to);
            if (to != file) {
                return result;
            }
            EXPECT_EQ(size, 1U);
            EXPECT_EQ(count, 4U);
            note("fwrite");
            return written;
        }};
    const Interpose<int(std::FILE*)> fclose{interposed::fclose, [this](std::FILE* closed) {
                                                EXPECT_EQ(closed, file);
                                                note("fclose");
                                                file = nullptr;
                                                interposed::fclose.real(closed);
                                                return EOF; // nobody looks at it
                                            }};
    const Interpose<int(const timespec*, timespec*)> nanosleep{
        interposed::nanosleep, [this](const timespec* time, timespec* rest) {
            note("nanosleep " + textOf(*time));
            if (restsOfSleep.empty()) {
                return 0;
            }
            *rest = restsOfSleep.front();
            restsOfSleep.pop_front();
            errno = EINTR;
            return -1;
        }};
};

} // namespace

TEST_F(InitEepromDev, UnlocksInThisOrderAndReturnsTheSecondDescriptor)
{
    const CapturedStream output(std::cout);
    StepRecorder recorder(unlock);
    recorder.openResults = {-1, 1234};
    EXPECT_EQ(open(), 1234);
    EXPECT_THAT(recorder.steps,
                ElementsAre("crc32 of nothing", "open device", "fopen w", "crc32 of the key",
                            "fwrite", "fclose", "nanosleep 0 s 100000000 ns", "open device"));
    EXPECT_EQ(output.text(), "");
}

TEST_F(InitEepromDev, SleepsTheRestAfterEachSignal)
{
    StepRecorder recorder(unlock);
    recorder.restsOfSleep = {{0, 60000000}, {0, 1}};
    EXPECT_EQ(open(), -1);
    recorder.steps.erase(recorder.steps.begin(), recorder.steps.begin() + 6);
    EXPECT_THAT(recorder.steps,
                ElementsAre("nanosleep 0 s 100000000 ns", "nanosleep 0 s 60000000 ns",
                            "nanosleep 0 s 1 ns", "open device"));
}

TEST_F(InitEepromDev, WaitsTheWhole100MillisecondsWhateverSignalsCome)
{
    struct sigaction ignoring = {};
    ignoring.sa_handler = [](int) {};
    struct sigaction before = {};
    sigaction(SIGALRM, &ignoring, &before);
    const itimerval often{{0, 3000}, {0, 3000}};
    const itimerval never{};
    setitimer(ITIMER_REAL, &often, nullptr);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(open(), -1);
    const auto waited = std::chrono::steady_clock::now() - start;
    setitimer(ITIMER_REAL, &never, nullptr);
    signal(SIGALRM, SIG_IGN); // one that is on its way is dropped
    sigaction(SIGALRM, &before, nullptr);
    EXPECT_GE(waited, std::chrono::milliseconds(100));
}

TEST_F(InitEepromDev, AFailedWriteLeadsToTheSecondTryToo)
{
    for (const std::size_t written : {0U, 2U, 3U}) {
        StepRecorder recorder(unlock);
        recorder.written = written;
        EXPECT_EQ(open(), -1);
        EXPECT_EQ(recorder.steps.size(), 8U);
    }
}

TEST_F(InitEepromDev, AWriteThatReturns1PrintsAndReturnsMinus1)
{
    const CapturedStream output(std::cout);
    StepRecorder recorder(unlock);
    recorder.written = 1;
    EXPECT_EQ(open(), -1);
    EXPECT_THAT(recorder.steps, ElementsAre("crc32 of nothing", "open device", "fopen w",
                                            "crc32 of the key", "fwrite", "fclose"));
    EXPECT_EQ(output.text(), "Failed to unlock eeprom: " + device + "\n");
    EXPECT_EQ(output.flushes(), 1);
}

TEST(InitEeprom, UnlocksTheDeviceWithTheSeedAndTheKeyOfThisBuild)
{
    const CapturedStream output(std::cout);
    const PatientSleep sleep;
    EXPECT_EQ(std::strlen(EEPROM_UNLOCK_KEY), 6U);
    ASSERT_NE(access(DEVICE, F_OK), 0);
    const int descriptor = initEeprom();
    ASSERT_GE(descriptor, 0);
    EXPECT_EQ(std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor)), DEVICE);
    EXPECT_EQ(fcntl(descriptor, F_GETFL) & O_ACCMODE, O_RDWR);
    EXPECT_TRUE(readAll(ATTRIBUTE) == bytesOf(crcOf(EEPROM_UNLOCK_SEED, EEPROM_UNLOCK_KEY)));
    EXPECT_THAT(sleep.slept, ElementsAre("0 s 100000000 ns"));
    EXPECT_EQ(output.text(), "");
}

TEST(InitEeprom, ReturnsItsDescriptorAgainWithoutOpening)
{
    const PatientSleep sleep;
    const int descriptor = initEeprom();
    const Interpose noOpen(interposed::open64, [](auto...) {
        ADD_FAILURE();
        return -1;
    });
    EXPECT_EQ(initEeprom(), descriptor);
    EXPECT_EQ(initEeprom(), descriptor);
    const CapturedStream output(std::cout);
    ZTEEPROMMessageData data{};
    EXPECT_EQ(ZTEeprom::readDataFromEeprom(EEPROM_CUSTOMER_PART_NUMBER, data), 11);
    EXPECT_EQ(output.text(), "Customer Part Number read failed from eeprom device :" +
                                 std::to_string(descriptor) + "\n");
}

TEST(InitEeprom, FailurePrintsAndIsTriedAgainByTheNextCall)
{
    const CapturedStream output(std::cout);
    {
        const Interpose noUnlock(interposed::fopen64,
                                 [](auto...) -> std::FILE* { return nullptr; });
        EXPECT_EQ(initEeprom(), -1);
        EXPECT_EQ(output.text(), "Failed to open eeprom2 \n");
        EXPECT_EQ(output.flushes(), 1);
    }
    const PatientSleep sleep;
    EXPECT_GE(initEeprom(), 0);
    EXPECT_EQ(output.text(), "Failed to open eeprom2 \n");
}
