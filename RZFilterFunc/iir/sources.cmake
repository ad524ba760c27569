list(APPEND RZF_SOURCES
)
list(APPEND RZF_PUBLIC_HEADERS
  RZFilterFunc/iir/ButwcfFilter.h
  RZFilterFunc/iir/ChebshFilter.h
  RZFilterFunc/iir/ChebyiFilter.h
  RZFilterFunc/iir/ChebyiiFilter.h
  RZFilterFunc/iir/IIRFilter.h
  RZFilterFunc/iir/SutraIIRFilter.h)
