list(APPEND RZF_SOURCES
  RZFilterFunc/iir/ButwcfFilter.cpp
  RZFilterFunc/iir/ChebshFilter.cpp
  RZFilterFunc/iir/ChebyiFilter.cpp
  RZFilterFunc/iir/ChebyiiFilter.cpp
  RZFilterFunc/iir/IIRFilter.cpp
  RZFilterFunc/iir/IirDesignSteps.cpp
  RZFilterFunc/iir/PoleRadius.cpp
  RZFilterFunc/iir/PolyMath.cpp
  RZFilterFunc/iir/SectionDesign.cpp
  RZFilterFunc/iir/SectionKernel.cpp
  RZFilterFunc/iir/SutraIIRFilter.cpp)
list(APPEND RZF_PUBLIC_HEADERS
  RZFilterFunc/iir/ButwcfFilter.h
  RZFilterFunc/iir/ChebshFilter.h
  RZFilterFunc/iir/ChebyiFilter.h
  RZFilterFunc/iir/ChebyiiFilter.h
  RZFilterFunc/iir/IIRFilter.h
  RZFilterFunc/iir/SutraIIRFilter.h)
