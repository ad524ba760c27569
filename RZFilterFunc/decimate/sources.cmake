list(APPEND RZF_SOURCES
  RZFilterFunc/decimate/CFirFunc.cpp
  RZFilterFunc/decimate/DecimKernels.cpp
  RZFilterFunc/decimate/DecimRows.cpp
  RZFilterFunc/decimate/DecimationTables.cpp)
rzf_add_isa_sources(avx2 RZFilterFunc/decimate/DecimKernelsAvx2.cpp
  RZFilterFunc/decimate/DecimRowsAvx2.cpp)
rzf_add_isa_sources(avx512 RZFilterFunc/decimate/DecimKernelsAvx512.cpp)
list(APPEND RZF_PUBLIC_HEADERS
  RZFilterFunc/decimate/CFirFunc.h)
