// Frequency response of every ratio measured through the public interface:
// pure float tones go in, the decimated output's amplitude at the tone's
// (aliased) output frequency comes out. Tones sit on exact DFT bins of a
// 64-sample output record: input frequency (j * 64 + o) / (64 R) cycles per
// sample folds to output bin |o|, which one DFT bin measures without leakage.
// The usable band [0, fout / 2.56] is bins 0..25 exactly.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdlib>
#include <set>

#include "DecimateTestSupport.h"

constexpr int kRecord = 64;
constexpr int kEdgeBin = 25;  // kRecord / 2.56
const double kPi = std::acos(-1.0);

// Sanitizer builds run a coarser grid of alias bands and offsets.
#if defined(__SANITIZE_ADDRESS__)
const bool kCoarse = true;
#else
const bool kCoarse = std::getenv("RZF_QUICK_QUALITY") != nullptr;
#endif

// Amplitude at output bin `bin` of a unit cosine at p / (64 R) cycles per
// input sample; cosTab holds one period of the 64 R grid.
static double Gain(int ratio, const std::vector<double>& cosTab, long long p, int bin) {
    bool flag[1] = {true};
    CFirFunc fir;
    EXPECT_TRUE(fir.Init(1, ratio, 4096, flag, 1, true));
    std::vector<float> x(static_cast<std::size_t>(ratio) * (kRecord + fir.GetDelChnCount()));
    for (std::size_t i = 0; i < x.size(); ++i)
        x[i] = static_cast<float>(cosTab[(p * static_cast<long long>(i)) % cosTab.size()]);
    const std::vector<float> out = decimtest::Feed(fir, x, {8192});
    std::complex<double> acc = out.size() == kRecord ? 0.0 : NAN;  // a short record fails
    for (std::size_t m = 0; m < out.size(); ++m)
        acc += double(out[m]) * std::polar(1.0, -2.0 * kPi * bin * double(m) / kRecord);
    return std::abs(acc) / kRecord * (bin == 0 ? 1.0 : 2.0);
}

class DecimationQuality : public ::testing::TestWithParam<int> {};

// Flat within 0.01 dB over the usable band; everything that folds into it
// rejected by 90 dB, except ratio 2, whose stage has four of its taps fixed,
// which with its -3 dB point and the flatness limit it to about 82 dB.
TEST_P(DecimationQuality, FlatUsableBandAndAliasRejection) {
    const int ratio = GetParam();
    std::vector<double> cosTab(kRecord * ratio);
    for (std::size_t m = 0; m < cosTab.size(); ++m)
        cosTab[m] = std::cos(2.0 * kPi * double(m) / double(cosTab.size()));
    for (int bin = 0; bin <= kEdgeBin; ++bin)
        EXPECT_LE(std::fabs(20.0 * std::log10(Gain(ratio, cosTab, bin, bin))), 0.01) << bin;
    // Alias bands j (tones near j * fout fold into the usable band): the first
    // ones, the last, and the neighbourhoods of every multiple of an
    // intermediate stage's output rate, where an earlier stage carries the
    // rejection.
    const DecimRatioDesc* d = rzf::FindDecimRatio(ratio);
    const int last = ratio / 2;
    std::set<int> bands = {last};
    for (int j = 1; j <= std::min(last, kCoarse ? 6 : 24); ++j)
        bands.insert(j);
    for (int k = 1; k < d->m_nStageCount; ++k)
        for (int m = d->m_nInPerOut[k]; m <= last + 2; m += d->m_nInPerOut[k])
            for (int off = -2; off <= 2; ++off)
                if ((!kCoarse || off == 0 || off == -1) && m + off >= 1 && m + off <= last)
                    bands.insert(m + off);
    // Every bin offset of the usable band around each alias centre.
    for (int j : bands)
        for (int o = -kEdgeBin; o <= kEdgeBin; o += kCoarse ? 10 : 1) {
            const long long p = static_cast<long long>(j) * kRecord + o;
            if (2 * p >= static_cast<long long>(cosTab.size()))
                continue;
            EXPECT_GE(-20.0 * std::log10(Gain(ratio, cosTab, p, std::abs(o))),
                      ratio == 2 ? 80.0 : 90.0)
                << "input frequency " << p << "/" << cosTab.size();
        }
}

INSTANTIATE_TEST_SUITE_P(AllRatios, DecimationQuality, ::testing::ValuesIn(decimtest::kRatios));
