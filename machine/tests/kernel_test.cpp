#include "zt/ZTEeprom.h"
#include "zt/ZTSystem.h"

#include <array>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

using namespace ZT;

namespace {

/// A line of /proc/meminfo, in MiB.
unsigned int meminfo(const std::string& name)
{
    std::ifstream file("/proc/meminfo");
    std::string word;
    unsigned int kibibytes = 0;
    while (file >> word) {
        if (word == name + ":") {
            file >> kibibytes;
        }
    }
    return kibibytes / 1024;
}

/// A file of 64 MiB that the kernel keeps in memory.
class CachedFile {
public:
    CachedFile()
    {
        std::ofstream file(path, std::ios::binary);
        const std::string mebibyte(1U << 20, 'Z');
        for (int i = 0; i < 64; ++i) {
            file << mebibyte;
        }
        file.close();
        ::sync();
    }

    ~CachedFile() { ::unlink(path); }
    CachedFile(const CachedFile&) = delete;
    CachedFile& operator=(const CachedFile&) = delete;

private:
    const char* const path = "/var/cached";
};

} // namespace

TEST(Kernel, GetTotalRamIsWhatTheKernelHas)
{
    EXPECT_EQ(ZTSystem::getTotalRAM(), meminfo("MemTotal"));
}

TEST(Kernel, GetFreeRamIsWhatTheKernelHas)
{
    EXPECT_NEAR(ZTSystem::getFreeRAM(), meminfo("MemFree"), 16);
}

TEST(Kernel, GetFreeRamGrowsByWhatTidyUpCachesDrops)
{
    const CachedFile file;
    const unsigned int cached = meminfo("Cached");
    const unsigned int free = ZTSystem::getFreeRAM();
    ASSERT_GE(cached, 64U);

    ZTSystem::tidyUpCaches(true);

    EXPECT_LE(meminfo("Cached"), cached - 60);
    EXPECT_GE(ZTSystem::getFreeRAM(), free + 60);
}

TEST(Kernel, InitEepromOpensTheChipOnTheBus)
{
    const int chip = initEeprom();
    ASSERT_GE(chip, 0);
    EXPECT_EQ(::pwrite(chip, "Z0815", 5, 256), 5);
    std::array<char, 5> read{};
    EXPECT_EQ(::pread(chip, read.data(), read.size(), 256), 5);
    EXPECT_EQ(std::string(read.data(), read.size()), "Z0815");
}
