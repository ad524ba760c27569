list(APPEND RZF_SOURCES
  RZFilterFunc/filter/AverageFilter.cpp
  RZFilterFunc/filter/FilterUser.cpp)
list(APPEND RZF_PUBLIC_HEADERS
  RZFilterFunc/filter/AverageFilter.h
  RZFilterFunc/filter/FilterUser.h)
