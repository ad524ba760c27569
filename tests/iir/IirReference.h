#pragma once

// The reference files of tests/data/iir/ and designs made from their rows.
#include <RZFilterFunc/filter/FilterUser.h>

#include <complex>
#include <map>
#include <string>
#include <vector>

#include "ReferenceData.h"

namespace rzf::test {

using Block = std::map<std::string, std::vector<NumberRow>>;

// Blocks of tests/data/iir/<name>, opened by "case" lines (and the file's
// start): every tag's numeric rows.
inline std::vector<Block> LoadIirBlocks(const std::string& name) {
    std::vector<Block> out;
    for (const Fields& fields : ReadFieldLines("iir/" + name)) {
        if (out.empty() || fields[0] == "case") {
            out.emplace_back();
        }
        out.back()[fields[0]].emplace_back();
        for (std::size_t i = 1; i < fields.size(); ++i) {
            out.back()[fields[0]].back().push_back(ParseNumber(fields[i]));
        }
    }
    return out;
}

// Designs h = method, band, fs, f1..f4, Ap, As; true when validation passed.
inline bool DesignRow(FilterUser& user, const NumberRow& h) {
    user.setFilterParameter(int(h[1]), int(h[0]), h[3], h[4], h[5], h[6], h[2], 0, h[7], h[8], 0);
    return user.DesignFilter();
}

// b(e^-jw) / a(e^-jw) of order-th degree polynomials, summed directly.
inline std::complex<double> Transfer(const double* b, const double* a, int order, double w) {
    std::complex<double> num = 0.0, den = 0.0;
    for (int k = 0; k <= order; ++k) {
        num += b[k] * std::polar(1.0, -k * w);
        den += a[k] * std::polar(1.0, -k * w);
    }
    return num / den;
}

}  // namespace rzf::test
