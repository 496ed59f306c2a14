// A host program may load what uses the libraries, and unload it again, many times. This executable
// is linked to neither.

#include "support/TemporaryFolder.h"

#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <malloc.h>
#include <string>

namespace {

class Loaded {
public:
    explicit Loaded(const char* library) : handle(dlopen(library, RTLD_NOW)) {}
    ~Loaded() { EXPECT_EQ(dlclose(handle), 0); }
    Loaded(const Loaded&) = delete;
    Loaded& operator=(const Loaded&) = delete;

    template <class Function>
    Function* find(const char* name) const
    {
        return reinterpret_cast<Function*>(dlsym(handle, name));
    }

private:
    void* const handle;
};

using Print = int(int, unsigned int, const char*, ...);
using Insert = unsigned int(const std::string&);

// What a plug-in does: it registers its section, and prints. Returns the section's key.
unsigned int printFrom(const char* library)
{
    const Loaded loaded(library);
    auto* print = loaded.find<Print>("_ZN2ZT7ZTDebug15debugPrintErrorEijPKcz");
    auto* insert = loaded.find<Insert>("_ZN2ZT7ZTDebug21insertNewDebugSectionERKNSt7__cxx1112basic_"
                                       "stringIcSt11char_traitsIcESaIcEEE");
    const unsigned int key = insert("plug-in");
    EXPECT_EQ(print(1, key, "line"), 0);
    return key;
}

auto openDescriptors()
{
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
}

std::size_t count(const std::string& text, const std::string& piece)
{
    std::size_t found = 0;
    for (std::size_t at = text.find(piece); at != std::string::npos;
         at = text.find(piece, at + 1)) {
        ++found;
    }
    return found;
}

} // namespace

class Unloading : public testing::TestWithParam<const char*> {
protected:
    Unloading() { setenv("ZT_DEBUG_OUTPUT", (folder / "log").c_str(), 1); }

    // How many lines the test has printed.
    std::size_t printed() const { return linesInLog() - linesBefore; }

    static const TemporaryFolder folder; // where all goes that is printed in this process

private:
    static std::size_t linesInLog() { return count(readAll(folder / "log"), " plug-in line\n"); }

    const std::size_t linesBefore = linesInLog();
};

const TemporaryFolder Unloading::folder;

TEST_P(Unloading, LeavesNoMoreWithEachTime)
{
    printFrom(GetParam());
    const auto descriptors = openDescriptors();
    const std::size_t memory = mallinfo2().uordblks;
    for (int time = 0; time < 500; ++time) {
        printFrom(GetParam());
    }
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_LE(mallinfo2().uordblks, memory + 100000)
        << "what the loader keeps, and what counts coverage, is less for each time";
    EXPECT_EQ(printed(), 501U);
}

TEST_P(Unloading, KeepsTheDestinationAndTheSections)
{
    const unsigned int key = printFrom(GetParam());
    setenv("ZT_DEBUG_OUTPUT", (folder / "another").c_str(), 1);
    EXPECT_EQ(printFrom(GetParam()), key);
    EXPECT_EQ(printed(), 2U);
    EXPECT_FALSE(std::filesystem::exists(folder / "another"));
}

INSTANTIATE_TEST_SUITE_P(OneOfThem, Unloading, testing::Values(ZT_LIBRARY, ZT_UTILITY),
                         [](const auto& info) {
                             return info.index == 0 ? "Library" : "Companion";
                         });
