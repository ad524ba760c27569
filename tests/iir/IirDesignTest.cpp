#include <gtest/gtest.h>

#include <RZFilterFunc/filter/FilterMessages.h>
#include <RZFilterFunc/iir/ButwcfFilter.h>
#include <RZFilterFunc/iir/ChebyiFilter.h>
#include <RZFilterFunc/iir/ChebyiiFilter.h>

#include <cmath>
#include <complex>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "RZFilterFunc/iir/IirDesignSteps.h"
#include "RZFilterFunc/iir/PolyMath.h"

namespace {

void SetParams(IIRFilter& f, int band, double fs, double f1, double f2, double f3, double f4,
               double ap, double as) {
    f.m_nBandType = band;
    f.m_dSampleFreq = fs;
    f.m_dFreq1 = f1;
    f.m_dFreq2 = f2;
    f.m_dFreq3 = f3;
    f.m_dFreq4 = f4;
    f.m_dPassRipple = ap;
    f.m_dStopAtten = as;
}

// Designs whose order estimate is forced, to exercise truncation and bounds.
template <class Base>
class ForcedEstimate : public Base {
public:
    explicit ForcedEstimate(double v) : m_dValue(v) {}
    double EstimateOrder(double, double, double) override { return m_dValue; }
    double m_dValue;
};

const std::string kOrderMessage = rzf::msg::Text(rzf::msg::kOrderTooLarge);

template <class F>
int DesignForced(double estimate, int band, std::unique_ptr<F>* out = nullptr) {
    auto f = std::make_unique<ForcedEstimate<F>>(estimate);
    SetParams(*f, band, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 40.0);
    f->m_bStable = true;
    const int rc = f->DesignIIR();
    if (out != nullptr) {
        *out = std::move(f);
    }
    return rc;
}

}  // namespace

TEST(ButterworthSection, PrototypeSectionsOfOrderThreeAndFour) {
    double n[10];
    double d[10];
    ASSERT_EQ(ButwcfFilter::ButterworthSection(3, 1, n, d), 0);
    EXPECT_EQ(n[0], 1.0);
    EXPECT_EQ(d[0], 1.0);
    EXPECT_NEAR(d[1], 1.0, 1e-15);  // s^2 + s + 1
    EXPECT_EQ(d[2], 1.0);
    EXPECT_EQ(d[3], 0.0);
    ASSERT_EQ(ButwcfFilter::ButterworthSection(3, 2, n, d), 0);
    EXPECT_EQ(d[0], 1.0);  // s + 1
    EXPECT_EQ(d[1], 1.0);
    EXPECT_EQ(d[2], 0.0);

    ASSERT_EQ(ButwcfFilter::ButterworthSection(4, 1, n, d), 0);
    EXPECT_NEAR(d[1], 0.765367, 1e-6);
    EXPECT_NEAR(d[1], 2.0 * std::sin(M_PI / 8.0), 1e-15);
    ASSERT_EQ(ButwcfFilter::ButterworthSection(4, 2, n, d), 0);
    EXPECT_NEAR(d[1], 1.847759, 1e-6);
    EXPECT_NEAR(d[1], 2.0 * std::sin(3.0 * M_PI / 8.0), 1e-15);

    EXPECT_EQ(ButwcfFilter::ButterworthSection(4, 0, n, d), 2);
    EXPECT_EQ(ButwcfFilter::ButterworthSection(4, 3, n, d), 2);
    EXPECT_EQ(ButwcfFilter::ButterworthSection(0, 1, n, d), 2);
}

