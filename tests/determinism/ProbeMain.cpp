// Writes the determinism probe's records to the file named on the command
// line, or to standard output, for comparison on another platform.

#include <fstream>
#include <iostream>

#include "DeterminismProbe.h"

int main(int argc, char** argv) {
    std::ofstream file;
    if (argc > 1) {
        file.open(argv[1], std::ios::binary);
    }
    std::ostream& out = argc > 1 ? file : std::cout;
    rzf_probe::WriteRecords(out, rzf_probe::RunProbe());
    return out ? 0 : 1;
}
