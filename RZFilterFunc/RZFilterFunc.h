#pragma once

// Umbrella header of the RZFilterFunc library.

#include <RZFilterFunc/RZFilterFunc_export.h>
#include <RZFilterFunc/platform/HardWareConfig.h>
#include <RZFilterFunc/platform/RZPlatForm.h>

#include <RZFilterFunc/base/ClassicFilter.h>
#include <RZFilterFunc/base/FilterTypes.h>

#include <RZFilterFunc/iir/ButwcfFilter.h>
#include <RZFilterFunc/iir/ChebshFilter.h>
#include <RZFilterFunc/iir/ChebyiFilter.h>
#include <RZFilterFunc/iir/ChebyiiFilter.h>
#include <RZFilterFunc/iir/IIRFilter.h>
#include <RZFilterFunc/iir/SutraIIRFilter.h>

#include <RZFilterFunc/fir/CFilter.h>
#include <RZFilterFunc/fir/CKaiserFilter.h>
#include <RZFilterFunc/fir/FIRFilter.h>
#include <RZFilterFunc/fir/WindowsFilter.h>

#include <RZFilterFunc/filter/AverageFilter.h>
#include <RZFilterFunc/filter/FilterUser.h>

#include <RZFilterFunc/channels/CChnsBesselFilterFun.h>
#include <RZFilterFunc/channels/CChnsFilterFunc.h>
#include <RZFilterFunc/channels/CFilterParam.h>

#include <RZFilterFunc/decimate/CFirFunc.h>

#include <RZFilterFunc/integrate/CIntegralDiff.h>
