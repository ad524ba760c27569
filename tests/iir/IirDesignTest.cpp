#include "IirTestUtil.h"

namespace {

const std::string kOrderMessage = rzf::msg::Text(rzf::msg::kOrderTooLarge);
const int kBig = std::numeric_limits<int>::max();

// Designs whose order estimate is forced, to exercise truncation and bounds.
double g_estimate = 0.0;
template <class Base>
struct Forced : Base {
    double EstimateOrder(double, double, double) override { return g_estimate; }
};

// Checks after DesignIIR returned rc: a refusal leaves no coefficients and,
// with the order message, clears m_bStable; a design has a0 = 1, finite
// coefficients and zeros beyond the order; m_nLength is order + 1 after a
// Chebyshev design only.
void CheckOutcome(IIRFilter& f, int method, int rc, bool orderMessage) {
    EXPECT_EQ(f.m_bStable, !orderMessage);
    EXPECT_EQ(f.m_strError, orderMessage ? kOrderMessage : "");
    EXPECT_EQ(f.m_nLength, method > 0 && rc > 0 ? rc + 1 : 1);
    EXPECT_EQ(f.GetCoefCount(), 200);
    EXPECT_EQ(f.m_nFilterOrder, std::max(rc, 0));
    EXPECT_EQ(f.m_pNumerator == nullptr, rc < 0);
    for (int j = 0; j < 200 && rc > 0; ++j) {
        ASSERT_TRUE(j <= rc ? std::isfinite(f.m_pNumerator[j]) : f.m_pNumerator[j] == 0.0) << j;
        ASSERT_TRUE(j <= rc ? std::isfinite(f.m_pDenominator[j]) : f.m_pDenominator[j] == 0.0);
        ASSERT_TRUE(j > 0 || f.m_pDenominator[0] == 1.0);
    }
}

}  // namespace

