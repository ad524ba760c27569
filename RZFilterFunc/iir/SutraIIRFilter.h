#pragma once

#include <RZFilterFunc/RZFilterFunc_export.h>
#include <RZFilterFunc/iir/IIRFilter.h>

// Level of the IIR tree shared by the section-based designs (analog prototype
// sections, band transformation, bilinear transform, product).
class RZFILTERFUNC_EXPORT SutraIIRFilter : public IIRFilter {
public:
    SutraIIRFilter();
};
