// The IIR designs against a step-by-step double-precision replay of their
// arithmetic (tests/data/iir/gen_exact.py writes the reference file): every
// coefficient and response value must agree bit for bit, so a change in the
// order of operations or in where rounding happens shows up here even when the
// filter stays within the scipy tolerances of IirReferenceTest.
#include <gtest/gtest.h>

#include <RZFilterFunc/iir/ButwcfFilter.h>
#include <RZFilterFunc/iir/ChebyiFilter.h>
#include <RZFilterFunc/iir/ChebyiiFilter.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace {

double Hex(const std::string& text) {
    return std::strtod(text.c_str(), nullptr);
}

struct ExactCase {
    int method = 0;
    int band = 0;
    double fs = 0, f1 = 0, f2 = 0, f3 = 0, f4 = 0, ap = 0, as = 0;
    int order = 0;
    std::vector<std::vector<double>> coef;  // k, b_k, a_k
    std::vector<std::vector<double>> resp;  // i, freq, dB, phase
};

std::vector<ExactCase> LoadExactCases() {
    std::vector<ExactCase> cases;
    const char* dir = std::getenv("RZF_TEST_DATA");
    if (dir == nullptr) {
        return cases;
    }
    std::ifstream in(std::string(dir) + "/iir/designs_exact.txt");
    std::string line;
    ExactCase current;
    while (std::getline(in, line)) {
        std::istringstream ls(line);
        std::string tag;
        ls >> tag;
        if (tag == "case") {
            current = ExactCase();
            ls >> current.method >> current.band >> current.fs >> current.f1 >> current.f2 >>
                current.f3 >> current.f4 >> current.ap >> current.as >> current.order;
        } else if (tag == "coef" || tag == "resp") {
            std::vector<double> row;
            std::string field;
            while (ls >> field) {
                row.push_back(Hex(field));
            }
            (tag == "coef" ? current.coef : current.resp).push_back(row);
        } else if (tag == "end") {
            cases.push_back(current);
        }
    }
    return cases;
}

}  // namespace

TEST(IirExact, DesignsAndResponsesMatchTheReplayBitForBit) {
    const std::vector<ExactCase> cases = LoadExactCases();
    ASSERT_EQ(cases.size(), 22u);
    for (const ExactCase& c : cases) {
        SCOPED_TRACE("method " + std::to_string(c.method) + " band " + std::to_string(c.band) +
                     " f2 " + std::to_string(c.f2));
        std::unique_ptr<IIRFilter> f;
        if (c.method == 0) {
            f = std::make_unique<ButwcfFilter>();
        } else if (c.method == 1) {
            f = std::make_unique<ChebyiFilter>();
        } else {
            f = std::make_unique<ChebyiiFilter>();
        }
        f->m_dSampleFreq = c.fs;
        f->m_nBandType = c.band;
        f->m_dFreq1 = c.f1;
        f->m_dFreq2 = c.f2;
        f->m_dFreq3 = c.f3;
        f->m_dFreq4 = c.f4;
        f->m_dPassRipple = c.ap;
        f->m_dStopAtten = c.as;
        ASSERT_EQ(f->DesignIIR(), c.order);
        if (c.order < 0) {
            continue;
        }
        ASSERT_EQ(c.coef.size(), static_cast<std::size_t>(c.order) + 3);
        for (const auto& row : c.coef) {
            const int k = static_cast<int>(row[0]);
            EXPECT_EQ(f->m_pNumerator[k], row[1]) << "b" << k;
            EXPECT_EQ(f->m_pDenominator[k], row[2]) << "a" << k;
        }
        int count = 0;
        const double* db = f->GetAmplitudeResponse(&count);
        ASSERT_NE(db, nullptr);
        ASSERT_FALSE(c.resp.empty());
        for (const auto& row : c.resp) {
            const int i = static_cast<int>(row[0]);
            EXPECT_EQ(f->m_pFreqAxis[i], row[1]) << "point " << i;
            EXPECT_EQ(db[i], row[2]) << "point " << i;
            EXPECT_EQ(f->m_pPhase[i], row[3]) << "point " << i;
        }
    }
}