TEST(IirDesign, OrdersEdgesAndRefusals) {
    const double x1 = std::pow(10.0, 0.03) - 1.0, x2 = std::pow(10.0, 4.0) - 1.0;
    const double k = std::tan(0.1 * M_PI) / std::tan(0.2 * M_PI);
    EXPECT_NEAR(ButwcfFilter().EstimateOrder(x1, x2, k), 8.26, 0.01);
    EXPECT_NEAR(ChebyiFilter().EstimateOrder(x1, x2, k), 5.48, 0.01);
    EXPECT_NEAR(ChebyiiFilter().EstimateOrder(x1, x2, k),
                std::acosh(std::sqrt(x2 / x1)) / std::acosh(1 / k) + 0.9, 1e-12);
    EXPECT_EQ(kOrderMessage.size(), 28u);
    // method, band, fs, f1..f4, Ap, As; result; edges after the design. The
    // Butterworth stop edge may not pass fs/2.56 = 390.625 (silent -1); an odd
    // N = 7 band-pass pads its first-order section. Chebyshev refusals always
    // carry the order message.
    const double cases[][14] = {
        {0, 1, 1000, 100, 200, 300, 400, .3, 40, 8, 100, 200, 300, 400},
        {0, 1, 1000, 100, 400, 450, 460, .3, 40, -1, 100, 400, 450, 460},
        {0, 4, 1000, 100, 150, 250, 391, .3, 40, -1, 100, 150, 250, 391},
        {0, 1, 1000, 100, 390.625, 400, 450, .3, 40, 3, 100, 390.625, 400, 450},
        {0, 2, 1000, 100, 200, 300, 400, .5, 40, 7, 200, 0, 300, 400},
        {0, 3, 1000, 100, 150, 250, 300, 1, 40, 16, 150, 250, 250, 300},
        {0, 4, 1000, 100, 150, 250, 300, 1, 30, 14, 100, 300, 250, 300},
        {0, 3, 1000, 100, 140, 250, 300, 1, 30, 14, 140, 250, 250, 300},
        {1, 1, 1000, 100, 200, 300, 400, .3, 40, 6, 100, 200, 300, 400},
        {2, 3, 1000, 100, 150, 250, 300, 1, 40, 12, 100, 150, 250, 300},
        {1, 4, 1000, 100, 150, 0, 300, 1, 40, -1, 100, 150, 0, 300}};
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << c[0] << " " << c[1] << " " << c[4]);
        auto f = iirtest::Make(int(c[0]), int(c[1]), c + 2);
        ASSERT_EQ(f->DesignIIR(), int(c[9]));
        EXPECT_EQ(V({f->m_dFreq1, f->m_dFreq2, f->m_dFreq3, f->m_dFreq4}), V(c + 10, c + 14));
        CheckOutcome(*f, int(c[0]), int(c[9]), c[0] > 0 && c[9] < 0);
    }
    // Forced estimates: truncation after + 0.9; bounds 3..10 for LP/HP, else
    // 3..15 (Butterworth) or 3..12 (Chebyshev); band designs double the order
    // and Chebyshev rounds odd orders up. Band types outside 1..4 never reach
    // the estimate and leave the edges alone.
    const double forced[][4] = {
        {0, 1, 3.95, 3}, {0, 1, 4.05, 4},   {0, 2, 10.99, 10},  {0, 3, 15.5, 30},
        {0, 3, 11, 22},  {0, 1, 11, -1},    {0, 1, 2.99, -1},   {0, 4, 16, -1},
        {0, 1, NAN, -1}, {0, 3, 1e300, -1}, {0, 3, -1e300, -1}, {1, 1, 5.5, 6},
        {1, 3, 12, 24},  {1, 3, 5, 12},     {1, 3, 13, -1},     {2, 4, 13, -1},
        {2, 2, 11, -1},  {2, 2, 7, 8},      {0, 0, 5, -1},      {0, 5, 5, -1},
        {2, -3, 5, -1},  {2, 1000, 5, -1},  {1, 0, 5, -1},      {1, 5, 5, -1}};
    const double v[7] = {1000, 100, 150, 250, 300, 1, 40};
    for (const auto& c : forced) {
        SCOPED_TRACE(::testing::Message() << c[0] << " " << c[1] << " " << c[2]);
        g_estimate = c[2];
        auto f = iirtest::Make<Forced>(int(c[0]), int(c[1]), v);
        ASSERT_EQ(f->DesignIIR(), int(c[3]));
        EXPECT_TRUE((c[1] >= 1 && c[1] <= 4) || f->m_dFreq1 == 100.0);
        CheckOutcome(*f, int(c[0]), int(c[3]), c[3] < 0);
    }
    // Any used field at 0 or NaN: refused (silently or with the order message)
    // or, where a lower stop edge sits at 0 Hz, designed normally.
    for (int i = 0; i < 3 * 4 * 12; ++i) {
        double w[7] = {1000, 100, 150, 250, 300, 1, 40};
        w[i % 12 / 2] = i % 2 ? NAN : 0.0;
        SCOPED_TRACE(::testing::Message() << "field sweep " << i);
        auto f = iirtest::Make(i / 48, i / 12 % 4 + 1, w);
        const int rc = f->DesignIIR();
        CheckOutcome(*f, i / 48, rc, rc < 0 && !f->m_bStable);
    }
}