TEST(ButwcfFilter, LowPassWorkedExample) {
    ButwcfFilter f;
    SetParams(f, 1, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.3, 40.0);
    const double x1 = std::pow(10.0, 0.03) - 1.0;
    const double x2 = std::pow(10.0, 4.0) - 1.0;
    const double k = std::tan(0.1 * M_PI) / std::tan(0.2 * M_PI);
    EXPECT_NEAR(f.EstimateOrder(x1, x2, k), 8.26, 0.01);
    ASSERT_EQ(f.DesignIIR(), 8);
    EXPECT_EQ(f.m_nFilterOrder, 8);
    EXPECT_EQ(f.m_pDenominator[0], 1.0);
    EXPECT_NE(f.m_pDenominator[8], 0.0);
    for (int j = 9; j < 200; ++j) {
        ASSERT_EQ(f.m_pDenominator[j], 0.0);
        ASSERT_EQ(f.m_pNumerator[j], 0.0);
    }
    // Unit gain at DC.
    double sb = 0.0;
    double sa = 0.0;
    for (int j = 0; j <= 8; ++j) {
        sb += f.m_pNumerator[j];
        sa += f.m_pDenominator[j];
    }
    EXPECT_NEAR(sb / sa, 1.0, 1e-10);
    EXPECT_EQ(f.m_nLength, 1);  // the Butterworth design leaves it alone
    EXPECT_EQ(f.GetCoefCount(), 200);
}

TEST(ButwcfFilter, NyquistMarginRefusesSilently) {
    ButwcfFilter f;
    SetParams(f, 1, 1000.0, 100.0, 400.0, 450.0, 460.0, 0.3, 40.0);
    f.m_bStable = true;
    EXPECT_EQ(f.DesignIIR(), -1);
    EXPECT_TRUE(f.m_bStable);
    EXPECT_TRUE(f.m_strError.empty());
    EXPECT_EQ(f.m_pNumerator, nullptr);
    EXPECT_EQ(f.m_dFreq2, 400.0);

    ButwcfFilter bs;
    SetParams(bs, 4, 1000.0, 100.0, 150.0, 250.0, 391.0, 0.3, 40.0);
    EXPECT_EQ(bs.DesignIIR(), -1);
    EXPECT_TRUE(bs.m_strError.empty());

    // Equality passes: 1000 / 2.56 = 390.625 (tan edges give an estimate of 3.6).
    ButwcfFilter edge;
    SetParams(edge, 1, 1000.0, 100.0, 390.625, 400.0, 450.0, 0.3, 40.0);
    EXPECT_EQ(edge.DesignIIR(), 3);
    EXPECT_EQ(edge.m_pDenominator[3] != 0.0, true);
    EXPECT_EQ(edge.m_pDenominator[4], 0.0);  // padded top of the first-order section
}

TEST(ButwcfFilter, EdgeRewrites) {
    ButwcfFilter hp;
    SetParams(hp, 2, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.5, 40.0);
    EXPECT_EQ(hp.DesignIIR(), 7);
    EXPECT_EQ(hp.m_dFreq1, 200.0);
    EXPECT_EQ(hp.m_dFreq2, 0.0);
    EXPECT_EQ(hp.m_dFreq3, 300.0);

    ButwcfFilter bp;
    SetParams(bp, 3, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 40.0);
    EXPECT_EQ(bp.DesignIIR(), 16);
    EXPECT_EQ(bp.m_dFreq1, 150.0);
    EXPECT_EQ(bp.m_dFreq2, 250.0);
    EXPECT_EQ(bp.m_dFreq4, 300.0);

    ButwcfFilter bs;
    SetParams(bs, 4, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 30.0);
    EXPECT_EQ(bs.DesignIIR(), 14);
    EXPECT_EQ(bs.m_dFreq1, 100.0);
    EXPECT_EQ(bs.m_dFreq2, 300.0);
    EXPECT_EQ(bs.m_dFreq3, 250.0);
    EXPECT_EQ(bs.m_dFreq4, 300.0);
}

