list(APPEND RZF_SOURCES
  RZFilterFunc/integrate/CIntegralDiff.cpp
  RZFilterFunc/integrate/IntegralKernels.cpp)
rzf_add_isa_sources(avx2 RZFilterFunc/integrate/IntegralKernelsAvx2.cpp)
rzf_add_isa_sources(avx512 RZFilterFunc/integrate/IntegralKernelsAvx512.cpp)
list(APPEND RZF_PUBLIC_HEADERS
  RZFilterFunc/integrate/CIntegralDiff.h)
