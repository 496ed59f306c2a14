// Three threads read a table while one writes it: many may read at once, and none sees a row that
// is half written.

#include "zt/ZTAutoLock.h"
#include "zt/ZTSharedMutex.h"
#include "zt/ZTThread.h"

#include <atomic>
#include <cstdio>
#include <memory>

namespace {

const int READERS = 3;
const int ROWS = 1000;

struct Table {
    const std::unique_ptr<ZT::ZTSharedMutex> mutex{ZT::ZTSharedMutex::create()};
    int width = 0;
    int height = 0;
    std::atomic<int> halfWritten{0};
};

void write(void* argument)
{
    auto& table = *static_cast<Table*>(argument);
    for (int row = 0; row < ROWS; ++row) {
        ZT::ZTMutex* exclusively = table.mutex.get();
        const ZT::ZTAutoLock lock(exclusively);
        ++table.width;
        ++table.height;
    }
}

void read(void* argument)
{
    auto& table = *static_cast<Table*>(argument);
    for (int row = 0; row < ROWS; ++row) {
        const ZT::ZTAutoLock lock(table.mutex.get()); // a ZTSharedMutex*: shared
        if (table.width != table.height) {
            ++table.halfWritten;
        }
    }
}

} // namespace

int main()
{
    Table table;
    std::unique_ptr<ZT::ZTThread> threads[READERS + 1];
    for (auto& thread : threads) {
        thread.reset(ZT::ZTThread::create(&thread == threads ? "writer" : "reader"));
        thread->startThread(&thread == threads ? write : read, &table);
    }
    for (const auto& thread : threads) {
        thread->join();
    }
    std::printf("%d rows written, %d seen half written\n", table.width, table.halfWritten.load());
}
