list(APPEND RZF_SOURCES
  RZFilterFunc/decimate/CFirFunc.cpp
  RZFilterFunc/decimate/DecimStage.cpp
  RZFilterFunc/decimate/DecimationTables.cpp)
list(APPEND RZF_PUBLIC_HEADERS
  RZFilterFunc/decimate/CFirFunc.h)
