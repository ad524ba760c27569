#pragma once

// Random samples for bit-identity tests, with the awkward values mixed in.

#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <type_traits>
#include <vector>

namespace rzf::test {

// Values that must pass through every kernel exactly as through the plain loop.
inline std::vector<float> SpecialFloats() {
    using L = std::numeric_limits<float>;
    return {0.0f,
            -0.0f,
            L::infinity(),
            -L::infinity(),
            L::quiet_NaN(),
            -L::quiet_NaN(),
            L::denorm_min(),
            -L::denorm_min(),
            L::min() / 3.0f,
            L::max(),
            -L::max(),
            L::min(),
            1e-38f,
            3e38f,
            -16777217.0f};
}

// n samples uniform in [-scale, scale]; when specials is set, about one in
// sixteen is replaced by one of SpecialFloats().
inline std::vector<float> RandomFloats(std::mt19937& rng, int n, float scale, bool specials) {
    std::uniform_real_distribution<float> value(-scale, scale);
    std::uniform_int_distribution<int> pick(0, 15);
    const std::vector<float> special = SpecialFloats();
    std::uniform_int_distribution<std::size_t> which(0, special.size() - 1);
    std::vector<float> x(static_cast<std::size_t>(n));
    for (float& v : x) {
        v = specials && pick(rng) == 0 ? special[which(rng)] : value(rng);
    }
    return x;
}

inline std::vector<double> RandomDoubles(std::mt19937& rng, int n, double scale) {
    std::uniform_real_distribution<double> value(-scale, scale);
    std::vector<double> x(static_cast<std::size_t>(n));
    for (double& v : x) {
        v = value(rng);
    }
    return x;
}

// Block sizes that add up to total: mostly small and odd-sized, sometimes 0,
// sometimes larger than the kernels' internal blocks.
inline std::vector<int> RandomSplit(std::mt19937& rng, int total) {
    std::uniform_int_distribution<int> kind(0, 9);
    std::vector<int> sizes;
    for (int left = total; left > 0;) {
        int n = 0;
        switch (kind(rng)) {
            case 0:
                n = 0;
                break;
            case 1:
                n = std::uniform_int_distribution<int>(1000, 3000)(rng);
                break;
            default:
                n = std::uniform_int_distribution<int>(1, 70)(rng);
                break;
        }
        n = n < left ? n : left;
        sizes.push_back(n);
        left -= n;
    }
    return sizes;
}

// Same bits, so that 0 differs from -0 and every subnormal counts, except
// that any NaN matches any NaN: which of two NaN operands an addition passes
// on is the compiler's choice of operand order (the language treats the sum
// as commutative), so no loop, old or new, fixes the NaN's sign or payload.
template <typename T>
bool SameValue(T a, T b) {
    if (std::is_floating_point<T>::value && a != a && b != b) {
        return true;
    }
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

template <typename T>
bool SameBits(const T* a, const T* b, int n) {
    for (int i = 0; i < n; ++i) {
        if (!SameValue(a[i], b[i])) {
            return false;
        }
    }
    return true;
}

template <typename T>
bool SameBits(const std::vector<T>& a, const std::vector<T>& b) {
    return a.size() == b.size() && SameBits(a.data(), b.data(), static_cast<int>(a.size()));
}

}  // namespace rzf::test