TEST(IirDesign, EstimateTruncationAndOrderBounds) {
    EXPECT_EQ(DesignForced<ButwcfFilter>(3.95, 1), 3);  // 3.05 + 0.9
    EXPECT_EQ(DesignForced<ButwcfFilter>(4.05, 1), 4);  // 3.15 + 0.9
    EXPECT_EQ(DesignForced<ButwcfFilter>(10.99, 2), 10);
    EXPECT_EQ(DesignForced<ButwcfFilter>(15.5, 3), 30);
    EXPECT_EQ(DesignForced<ButwcfFilter>(11.0, 3), 22);

    std::unique_ptr<ButwcfFilter> b;
    EXPECT_EQ(DesignForced<ButwcfFilter>(11.0, 1, &b), -1);
    EXPECT_FALSE(b->m_bStable);
    EXPECT_EQ(b->m_strError, kOrderMessage);
    EXPECT_EQ(b->m_strError.size(), 28u);
    EXPECT_EQ(b->m_pNumerator, nullptr);
    EXPECT_EQ(DesignForced<ButwcfFilter>(2.99, 1), -1);
    EXPECT_EQ(DesignForced<ButwcfFilter>(16.0, 4), -1);
    // A NaN or huge estimate lands outside the bounds.
    EXPECT_EQ(DesignForced<ButwcfFilter>(NAN, 1, &b), -1);
    EXPECT_EQ(b->m_strError, kOrderMessage);
    EXPECT_EQ(DesignForced<ButwcfFilter>(1e300, 3), -1);
    EXPECT_EQ(DesignForced<ButwcfFilter>(-1e300, 3), -1);

    std::unique_ptr<ChebyiFilter> c;
    EXPECT_EQ(DesignForced<ChebyiFilter>(5.5, 1, &c), 6);
    EXPECT_EQ(c->m_nLength, 7);
    EXPECT_EQ(DesignForced<ChebyiFilter>(12.0, 3, &c), 24);
    EXPECT_EQ(c->m_nLength, 25);
    EXPECT_EQ(DesignForced<ChebyiFilter>(5.0, 3), 12);
    EXPECT_EQ(DesignForced<ChebyiFilter>(13.0, 3, &c), -1);
    EXPECT_EQ(c->m_strError, kOrderMessage);
    EXPECT_EQ(c->m_nLength, 1);
    EXPECT_EQ(DesignForced<ChebyiiFilter>(13.0, 4), -1);
    EXPECT_EQ(DesignForced<ChebyiiFilter>(11.0, 2), -1);
    EXPECT_EQ(DesignForced<ChebyiiFilter>(7.0, 2), 8);
}

TEST(IirDesign, BadBandTypesAndEdgesAreRefused) {
    for (int band : {0, 5, -3, 1000}) {
        ButwcfFilter b;
        SetParams(b, band, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 40.0);
        b.m_bStable = true;
        EXPECT_EQ(b.DesignIIR(), -1) << band;
        EXPECT_FALSE(b.m_bStable);
        EXPECT_EQ(b.m_strError, kOrderMessage);
        EXPECT_EQ(b.m_dFreq1, 100.0);
        ChebyiiFilter c;
        SetParams(c, band, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 40.0);
        EXPECT_EQ(c.DesignIIR(), -1) << band;
        EXPECT_EQ(c.m_strError, kOrderMessage);
    }
    ChebyiFilter zeroEdge;
    SetParams(zeroEdge, 4, 1000.0, 100.0, 150.0, 0.0, 300.0, 1.0, 40.0);
    EXPECT_EQ(zeroEdge.DesignIIR(), -1);
    EXPECT_EQ(zeroEdge.m_strError, kOrderMessage);
    EXPECT_EQ(zeroEdge.m_nFilterOrder, 0);
    // A zero or NaN value in any used field is refused or, where the
    // mathematics allows it (a lower stop edge at 0 Hz), designs normally.
    for (int method = 0; method < 3; ++method) {
        for (int band = 1; band <= 4; ++band) {
            for (int which = 0; which < 6; ++which) {
                for (double bad : {0.0, static_cast<double>(NAN)}) {
                    double v[6] = {1000.0, 100.0, 150.0, 250.0, 300.0, 1.0};
                    v[which] = bad;
                    std::unique_ptr<IIRFilter> f;
                    if (method == 0) {
                        f = std::make_unique<ButwcfFilter>();
                    } else if (method == 1) {
                        f = std::make_unique<ChebyiFilter>();
                    } else {
                        f = std::make_unique<ChebyiiFilter>();
                    }
                    SetParams(*f, band, v[0], v[1], v[2], v[3], v[4], v[5], 40.0);
                    const int r = f->DesignIIR();
                    if (r == -1) {
                        continue;
                    }
                    SCOPED_TRACE(::testing::Message()
                                 << method << " " << band << " " << which << " " << bad);
                    ASSERT_EQ(r, f->m_nFilterOrder);
                    EXPECT_EQ(f->m_pDenominator[0], 1.0);
                    for (int j = 0; j <= r; ++j) {
                        ASSERT_TRUE(std::isfinite(f->m_pNumerator[j]));
                    }
                }
            }
        }
    }
}

