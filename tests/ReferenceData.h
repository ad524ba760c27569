#pragma once

#include <string>
#include <vector>

// Reads the reference files under $RZF_TEST_DATA (tests/data), written offline
// by the generator scripts kept beside them. Each line is a record of
// whitespace-separated fields; blank lines are skipped.
namespace rzf::test {

using Fields = std::vector<std::string>;
using NumberRow = std::vector<double>;

// Full path of a file given relative to the reference-data folder.
std::string ReferencePath(const std::string& relative);

// The fields of every line after the first headerLines lines. An unreadable
// file gives no records (and a test failure naming it).
std::vector<Fields> ReadFieldLines(const std::string& relative, int headerLines = 0);

// A numeric field: decimal, hexadecimal floating point, inf or nan.
double ParseNumber(const std::string& field);

// Each line's fields as numbers.
std::vector<NumberRow> ReadNumberRows(const std::string& relative, int headerLines = 0);

}  // namespace rzf::test
