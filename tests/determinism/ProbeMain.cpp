// Runs the determinism probe and writes its records to the file named on the
// command line (or to standard output), for comparison on another platform.

#include <fstream>
#include <iostream>

#include "DeterminismProbe.h"

int main(int argc, char** argv) {
    const auto records = rzf_probe::RunProbe();
    if (argc > 1) {
        std::ofstream out(argv[1], std::ios::binary);
        rzf_probe::WriteRecords(out, records);
        return out ? 0 : 1;
    }
    rzf_probe::WriteRecords(std::cout, records);
    return 0;
}