TEST(ChebyshevDesign, LowPassWorkedExampleKeepsEdges) {
    ChebyiFilter f;
    SetParams(f, 1, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.3, 40.0);
    const double x1 = std::pow(10.0, 0.03) - 1.0;
    const double x2 = std::pow(10.0, 4.0) - 1.0;
    const double k = std::tan(0.1 * M_PI) / std::tan(0.2 * M_PI);
    EXPECT_NEAR(f.EstimateOrder(x1, x2, k),
                std::acosh(std::sqrt(x2 / x1)) / std::acosh(1 / k) + 0.9, 1e-12);
    EXPECT_NEAR(f.EstimateOrder(x1, x2, k), 5.48, 0.01);
    EXPECT_EQ(f.DesignIIR(), 6);
    EXPECT_EQ(f.m_nLength, 7);
    EXPECT_EQ(f.m_dFreq1, 100.0);
    EXPECT_EQ(f.m_dFreq2, 200.0);
    EXPECT_EQ(f.m_dFreq3, 300.0);
    EXPECT_EQ(f.m_dFreq4, 400.0);

    ChebyiiFilter g;
    SetParams(g, 3, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 40.0);
    EXPECT_EQ(g.DesignIIR(), 12);
    EXPECT_EQ(g.m_dFreq1, 100.0);
    EXPECT_EQ(g.m_dFreq2, 150.0);
}

// Magnitude of the analog cascade of an order-N prototype at s = jw.
template <class F>
double CascadeMagnitude(F& f, int N, double kc, double A, double w) {
    std::complex<double> h = 1.0;
    const std::complex<double> s(0.0, w);
    for (int i = 0; i < N / 2; ++i) {
        double n[5];
        double d[5];
        f.PrototypeSection(N, i, 4, kc, A, n, d);
        h *= (n[0] + n[1] * s + n[2] * s * s) / (d[0] + d[1] * s + d[2] * s * s);
    }
    return std::abs(h);
}

TEST(ChebyshevDesign, PrototypeSections) {
    const double kc = 1.7;
    const double A = 100.0;  // 40 dB
    ChebyiFilter one;
    ChebyiiFilter two;
    for (int N : {4, 6, 8}) {
        // Type I meets the attenuation exactly at kc and peaks at 0 dB.
        EXPECT_NEAR(CascadeMagnitude(one, N, kc, A, kc), 1.0 / std::sqrt(1.0 + A * A), 1e-12);
        const double eps = A / std::cosh(N * std::acosh(kc));
        EXPECT_NEAR(CascadeMagnitude(one, N, kc, A, 0.0), 1.0 / std::sqrt(1.0 + eps * eps), 1e-12);
        EXPECT_NEAR(CascadeMagnitude(one, N, kc, A, 1.0), 1.0 / std::sqrt(1.0 + eps * eps), 1e-12);
        // Type II: unit gain at DC, 1/A at the stop edge kc.
        EXPECT_NEAR(CascadeMagnitude(two, N, kc, A, 0.0), 1.0, 1e-12);
        EXPECT_NEAR(CascadeMagnitude(two, N, kc, A, kc), 1.0 / A, 1e-12);
        for (int i = 0; i < N / 2; ++i) {
            double n[5] = {9, 9, 9, 9, 9};
            double d[5] = {9, 9, 9, 9, 9};
            one.PrototypeSection(N, i, 4, kc, A, n, d);
            EXPECT_EQ(n[0] == d[0], i != 0) << "only section 0 carries 1/g";
            EXPECT_EQ(n[4], 0.0);
            two.PrototypeSection(N, i, 4, kc, A, n, d);
            EXPECT_EQ(n[1], 0.0);
            const double zero = kc / std::cos((2 * i + 1) * M_PI / (2 * N));
            EXPECT_NEAR(n[0] / n[2], zero * zero, 1e-9 * zero * zero);
        }
    }
    // Odd orders end with a first-order section.
    double n[5];
    double d[5];
    one.PrototypeSection(3, 1, 4, kc, A, n, d);
    EXPECT_EQ(d[1], 1.0);
    EXPECT_EQ(d[2], 0.0);
    EXPECT_EQ(n[0], d[0]);
    EXPECT_GT(n[0], 0.0);
    two.PrototypeSection(3, 1, 4, kc, A, n, d);
    EXPECT_EQ(d[1], 1.0);
    EXPECT_EQ(n[0], d[0]);
}

