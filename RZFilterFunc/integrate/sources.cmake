list(APPEND RZF_SOURCES)
list(APPEND RZF_PUBLIC_HEADERS
  RZFilterFunc/integrate/CIntegralDiff.h)
