list(APPEND RZF_SOURCES
  RZFilterFunc/fir/FIRFilter.cpp
  RZFilterFunc/fir/WindowsFilter.cpp)
list(APPEND RZF_PUBLIC_HEADERS
  RZFilterFunc/fir/CFilter.h
  RZFilterFunc/fir/CKaiserFilter.h
  RZFilterFunc/fir/FIRFilter.h
  RZFilterFunc/fir/WindowsFilter.h)