TEST(IirResponse, ResponseArraysAndLazyComputation) {
    ButwcfFilter f;
    EXPECT_EQ(f.GetCoefCount(), 200);
    EXPECT_EQ(f.GetNumerator(), nullptr);
    int count = -5;
    EXPECT_EQ(f.GetAmplitudeResponse(&count), nullptr);
    EXPECT_EQ(count, 2048);  // written before the missing design is noticed
    count = -5;
    EXPECT_EQ(f.GetPhaseResponse(&count), nullptr);
    EXPECT_EQ(count, -5);

    SetParams(f, 1, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.3, 40.0);
    ASSERT_EQ(f.DesignIIR(), 8);
    const double* amp = f.GetAmplitudeResponse(&count);
    ASSERT_NE(amp, nullptr);
    EXPECT_NEAR(amp[0], 0.0, 1e-9);  // the peak of a low-pass sits at DC
    EXPECT_EQ(f.m_pFreqAxis[1], 1000.0 / 4096.0);
    EXPECT_NEAR(f.m_pFreqAxis[2047], 2047 * 1000.0 / 4096.0, 1e-9);
    const double* phase = f.m_pPhase;
    count = 0;
    EXPECT_EQ(f.GetPhaseResponse(&count), phase);
    EXPECT_EQ(f.GetAmplitudeResponse(&count), amp);
    for (int i = 0; i < 2048; ++i) {
        ASSERT_LE(amp[i], 0.0);
        ASSERT_LT(std::fabs(phase[i]), M_PI / 2 + 1e-15);
    }

    ButwcfFilter g;
    g.m_nRespCount = 0;
    count = 7;
    EXPECT_EQ(g.GetAmplitudeResponse(&count), nullptr);
    EXPECT_EQ(g.GetPhaseResponse(&count), nullptr);
    EXPECT_EQ(count, 7);
}

TEST(IirResponse, HandBuiltTransferFunctions) {
    ButwcfFilter f;
    f.m_dSampleFreq = 8.0;
    f.m_nRespCount = 4;
    f.m_nFilterOrder = 2;
    f.m_pNumerator = new double[200]();
    f.m_pDenominator = new double[200]();
    f.m_pDenominator[0] = 1.0;
    // 1 - z^-1: an exact zero at DC takes the next point's value.
    f.m_pNumerator[0] = 1.0;
    f.m_pNumerator[1] = -1.0;
    int count = 0;
    const double* amp = f.GetAmplitudeResponse(&count);
    ASSERT_NE(amp, nullptr);
    const double peak = std::sin(3.0 * M_PI / 8.0);
    EXPECT_NEAR(amp[1], 20.0 * std::log10(std::sin(M_PI / 8.0) / peak), 1e-12);
    EXPECT_EQ(amp[0], amp[1]);
    EXPECT_EQ(amp[3], 0.0);
    EXPECT_EQ(f.m_pFreqAxis[3], 3.0);
    // |H| = 2 sin(w/2), phase (pi - w)/2.
    EXPECT_NEAR(f.m_pPhase[1], 3.0 * M_PI / 8.0, 1e-12);

    // 1 + z^-2 at w = pi/2: the real part cancels exactly, the phase reads 0.
    ButwcfFilter g;
    g.m_dSampleFreq = 4.0;
    g.m_nRespCount = 2;
    g.m_nFilterOrder = 2;
    g.m_pNumerator = new double[200]();
    g.m_pDenominator = new double[200]();
    g.m_pDenominator[0] = 1.0;
    g.m_pNumerator[0] = 1e-150;
    g.m_pNumerator[2] = 1e-150;
    const double* ph = g.GetPhaseResponse(&count);
    ASSERT_NE(ph, nullptr);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(ph[1], 0.0);
    // The last point underflows to an exact zero and takes its neighbour's value.
    EXPECT_EQ(g.m_pAmplitude[1], 0.0);
    EXPECT_EQ(g.m_pAmplitude[0], 0.0);
    EXPECT_EQ(g.GetAmplitudeResponse(&count), g.m_pAmplitude);
}

