list(APPEND RZF_SOURCES
  RZFilterFunc/channels/BesselTable.cpp
  RZFilterFunc/channels/CChnsBesselFilterFun.cpp
  RZFilterFunc/channels/CChnsFilterFunc.cpp)
list(APPEND RZF_PUBLIC_HEADERS
  RZFilterFunc/channels/CChnsBesselFilterFun.h
  RZFilterFunc/channels/CChnsFilterFunc.h
  RZFilterFunc/channels/CFilterParam.h)
