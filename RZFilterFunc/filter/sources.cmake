list(APPEND RZF_SOURCES
  RZFilterFunc/filter/AverageFilter.cpp
  RZFilterFunc/filter/DesignFactory.cpp
  RZFilterFunc/filter/FilterUser.cpp
  RZFilterFunc/filter/RecordSmoother.cpp
  RZFilterFunc/filter/ResponseDisplay.cpp
  RZFilterFunc/filter/DesignRequestCheck.cpp)
list(APPEND RZF_PUBLIC_HEADERS
  RZFilterFunc/filter/AverageFilter.h
  RZFilterFunc/filter/FilterUser.h)
