list(APPEND RZF_SOURCES
  RZFilterFunc/base/ClassicFilter.cpp)
list(APPEND RZF_PUBLIC_HEADERS
  RZFilterFunc/base/ClassicFilter.h
  RZFilterFunc/base/FilterTypes.h)
