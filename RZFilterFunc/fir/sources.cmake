list(APPEND RZF_SOURCES
  RZFilterFunc/fir/CFilter.cpp
  RZFilterFunc/fir/CKaiserFilter.cpp
  RZFilterFunc/fir/EngineIirKernel.cpp
  RZFilterFunc/fir/FIRFilter.cpp
  RZFilterFunc/fir/FirBlockFilter.cpp
  RZFilterFunc/fir/FirHistoryWindow.cpp
  RZFilterFunc/fir/FirKernels.cpp
  RZFilterFunc/fir/WindowFunctions.cpp
  RZFilterFunc/fir/WindowsFilter.cpp)
rzf_add_isa_sources(avx2 RZFilterFunc/fir/FirKernelsAvx2.cpp)
rzf_add_isa_sources(avx512 RZFilterFunc/fir/FirKernelsAvx512.cpp)
list(APPEND RZF_PUBLIC_HEADERS
  RZFilterFunc/fir/CFilter.h
  RZFilterFunc/fir/CKaiserFilter.h
  RZFilterFunc/fir/FIRFilter.h
  RZFilterFunc/fir/WindowsFilter.h)
