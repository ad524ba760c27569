#pragma once

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

// Reads a reference table from $RZF_TEST_DATA/fir: one record per line, each
// a list of numbers. Returns no records when the file is missing.
inline std::vector<std::vector<double>> ReadFirTable(const std::string& name) {
    std::vector<std::vector<double>> rows;
    const char* root = std::getenv("RZF_TEST_DATA");
    if (root == nullptr) {
        return rows;
    }
    std::ifstream in(std::string(root) + "/fir/" + name);
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        std::vector<double> row;
        double v = 0.0;
        while (fields >> v) {
            row.push_back(v);
        }
        if (!row.empty()) {
            rows.push_back(row);
        }
    }
    return rows;
}
