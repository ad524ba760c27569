#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <vector>

// Reads $RZF_TEST_DATA/fir/<name>, one record of numbers per line, and checks
// that it holds the expected number of records.
inline std::vector<std::vector<double>> ReadFirTable(const std::string& name, size_t records) {
    const char* root = std::getenv("RZF_TEST_DATA");
    std::ifstream in(std::string(root != nullptr ? root : ".") + "/fir/" + name);
    std::vector<std::vector<double>> rows;
    for (std::string line; std::getline(in, line);) {
        std::istringstream fields(line);
        rows.emplace_back(std::istream_iterator<double>(fields), std::istream_iterator<double>());
    }
    EXPECT_EQ(rows.size(), records) << name;
    return rows;
}

// Uniform noise in [-1000, 1000).
inline std::vector<float> Noise(size_t n, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> dist(-1000.0f, 1000.0f);
    std::vector<float> v(n);
    for (float& x : v)
        x = dist(gen);
    return v;
}
