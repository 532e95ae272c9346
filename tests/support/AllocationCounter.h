#pragma once
// Counts heap allocations made through the global operator new and malloc-family
// hooks while a scope is alive, on the thread that opened it or on every thread.
// Tests wrap blocks of `process` in a scope and expect a count of zero.

#include <cstddef>

class AllocationCounter {
public:
    enum class Threads { Current, All };

    explicit AllocationCounter(Threads which = Threads::Current);
    ~AllocationCounter();
    AllocationCounter(const AllocationCounter&) = delete;
    AllocationCounter& operator=(const AllocationCounter&) = delete;

    // Allocations seen since construction.
    std::size_t count() const;

private:
    Threads mWhich;
    std::size_t mStartAll;
    std::size_t mStartThread;
};
