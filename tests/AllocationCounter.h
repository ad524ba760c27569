#pragma once

// Replaces the global allocation functions to count allocations and record the
// largest request. Include from exactly one source of a test executable of its
// own (rzf_add_test ... NO_MEMCHECK): valgrind cannot pair replaced functions.

#include <cstddef>
#include <cstdlib>
#include <new>

namespace rzf::test {

struct AllocationCounts {
    long count = 0;
    std::size_t largest = 0;
};

inline AllocationCounts g_allocations;

// Counts between construction and Taken().
class AllocationWatch {
public:
    AllocationWatch() : m_start(g_allocations.count) { g_allocations.largest = 0; }
    long Taken() const { return g_allocations.count - m_start; }
    std::size_t Largest() const { return g_allocations.largest; }

private:
    long m_start;
};

}  // namespace rzf::test

#if defined(__GNUC__) && !defined(__clang__)
// The replaced operator delete releases with free what the replaced operator
// new took with malloc; once both are inlined (MinGW builds) GCC no longer sees
// that pairing and reports a mismatch.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif

// The standard library's array and sized forms forward to these. Sanitizer
// builds supply their own array forms (not counted there), so the sized release
// is replaced as well to pair with this allocation.
void* operator new(std::size_t size) {
    ++rzf::test::g_allocations.count;
    if (size > rzf::test::g_allocations.largest) {
        rzf::test::g_allocations.largest = size;
    }
    if (void* p = std::malloc(size == 0 ? 1 : size)) {
        return p;
    }
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}
