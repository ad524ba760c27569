#pragma once

// A fixed set of designs and streams run through the library's public
// interface, with every output kept as a record. The same probe is built for
// Linux and for Windows, so the two platforms' outputs can be compared value
// by value.

#include <iosfwd>
#include <string>
#include <vector>

namespace rzf_probe {

// One output: a name that identifies the call, the kind of output (the unit
// of the cross-platform expectations) and its values, widened to double
// exactly (floats, integers and raw sample values are all exact in double).
struct Record {
    std::string name;
    std::string kind;
    std::vector<double> values;
};

std::vector<Record> RunProbe();

// Text form: one line per record, "name kind count" followed by the values'
// 64-bit patterns in hexadecimal, so nothing is lost in printing.
void WriteRecords(std::ostream& out, const std::vector<Record>& records);
std::vector<Record> ReadRecords(std::istream& in);

}  // namespace rzf_probe
