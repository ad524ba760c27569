#pragma once

// Shared pieces of the libFuzzer harnesses: exact-size heap buffers (so that
// AddressSanitizer reports any access past what a call was given) and value
// pickers that mix the values a host really passes with hostile ones.

#include <fuzzer/FuzzedDataProvider.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>

namespace rzf_fuzz {

// While the library has a known open fault, the harness that meets it steps
// around it (each names its own) and its reproducer waits under
// regressions/pending/. The faults they name are fixed: nothing is avoided,
// unless a build defines RZF_FUZZ_AVOID_OPEN_FAULTS.
#if defined(RZF_FUZZ_AVOID_OPEN_FAULTS)
constexpr bool kAvoidOpenFaults = true;
#else
constexpr bool kAvoidOpenFaults = false;
#endif

// Largest block a harness feeds in one call, in samples or bytes; keeps each
// input fast while still crossing every internal block boundary.
constexpr int kMaxBlock = 4096;

// Stops the run with a message: libFuzzer records the input as a crash.
[[noreturn]] inline void Fail(const char* what) {
    std::fprintf(stderr, "rzf_fuzz invariant violated: %s\n", what);
    std::abort();
}

inline void Require(bool ok, const char* what) {
    if (!ok) {
        Fail(what);
    }
}

// A heap array of exactly `count` elements (none for 0: data() is then null).
template <typename T>
class ExactBuffer {
public:
    explicit ExactBuffer(std::size_t count)
        : m_count(count), m_data(count > 0 ? new T[count] : nullptr) {}
    T* data() { return m_data.get(); }
    std::size_t size() const { return m_count; }
    // Fills the buffer from the fuzzer's bytes (zeros once they run out).
    void Fill(FuzzedDataProvider& in) {
        if (m_count == 0) {
            return;
        }
        const std::size_t bytes = m_count * sizeof(T);
        std::memset(static_cast<void*>(m_data.get()), 0, bytes);
        const std::size_t got = in.ConsumeData(m_data.get(), bytes);
        (void)got;
    }

private:
    std::size_t m_count;
    std::unique_ptr<T[]> m_data;
};

// Doubles no caller should pass but every routine must survive.
inline double HostileDouble(FuzzedDataProvider& in) {
    static const double kValues[] = {std::numeric_limits<double>::quiet_NaN(),
                                     std::numeric_limits<double>::infinity(),
                                     -std::numeric_limits<double>::infinity(),
                                     0.0,
                                     -0.0,
                                     -1.0,
                                     1e308,
                                     DBL_MAX,
                                     -DBL_MAX,
                                     1e-308,
                                     std::numeric_limits<double>::denorm_min(),
                                     1e-300,
                                     1e30,
                                     4294967296.0};
    return in.PickValueInArray(kValues);
}

// A value near `typical` (a fraction or multiple of it) most of the time, a
// hostile one otherwise.
inline double PickDouble(FuzzedDataProvider& in, double typical) {
    switch (in.ConsumeIntegralInRange<int>(0, 7)) {
        case 0:
            return HostileDouble(in);
        case 1:
            return typical * in.ConsumeFloatingPointInRange<double>(-2.0, 4.0);
        default:
            return typical * in.ConsumeProbability<double>();
    }
}

// Ints no caller should pass.
inline int HostileInt(FuzzedDataProvider& in) {
    static const int kValues[] = {0,           -1,          -2,      INT_MIN,    INT_MAX,
                                  INT_MAX - 1, INT_MIN + 1, 1 << 30, -(1 << 30), 65536};
    return in.PickValueInArray(kValues);
}

// An int in [lo, hi] most of the time, a hostile one otherwise.
inline int PickInt(FuzzedDataProvider& in, int lo, int hi) {
    if (in.ConsumeIntegralInRange<int>(0, 7) == 0) {
        return HostileInt(in);
    }
    return in.ConsumeIntegralInRange<int>(lo, hi);
}

// All entries finite.
inline bool AllFinite(const double* v, long long n) {
    for (long long i = 0; i < n; ++i) {
        if (!std::isfinite(v[i])) {
            return false;
        }
    }
    return true;
}

}  // namespace rzf_fuzz
