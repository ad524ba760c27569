// Counts global allocations around InputDataAndDeal: once the output buffer
// has grown to the largest call, streaming allocates nothing.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <vector>

#include <RZFilterFunc/decimate/CFirFunc.h>

static long g_allocations = 0;

// The standard library's array and sized forms forward to these. Sanitizer
// builds supply their own array forms (not counted there), so the sized release
// is replaced as well to pair with this allocation.
void* operator new(std::size_t size) {
    ++g_allocations;
    if (void* p = std::malloc(size == 0 ? 1 : size))
        return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}

TEST(CFirFuncSteadyState, NoAllocationOnceTheOutputBufferFits) {
    std::vector<char> buf(4 * 3 * 4000, 0);
    bool flags[3] = {true, false, true};
    for (int ratio : {2, 10, 100, 500, 1000})
        for (int type : {0, 1, 2, 3}) {
            CFirFunc fir;
            ASSERT_TRUE(fir.Init(3, ratio, 3000, flags, type, true));
            // Largest call first: the buffer and its shared owner's control block.
            long before = g_allocations;
            fir.InputDataAndDeal(buf.data(), 3 * 4000);
            const long first = g_allocations - before;
            EXPECT_GE(first, 1) << ratio;
            EXPECT_LE(first, 2) << ratio;
            before = g_allocations;
            for (int n : {1, 17, 3 * 4000, 999, 3 * ratio + 2, 5000})
                fir.InputDataAndDeal(buf.data(), n);
            EXPECT_EQ(g_allocations - before, 0) << ratio << " type " << type;
        }
}