TEST(TransformSection, RefusalCodes) {
    const double b[3] = {1.0, 0.0, 0.0};
    const double a[3] = {1.0, 1.0, 0.0};
    const double zeros[3] = {0.0, 0.0, 0.0};
    const double cubic[4] = {1.0, 2.0, 2.0, 1.0};
    double d[5];
    double e[5];
    EXPECT_EQ(rzf::TransformSection(b, a, 3, 3, 3, 0, 0.1, 0.2, d, e), 4);
    EXPECT_EQ(rzf::TransformSection(b, a, 3, 3, 3, 5, 0.1, 0.2, d, e), 4);
    EXPECT_EQ(rzf::TransformSection(b, a, 3, 3, 3, 1, 0.0, 0.2, d, e), 5);
    EXPECT_EQ(rzf::TransformSection(b, a, 3, 3, 3, 1, 0.6, 0.2, d, e), 5);
    EXPECT_EQ(rzf::TransformSection(b, a, 3, 3, 3, 2, NAN, 0.2, d, e), 5);
    EXPECT_EQ(rzf::TransformSection(b, a, 3, 5, 5, 3, 0.2, 0.2, d, e), 5);
    EXPECT_EQ(rzf::TransformSection(b, a, 3, 5, 5, 4, 0.2, 0.51, d, e), 5);
    EXPECT_EQ(rzf::TransformSection(b, a, 3, 5, 5, 4, 0.2, NAN, d, e), 5);
    EXPECT_EQ(rzf::TransformSection(zeros, zeros, 3, 3, 3, 1, 0.1, 0.2, d, e), 1);
    EXPECT_EQ(rzf::TransformSection(cubic, cubic, 4, 3, 2, 1, 0.1, 0.2, d, e), 3);
    EXPECT_EQ(rzf::TransformSection(cubic, cubic, 4, 5, 4, 3, 0.1, 0.2, d, e), 3);
}

TEST(TransformSection, HandDerivedMappings) {
    // 1/(s + 1) with W1 = tan(pi/4) = 1.
    const double b[3] = {1.0, 0.0, 0.0};
    const double a[3] = {1.0, 1.0, 0.0};
    double d[5];
    double e[5];
    ASSERT_EQ(rzf::TransformSection(b, a, 3, 3, 3, 1, 0.25, 0.0, d, e), 0);
    EXPECT_NEAR(d[0], 0.5, 1e-15);
    EXPECT_NEAR(d[1], 0.5, 1e-15);
    EXPECT_NEAR(e[1], 0.0, 1e-15);
    EXPECT_EQ(d[2], 0.0);
    // High-pass: s/(s + 1) -> (1 - z^-1)/2.
    ASSERT_EQ(rzf::TransformSection(b, a, 3, 3, 3, 2, 0.25, 0.0, d, e), 0);
    EXPECT_NEAR(d[0], 0.5, 1e-15);
    EXPECT_NEAR(d[1], -0.5, 1e-15);
    EXPECT_EQ(e[0], 1.0);
    EXPECT_NEAR(e[1], 0.0, 1e-15);
    // W1 = 1, W2 = 3: band-pass 2s/(s^2 + 2s + 3) -> (2 - 2x^2)/(6 + 4x + 2x^2),
    // band-stop (s^2 + 3)/(s^2 + 2s + 3) -> (4 + 4x + 4x^2)/(6 + 4x + 2x^2).
    const double f2 = std::atan(3.0) / M_PI;
    ASSERT_EQ(rzf::TransformSection(b, a, 3, 5, 5, 3, 0.25, f2, d, e), 0);
    const double bp[5] = {1.0 / 3.0, 0.0, -1.0 / 3.0, 0.0, 0.0};
    const double den[5] = {1.0, 2.0 / 3.0, 1.0 / 3.0, 0.0, 0.0};
    for (int j = 0; j < 5; ++j) {
        EXPECT_NEAR(d[j], bp[j], 1e-14) << j;
        EXPECT_NEAR(e[j], den[j], 1e-14) << j;
    }
    ASSERT_EQ(rzf::TransformSection(b, a, 3, 5, 5, 4, 0.25, f2, d, e), 0);
    for (int j = 0; j < 5; ++j) {
        EXPECT_NEAR(d[j], j < 3 ? 2.0 / 3.0 : 0.0, 1e-14) << j;
        EXPECT_NEAR(e[j], den[j], 1e-14) << j;
    }
}

