#include "ReferenceData.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace rzf::test {

std::string ReferencePath(const std::string& relative) {
    const char* root = std::getenv("RZF_TEST_DATA");
    return std::string(root != nullptr ? root : ".") + "/" + relative;
}

std::vector<Fields> ReadFieldLines(const std::string& relative, int headerLines) {
    std::ifstream in(ReferencePath(relative));
    EXPECT_TRUE(in.good()) << "cannot read " << ReferencePath(relative);
    std::vector<Fields> records;
    int lineNumber = 0;
    for (std::string line; std::getline(in, line); ++lineNumber) {
        if (lineNumber < headerLines) {
            continue;
        }
        std::istringstream stream(line);
        Fields fields;
        for (std::string field; stream >> field;) {
            fields.push_back(field);
        }
        if (!fields.empty()) {
            records.push_back(std::move(fields));
        }
    }
    return records;
}

double ParseNumber(const std::string& field) {
    return std::strtod(field.c_str(), nullptr);
}

std::vector<NumberRow> ReadNumberRows(const std::string& relative, int headerLines) {
    std::vector<NumberRow> rows;
    for (const Fields& fields : ReadFieldLines(relative, headerLines)) {
        NumberRow row;
        for (const std::string& field : fields) {
            row.push_back(ParseNumber(field));
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

}  // namespace rzf::test
