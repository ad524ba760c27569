#pragma once

// The reference files of tests/data/iir/ and designs made from their rows.
#include <RZFilterFunc/filter/FilterUser.h>

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

}  // namespace rzf::test
