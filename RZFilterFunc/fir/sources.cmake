list(APPEND RZF_SOURCES
  RZFilterFunc/fir/CFilter.cpp
  RZFilterFunc/fir/CKaiserFilter.cpp
  RZFilterFunc/fir/FIRFilter.cpp
  RZFilterFunc/fir/WindowFunctions.cpp
  RZFilterFunc/fir/WindowsFilter.cpp)
list(APPEND RZF_PUBLIC_HEADERS
  RZFilterFunc/fir/CFilter.h
  RZFilterFunc/fir/CKaiserFilter.h
  RZFilterFunc/fir/FIRFilter.h
  RZFilterFunc/fir/WindowsFilter.h)