TEST(IirDesign, PrototypeSections) {
    // Butterworth: s^2 + 2 sin((2k - 1) pi / 2N) s + 1, s + 1 to complete an odd
    // N, code 2 for k outside 1..(N + 1) / 2, also at the int limit where the
    // arithmetic must not overflow.
    const double big = kBig, last = kBig / 2 + 1, s1 = 2 * std::sin(M_PI / 8),
                 s2 = 2 * std::sin(3 * M_PI / 8), s3 = 2 * std::sin(M_PI / (2 * big)),
                 s4 = 2 * std::sin((big - 2) * M_PI / (2 * big));
    const double bw[][5] = {{3, 1, 0, 1, 1},
                            {3, 2, 0, 1, 0},
                            {4, 1, 0, s1, 1},
                            {4, 2, 0, s2, 1},
                            {big, 1, 0, s3, 1},
                            {big, last - 1, 0, s4, 1},
                            {big, last, 0, 1, 0},
                            {4, 0, 2},
                            {4, 3, 2},
                            {0, 1, 2},
                            {big, last + 1, 2}};
    for (const auto& c : bw) {
        double n[10], d[10];
        ASSERT_EQ(ButwcfFilter::ButterworthSection(int(c[0]), int(c[1]), n, d), c[2]) << c[1];
        EXPECT_TRUE(c[2] != 0 || V(n, n + 10) == V({1, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
        EXPECT_TRUE(c[2] != 0 || (d[0] == 1.0 && std::fabs(d[1] - c[3]) < 1e-15 && d[2] == c[4]))
            << c[0] << " " << c[1] << " " << d[1];
    }
    // Chebyshev, N = 4: type I sections carry 1/g in section 0 only; type II
    // numerators have no s term and zeros at kc / cos(theta).
    const double kc = 1.7, A = 100.0;  // 40 dB
    ChebyiFilter one;
    ChebyiiFilter two;
    for (int i = 0; i < 2; ++i) {
        double n[5] = {9, 9, 9, 9, 9}, d[5] = {9, 9, 9, 9, 9};
        one.PrototypeSection(4, i, 4, kc, A, n, d);
        EXPECT_EQ(V({double(n[0] == d[0]), n[4]}), V({double(i != 0), 0}));
        two.PrototypeSection(4, i, 4, kc, A, n, d);
        const double zero = kc / std::cos((2 * i + 1) * M_PI / 8);
        EXPECT_EQ(n[1], 0.0);
        EXPECT_NEAR(n[0] / n[2], zero * zero, 1e-9 * zero * zero);
    }
    // Odd orders end with s - p: type I p = -sinh(asinh(1/eps) / N), type II
    // p = -kc / sinh(acosh(A) / N); at the int limit only kc = 1 stays finite.
    for (int N : {3, kBig}) {
        const double k = (N == 3) ? kc : 1.0, eps = A / std::cosh(N * std::acosh(k));
        const double p[2] = {std::sinh(std::asinh(1 / eps) / N), k / std::sinh(std::acosh(A) / N)};
        for (int type = 0; type < 2; ++type) {
            double n[5], d[5];
            (type ? static_cast<ChebshFilter&>(two) : one)
                .PrototypeSection(N, N / 2, 4, k, A, n, d);
            EXPECT_EQ(V({n[0], d[1], d[2]}), V({d[0], 1, 0}));
            EXPECT_NEAR(d[0], p[type], 1e-3 * p[type]) << N << " " << type;
        }
    }
    // Section 0 of the even order kBig - 1, kc = 1: poles sinh(a) sin(t) +- j cosh(a) cos(t).
    const double a = std::asinh(1.0 / A) / (big - 1), t = M_PI / (2.0 * (big - 1));
    const double P =
        std::pow(std::sin(t) * std::sinh(a), 2) + std::pow(std::cos(t) * std::cosh(a), 2);
    double n[5], d[5];
    one.PrototypeSection(kBig - 1, 0, 4, 1.0, A, n, d);
    EXPECT_NEAR(d[0], P, 1e-12);
    EXPECT_NEAR(n[0], P / std::sqrt(1.0 + A * A), 1e-12);
    EXPECT_EQ(d[2], 1.0);
}

TEST(IirDesign, TransformRefusalsAndCombinedPoleTest) {
    // TransformSection: 4 bad band type, 5 edges outside (0, 0.5] or out of
    // order, 1 empty section, 3 mapped degree too high; outputs stay untouched.
    // Columns: input (1/(s + 1), zeros, cubic), count, L, degree bound, T, f1, f2.
    const double one[3] = {1, 0, 0}, a[3] = {1, 1, 0}, zeros[4] = {0}, cubic[4] = {1, 2, 2, 1};
    const double* in[3][2] = {{one, a}, {zeros, zeros}, {cubic, cubic}};
    const double bad[][8] = {
        {0, 3, 3, 3, 0, .1, .2, 4},  {0, 3, 3, 3, 5, .1, .2, 4},  {0, 3, 3, 3, 1, 0, .2, 5},
        {0, 3, 3, 3, 1, .6, .2, 5},  {0, 3, 3, 3, 2, NAN, .2, 5}, {0, 3, 5, 5, 3, .2, .2, 5},
        {0, 3, 5, 5, 4, .2, .51, 5}, {0, 3, 5, 5, 4, .2, NAN, 5}, {1, 3, 3, 3, 1, .1, .2, 1},
        {2, 4, 3, 2, 1, .1, .2, 3},  {2, 4, 5, 4, 3, .1, .2, 3}};
    for (const auto& c : bad) {
        double d[5] = {7, 7, 7, 7, 7}, e[5] = {7, 7, 7, 7, 7};
        EXPECT_EQ(rzf::TransformSection(in[int(c[0])][0], in[int(c[0])][1], int(c[1]), int(c[2]),
                                        int(c[3]), int(c[4]), c[5], c[6], d, e),
                  c[7]);
        EXPECT_EQ(V({d[0], e[0]}), V({7, 7}));
    }
    // (1 + x)(1 + x^2) over (1 - 0.5x)(1 + 0.25x^2): poles 0.5 and +-0.5j,
    // stable; over (1 - 0.5x)(1 + 4x^2): poles +-2j, unstable.
    V nums = {1, 1, 0, 1, 0, 1}, dens = {1, -0.5, 0, 1, 0, 0.25}, num(200), den(200);
    std::copy_n(V({1, 1, 1, 1}).begin(), 4, num.begin());
    std::copy_n(V({1, -0.5, 0.25, -0.125}).begin(), 4, den.begin());
    ButwcfFilter f;
    EXPECT_EQ(rzf::CombineSections(dens, nums, 2, 3, f), 1);
    EXPECT_EQ(V(f.m_pNumerator, f.m_pNumerator + 200), num);
    EXPECT_EQ(V(f.m_pDenominator, f.m_pDenominator + 200), den);
    dens[5] = 4.0;
    EXPECT_EQ(rzf::CombineSections(dens, nums, 2, 3, f), 0);
    EXPECT_EQ(f.m_pDenominator[3], -2.0);
}

TEST(IirResponse, MissingDesignAndHandBuiltTransferFunctions) {
    ButwcfFilter f;
    int count = -5;
    EXPECT_EQ(f.GetNumerator(), nullptr);
    EXPECT_EQ(f.GetAmplitudeResponse(&count), nullptr);
    EXPECT_EQ(count, 2048);  // written before the missing design is noticed
    count = -5;
    EXPECT_EQ(f.GetPhaseResponse(&count), nullptr);
    EXPECT_EQ(count, -5);
    f.m_nRespCount = 0;
    EXPECT_EQ(f.GetAmplitudeResponse(&count), nullptr);
    EXPECT_EQ(count, -5);
    // Numerators over 1 on 4 points, fs = 8. 1 - z^-1: |H| = 2 sin(w/2), phase
    // (pi - w)/2, except at DC, an exact zero that takes the next point's value
    // and where Re H = 0 reads phase 0. (1 + z^-1)/2 with an order beyond the
    // arrays (all 200 coefficients used): |H| = cos(w/2), phase -w/2.
    for (int c = 0; c < 2; ++c) {
        ButwcfFilter g;
        g.m_dSampleFreq = 8.0;
        g.m_nRespCount = 4;
        g.m_nFilterOrder = c ? kBig : 2;
        rzf::CombineSections(V({1, 0, 0}), c ? V({.5, .5, 0}) : V({1, -1, 0}), 1, 3, g);
        const double* amp = g.GetAmplitudeResponse(&count);
        ASSERT_NE(amp, nullptr);
        for (int i = 0; i < 4; ++i) {
            const double w = M_PI * i / 4;
            const double db =
                c ? 20 * std::log10(std::cos(w / 2))
                  : 20 * std::log10(std::sin(std::max(i, 1) * M_PI / 8) / std::sin(3 * M_PI / 8));
            EXPECT_NEAR(amp[i], db, 1e-12) << c << " " << i;
            EXPECT_NEAR(g.m_pPhase[i], c ? -w / 2 : i ? (M_PI - w) / 2 : 0.0, 1e-12) << c << i;
            EXPECT_EQ(g.m_pFreqAxis[i], i);
        }
    }
    // 1e-150 (1 + z^-2) at w = pi/2: Re H cancels exactly (phase 0) and |H|
    // underflows to 0, so the last point takes its neighbour's value.
    ButwcfFilter h;
    h.m_dSampleFreq = 4.0;
    h.m_nRespCount = 2;
    h.m_nFilterOrder = 2;
    rzf::CombineSections(V({1, 0, 0}), V({1e-150, 0, 1e-150}), 1, 3, h);
    const double* ph = h.GetPhaseResponse(&count);
    ASSERT_NE(ph, nullptr);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(V({ph[1], h.m_pAmplitude[0], h.m_pAmplitude[1]}), V({0, 0, 0}));
}
