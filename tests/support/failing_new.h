// failing_new.h - replaces the program's global operator new and delete so
// that a test can make allocations fail. Include it in exactly one source
// file of a test program.
#pragma once

#include <atomic>
#include <cstdlib>
#include <new>

namespace testing_support {

inline std::atomic<long> allocations_left{-1}; // negative: no limit
inline std::atomic<long> allocations_refused{0};

// While alive, every operator new after the first `allowed` throws
// std::bad_alloc; refused() counts the ones that did.
class FailingAllocations {
public:
    explicit FailingAllocations(long allowed = 0)
    {
        allocations_refused = 0;
        allocations_left = allowed;
    }
    ~FailingAllocations() { allocations_left = -1; }
    FailingAllocations(const FailingAllocations &) = delete;
    FailingAllocations &operator=(const FailingAllocations &) = delete;

    long refused() const { return allocations_refused; }
};

} // namespace testing_support

// The replacements pair malloc with free; the compiler, seeing operator new
// and free meet once inlined, would call that a mismatch.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

void *operator new(std::size_t size)
{
    long left = testing_support::allocations_left;
    while (left > 0 && !testing_support::allocations_left.compare_exchange_weak(left, left - 1)) {
    }
    if (left == 0) {
        testing_support::allocations_refused++;
        throw std::bad_alloc();
    }
    if (void *p = std::malloc(size == 0 ? 1 : size))
        return p;
    throw std::bad_alloc();
}

void *operator new[](std::size_t size)
{
    return ::operator new(size);
}

void operator delete(void *p) noexcept
{
    std::free(p);
}

void operator delete[](void *p) noexcept
{
    std::free(p);
}

void operator delete(void *p, std::size_t) noexcept
{
    std::free(p);
}

void operator delete[](void *p, std::size_t) noexcept
{
    std::free(p);
}

#pragma GCC diagnostic pop
