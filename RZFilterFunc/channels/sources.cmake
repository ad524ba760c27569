list(APPEND RZF_SOURCES
  RZFilterFunc/channels/BesselTable.cpp
  RZFilterFunc/channels/CChnsBesselFilterFun.cpp
  RZFilterFunc/channels/CChnsFilterFunc.cpp
  RZFilterFunc/channels/FrameKernels.cpp
  RZFilterFunc/channels/FrameKernelsBaseline.cpp
  RZFilterFunc/channels/FrameLanePlan.cpp)
rzf_add_isa_sources(avx2 RZFilterFunc/channels/FrameKernelsAvx2.cpp)
rzf_add_isa_sources(avx512 RZFilterFunc/channels/FrameKernelsAvx512.cpp)
list(APPEND RZF_PUBLIC_HEADERS
  RZFilterFunc/channels/CChnsBesselFilterFun.h
  RZFilterFunc/channels/CChnsFilterFunc.h
  RZFilterFunc/channels/CFilterParam.h)
