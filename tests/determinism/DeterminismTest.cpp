// Which outputs the library repeats bit for bit across platforms: the probe's
// records from the Linux shared library against those the Windows DLL wrote
// under Wine (file named by RZF_WINDOWS_PROBE; scripts/test.sh produces it).
// Every kind of output is either expected identical or bounded.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>

#include "DeterminismProbe.h"

namespace {

using rzf_probe::Record;

// The largest difference allowed per kind of output: 0 means bit for bit;
// for "-amplitude-db" kinds in dB where a value is above -120 dB (below, the
// log of a sum that has cancelled to a few ulps differs freely); for "-phase"
// kinds in rad, modulo pi, where the design's amplitude is above -60 dB
// (deeper, the arctangent's arguments are rounding noise); for the others
// relative to the record's largest value. Integer and single-precision
// streaming paths use only + - * / and conversions, which IEEE 754 fixes.
// Designs call tan, sin, cos, exp, log, pow ..., which glibc and MinGW-w64
// round differently in the last place now and then. Measured under Wine:
// 4.2e-16 (coefficients), 7.4e-10 dB and 6.8e-11 dB (amplitudes), 3.3e-21 and
// 2.1e-21 (window and Kaiser taps that should be zero), 9.8e-24 and 3.8e-23
// (float outputs through those taps), 7.7e-12 and 2.0e-14 rad (phases).
// Tolerances are a few times these.
const std::map<std::string, double> kTolerance = {
    {"design-outcome", 0},         {"frequency-axis", 0},          {"engine-iir-output", 0},
    {"integral-output", 0},        {"bessel-output", 0},           {"decimation-output", 0},
    {"average-coefficients", 0},   {"average-block-output", 0},    {"smoother-output", 0},
    {"iir-axis-limits", 0},        {"window-axis-limits", 0},      {"engine-fir-output", 0},
    {"iir-block-output", 0},       {"iir-coefficients", 2e-15},    {"iir-amplitude-db", 5e-9},
    {"iir-phase", 5e-11},          {"window-coefficients", 1e-16}, {"window-amplitude-db", 5e-10},
    {"window-phase", 1e-13},       {"window-block-output", 1e-15}, {"kaiser-taps", 1e-16},
    {"frame-filter-output", 1e-15}};

bool Has(const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
}

bool SameBits(double a, double b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// Largest difference of the record under its kind's rule: 0 when
// bit-identical, infinite for any difference where none is allowed.
// amplitude: the design's dB response, for a phase record.
double Difference(const Record& mine, const Record& theirs, const Record* amplitude) {
    const bool exact = kTolerance.at(mine.kind) == 0.0, db = Has(mine.kind, "-amplitude-db"),
               phase = Has(mine.kind, "-phase");
    double peak = 0.0, worst = 0.0;
    for (double v : mine.values) {
        peak = std::max(peak, std::fabs(v));
    }
    for (std::size_t i = 0; i < mine.values.size(); ++i) {
        const double a = mine.values[i], b = theirs.values[i], d = a - b;
        const bool ignored = (db && std::max(a, b) <= -120.0) ||
                             (phase && amplitude->values[i] <= -60.0) ||
                             (!exact && std::isnan(a) && std::isnan(b));
        if (SameBits(a, b) || ignored) {
            continue;
        }
        const double diff = exact   ? HUGE_VAL
                            : phase ? std::fabs(d - M_PI * std::round(d / M_PI))
                                    : std::fabs(d) / (db ? 1.0 : peak);
        worst = std::max(worst, std::isfinite(diff) ? diff : HUGE_VAL);
    }
    return worst;
}

// Two runs in one process agree bit for bit, every kind has its expectation,
// and the text form gives back every record exactly.
TEST(Determinism, EveryRecordRepeatsBitForBit) {
    const auto first = rzf_probe::RunProbe();
    std::stringstream text;
    rzf_probe::WriteRecords(text, first);
    for (const auto& other : {rzf_probe::RunProbe(), rzf_probe::ReadRecords(text)}) {
        ASSERT_EQ(other.size(), first.size());
        ASSERT_GT(first.size(), 100u);
        for (std::size_t r = 0; r < first.size(); ++r) {
            ASSERT_EQ(kTolerance.count(first[r].kind), 1u) << first[r].kind;
            ASSERT_EQ(other[r].name, first[r].name);
            ASSERT_EQ(other[r].values.size(), first[r].values.size());
            const auto& a = first[r].values;
            EXPECT_TRUE(std::equal(a.begin(), a.end(), other[r].values.begin(), SameBits))
                << first[r].name;
        }
    }
}

TEST(Determinism, LinuxLibraryAgainstWindowsDll) {
    const char* path = std::getenv("RZF_WINDOWS_PROBE");
    if (path == nullptr || *path == '\0') {
        GTEST_SKIP() << "RZF_WINDOWS_PROBE not set (scripts/test.sh sets it after the Windows run)";
    }
    std::ifstream file(path, std::ios::binary);
    ASSERT_TRUE(file.good()) << path;
    const auto theirs = rzf_probe::ReadRecords(file), mine = rzf_probe::RunProbe();
    ASSERT_EQ(theirs.size(), mine.size());
    for (std::size_t r = 0; r < mine.size(); ++r) {
        SCOPED_TRACE(mine[r].name);
        ASSERT_EQ(theirs[r].name, mine[r].name);
        ASSERT_EQ(theirs[r].kind, mine[r].kind);
        ASSERT_EQ(theirs[r].values.size(), mine[r].values.size());
        ASSERT_EQ(kTolerance.count(mine[r].kind), 1u);
        const std::string stem = mine[r].name.substr(0, mine[r].name.rfind('.'));
        const auto amplitude = std::find_if(mine.begin(), mine.end(), [&](const Record& x) {
            return x.name == stem + ".amplitude";
        });
        if (Has(mine[r].kind, "-phase")) {
            ASSERT_TRUE(amplitude != mine.end());
        }
        EXPECT_LE(Difference(mine[r], theirs[r], amplitude == mine.end() ? nullptr : &*amplitude),
                  kTolerance.at(mine[r].kind));
    }
}

}  // namespace
