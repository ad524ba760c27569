list(APPEND RZF_SOURCES)
list(APPEND RZF_PUBLIC_HEADERS
  RZFilterFunc/channels/CChnsBesselFilterFun.h
  RZFilterFunc/channels/CChnsFilterFunc.h
  RZFilterFunc/channels/CFilterParam.h)