TEST(CombineSections, ProductAndPoleTest) {
    // (1 + x)(1 + x^2) over (1 - 0.5x)(1 + 0.25x^2): poles 0.5 and +-0.5j.
    std::vector<double> nums = {1.0, 1.0, 0.0, 1.0, 0.0, 1.0};
    std::vector<double> dens = {1.0, -0.5, 0.0, 1.0, 0.0, 0.25};
    ButwcfFilter f;
    EXPECT_EQ(rzf::CombineSections(dens, nums, 2, 3, f), 1);
    const double num[4] = {1.0, 1.0, 1.0, 1.0};
    const double den[4] = {1.0, -0.5, 0.25, -0.125};
    for (int j = 0; j < 4; ++j) {
        EXPECT_EQ(f.m_pNumerator[j], num[j]);
        EXPECT_EQ(f.m_pDenominator[j], den[j]);
    }
    for (int j = 4; j < 200; ++j) {
        ASSERT_EQ(f.m_pNumerator[j], 0.0);
        ASSERT_EQ(f.m_pDenominator[j], 0.0);
    }
    dens[5] = 4.0;  // poles +-2j
    EXPECT_EQ(rzf::CombineSections(dens, nums, 2, 3, f), 0);
    EXPECT_EQ(f.m_pDenominator[3], -2.0);
    // Designed filters keep their poles inside the unit circle.
    ButwcfFilter bp;
    SetParams(bp, 3, 1000.0, 100.0, 140.0, 250.0, 300.0, 1.0, 30.0);
    ASSERT_EQ(bp.DesignIIR(), 14);  // odd N = 7: padded first-order section
    EXPECT_EQ(bp.m_pDenominator[15], 0.0);
    EXPECT_EQ(bp.m_pDenominator[16], 0.0);
    // Its pole search runs on the padded degree 16, two roots at 0.
    std::vector<double> rev(17);
    for (int j = 0; j <= 16; ++j) {
        rev[j] = bp.m_pDenominator[16 - j];
    }
    std::vector<double> re(16);
    std::vector<double> im(16);
    ASSERT_EQ(rzf::PolyRoots(rev.data(), 16, re.data(), im.data(), 1e-30), 1);
    int atZero = 0;
    for (int j = 0; j < 16; ++j) {
        const double r = std::hypot(re[j], im[j]);
        EXPECT_LT(r, 1.0);
        atZero += (r < 1e-6) ? 1 : 0;
    }
    EXPECT_EQ(atZero, 2);
}

