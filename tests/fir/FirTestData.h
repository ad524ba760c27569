#pragma once

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <vector>

// Reads $RZF_TEST_DATA/fir/<name>: one record of numbers per line.
inline std::vector<std::vector<double>> ReadFirTable(const std::string& name) {
    const char* root = std::getenv("RZF_TEST_DATA");
    std::ifstream in(std::string(root != nullptr ? root : ".") + "/fir/" + name);
    std::vector<std::vector<double>> rows;
    for (std::string line; std::getline(in, line);) {
        std::istringstream fields(line);
        rows.emplace_back(std::istream_iterator<double>(fields), std::istream_iterator<double>());
    }
    return rows;
}

// Uniform noise in [-1000, 1000).
inline std::vector<float> Noise(int n, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> dist(-1000.0f, 1000.0f);
    std::vector<float> v(static_cast<size_t>(n));
    for (float& x : v)
        x = dist(gen);
    return v;
}
