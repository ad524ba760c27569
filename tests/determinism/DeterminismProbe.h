#pragma once

// A fixed set of designs and streams through the library's public interface,
// every output kept as a record, built for Linux and for Windows so that the
// two platforms' outputs can be compared value by value.

#include <iosfwd>
#include <string>
#include <vector>

namespace rzf_probe {

// One output: a name for the call, its kind (the unit of the cross-platform
// expectations) and its values, widened exactly to double.
struct Record {
    std::string name, kind;
    std::vector<double> values;
};

std::vector<Record> RunProbe();

// One line per record: "name kind count", then the values' 64-bit patterns in
// hexadecimal, so nothing is lost in printing.
void WriteRecords(std::ostream& out, const std::vector<Record>& records);
std::vector<Record> ReadRecords(std::istream& in);

}  // namespace rzf_probe