// The section routines are public: orders and indices near the int limit must
// give the same sections the formulas describe, with no integer overflow.
TEST(PrototypeSections, OrdersNearTheIntLimit) {
    const int N = std::numeric_limits<int>::max();
    const int last = N / 2 + 1;  // (N + 1) / 2: the first-order section
    double n[10];
    double d[10];
    // s^2 + 2 sin(pi / 2N) s + 1 for the first section.
    ASSERT_EQ(ButwcfFilter::ButterworthSection(N, 1, n, d), 0);
    EXPECT_NEAR(d[1], 2.0 * std::sin(M_PI / (2.0 * N)), 1e-15);
    EXPECT_EQ(d[2], 1.0);
    // Second to last: 2 sin((N - 2) pi / 2N), just below 2.
    ASSERT_EQ(ButwcfFilter::ButterworthSection(N, last - 1, n, d), 0);
    EXPECT_NEAR(d[1], 2.0 * std::sin((N - 2.0) * M_PI / (2.0 * N)), 1e-15);
    ASSERT_EQ(ButwcfFilter::ButterworthSection(N, last, n, d), 0);
    EXPECT_EQ(d[0], 1.0);
    EXPECT_EQ(d[1], 1.0);  // s + 1
    EXPECT_EQ(d[2], 0.0);
    EXPECT_EQ(ButwcfFilter::ButterworthSection(N, last + 1, n, d), 2);

    // Chebyshev type I with kc = 1 has eps = A; its real pole is
    // -sinh(asinh(1/eps) / N), the first-order section of an odd order.
    const double A = 100.0;
    const double sigma = -std::sinh(std::asinh(1.0 / A) / N);
    ChebyiFilter one;
    one.PrototypeSection(N, last - 1, 4, 1.0, A, n, d);
    EXPECT_EQ(d[1], 1.0);
    EXPECT_EQ(d[2], 0.0);
    EXPECT_EQ(n[0], d[0]);
    EXPECT_NEAR(d[0], -sigma, 1e-3 * -sigma);
    // Section 0 of the even order N - 1: poles sigma' sin(theta) +- j cos(theta)
    // with theta = pi / 2(N - 1), so P = sin^2 * sinh^2 + cos^2 * cosh^2.
    const int even = N - 1;
    const double a = std::asinh(1.0 / A) / even;
    const double theta = M_PI / (2.0 * even);
    one.PrototypeSection(even, 0, 4, 1.0, A, n, d);
    const double P =
        std::pow(std::sin(theta) * std::sinh(a), 2) + std::pow(std::cos(theta) * std::cosh(a), 2);
    EXPECT_NEAR(d[0], P, 1e-12);
    EXPECT_NEAR(n[0], P / std::sqrt(1.0 + A * A), 1e-12);
    EXPECT_EQ(d[2], 1.0);

    // Type II, same odd order: r = (A + sqrt(A^2 - 1))^(1/N) = exp(acosh(A) / N),
    // so the real prototype pole is -sinh(c) with c = acosh(A) / N, and its
    // inverse scaled by kc = 1 gives the section constant 1 / sinh(c).
    ChebyiiFilter two;
    two.PrototypeSection(N, last - 1, 4, 1.0, A, n, d);
    const double c = std::acosh(A) / N;
    EXPECT_EQ(d[1], 1.0);
    EXPECT_EQ(n[0], d[0]);
    EXPECT_NEAR(d[0], 1.0 / std::sinh(c), 1e-3 / std::sinh(c));
}

// A recorded order beyond the arrays evaluates all 200 coefficients.
TEST(IirResponse, OrderBeyondTheArraysUsesTheirCapacity) {
    ButwcfFilter f;
    f.m_dSampleFreq = 8.0;
    f.m_nRespCount = 4;
    f.m_nFilterOrder = std::numeric_limits<int>::max();
    f.m_pNumerator = new double[200]();
    f.m_pDenominator = new double[200]();
    f.m_pDenominator[0] = 1.0;
    // (1 + z^-1) / 2: |H| = cos(w/2), phase -w/2, peak 1 at DC.
    f.m_pNumerator[0] = 0.5;
    f.m_pNumerator[1] = 0.5;
    int count = 0;
    const double* amp = f.GetAmplitudeResponse(&count);
    ASSERT_NE(amp, nullptr);
    for (int i = 0; i < 4; ++i) {
        const double w = M_PI * i / 4.0;
        EXPECT_NEAR(amp[i], 20.0 * std::log10(std::cos(w / 2.0)), 1e-12) << i;
        EXPECT_NEAR(f.m_pPhase[i], -w / 2.0, 1e-12) << i;
    }
}
