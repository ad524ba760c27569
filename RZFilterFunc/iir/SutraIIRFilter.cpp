#include "RZFilterFunc/iir/SutraIIRFilter.h"

SutraIIRFilter::SutraIIRFilter() = default;
