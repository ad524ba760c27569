#pragma once

namespace rzf {

// One precomputed second-order Bessel low-pass section (a[0] = 1).
struct BesselTableRow {
    int cutoff;  // Hz
    int rate;    // Hz
    double a1;
    double a2;
    double b0;
    double b1;
    double b2;
};

// The rows of the table, in table order, and their number.
const BesselTableRow* BesselTableRows();
int BesselTableRowCount();

// The section for (cutoff, rate), or null when the table has none.
const BesselTableRow* FindBesselSection(int cutoff, int rate);

}  // namespace rzf
