#include "tests/support/AllocationCounter.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {
std::atomic<std::size_t> gAllocationsAll{0};
thread_local std::size_t tAllocationsThread = 0;

void noteAllocation()
{
    gAllocationsAll.fetch_add(1, std::memory_order_relaxed);
    ++tAllocationsThread;
}

void* allocate(std::size_t size)
{
    noteAllocation();
    if (void* p = std::malloc(size ? size : 1))
        return p;
    throw std::bad_alloc();
}

void* allocateAligned(std::size_t size, std::align_val_t align)
{
    noteAllocation();
    const std::size_t a = static_cast<std::size_t>(align);
    const std::size_t rounded = (size + a - 1) / a * a;
    if (void* p = std::aligned_alloc(a, rounded ? rounded : a))
        return p;
    throw std::bad_alloc();
}
} // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    noteAllocation();
    return std::malloc(size ? size : 1);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    noteAllocation();
    return std::malloc(size ? size : 1);
}
void* operator new(std::size_t size, std::align_val_t a) { return allocateAligned(size, a); }
// ippsMalloc_* allocates through this form, so the counter sees it too.
void* operator new(std::size_t size, std::align_val_t a, const std::nothrow_t&) noexcept
{
    try {
        return allocateAligned(size, a);
    } catch (...) {
        return nullptr;
    }
}
void* operator new[](std::size_t size, std::align_val_t a, const std::nothrow_t& t) noexcept
{
    return operator new(size, a, t);
}
void* operator new[](std::size_t size, std::align_val_t a) { return allocateAligned(size, a); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }

AllocationCounter::AllocationCounter(Threads which)
    : mWhich(which)
    , mStartAll(gAllocationsAll.load(std::memory_order_relaxed))
    , mStartThread(tAllocationsThread)
{
}

AllocationCounter::~AllocationCounter() = default;

std::size_t AllocationCounter::count() const
{
    if (mWhich == Threads::All)
        return gAllocationsAll.load(std::memory_order_relaxed) - mStartAll;
    return tAllocationsThread - mStartThread;
}
