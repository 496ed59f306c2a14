#ifndef ZT_BENCH_OPERATIONS_H
#define ZT_BENCH_OPERATIONS_H

#include "bench/costs/Meter.h"

#include <string>

/// What the library is often asked for, and the same work by hand beside it.
struct Operation {
    std::string name;
    void (*run)(Meter& meter, std::size_t size);
    std::size_t size; // of whatever the operation is done with or among
};

/// Each file of operations ends with an array of them, which this adds to those that costs knows.
class Operations {
public:
    template <std::size_t COUNT>
    explicit Operations(const Operation (&added)[COUNT])
    {
        for (const Operation& operation : added) {
            add(operation);
        }
    }

    static const Operation* find(const std::string& name);
    static void printNames();

private:
    static void add(const Operation& operation);
};

#endif
