list(APPEND RZF_SOURCES
  RZFilterFunc/platform/CpuFeatures.cpp
  RZFilterFunc/platform/HardWareConfig.cpp
  RZFilterFunc/platform/RZPlatForm.cpp)
list(APPEND RZF_PUBLIC_HEADERS
  RZFilterFunc/platform/HardWareConfig.h
  RZFilterFunc/platform/RZPlatForm.h)
