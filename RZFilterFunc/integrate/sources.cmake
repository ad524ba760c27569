list(APPEND RZF_SOURCES
  RZFilterFunc/integrate/CIntegralDiff.cpp)
list(APPEND RZF_PUBLIC_HEADERS
  RZFilterFunc/integrate/CIntegralDiff.h)
