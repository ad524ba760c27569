# Compiler settings shared by the library, its tests, tools and benchmarks.

if(RZF_SANITIZE)
  add_compile_options(-fsanitize=${RZF_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${RZF_SANITIZE})
endif()

# Coverage feedback for libFuzzer in everything the harnesses link.
if(RZF_BUILD_FUZZERS)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# Warnings for every target of this project.
function(rzf_set_warnings target)
  if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    # Shadowed names and silent narrowing (double to float or int, wide to
    # narrow integers) hide mistakes in this arithmetic; intended conversions
    # are spelled out with casts.
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wshadow -Wconversion)
    if(RZF_WARNINGS_AS_ERRORS)
      target_compile_options(${target} PRIVATE -Werror)
    endif()
  elseif(MSVC)
    # C4251: standard-library members of exported classes; callers build with
    # the same toolchain, as the library's ABI requires anyway.
    target_compile_options(${target} PRIVATE /W4 /wd4251)
    if(RZF_WARNINGS_AS_ERRORS)
      target_compile_options(${target} PRIVATE /WX)
    endif()
  endif()
endfunction()

# The library's arithmetic is specified to the bit: no fused multiply-add, no
# fast-math reassociation.
function(rzf_set_library_options target)
  rzf_set_warnings(${target})
  if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    target_compile_options(${target} PRIVATE -ffp-contract=off -fno-fast-math)
  elseif(MSVC)
    target_compile_options(${target} PRIVATE /fp:precise)
  endif()
endfunction()

# Streaming kernels are built once per instruction-set level and chosen at run
# time (platform/CpuFeatures.h): the portable x86-64 baseline plus AVX2 and
# AVX-512 sources. FMA stays off at every level so that no product is fused
# into a sum.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64|x64)$" AND
   CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang|MSVC")
  set(RZF_ISA_DISPATCH ON)
else()
  set(RZF_ISA_DISPATCH OFF)
endif()
if(MSVC)
  set(RZF_ISA_FLAGS_avx2 /arch:AVX2)
  set(RZF_ISA_FLAGS_avx512 /arch:AVX512)
else()
  set(RZF_ISA_FLAGS_avx2 -mavx2 -mno-fma)
  set(RZF_ISA_FLAGS_avx512 -mavx512f -mavx512dq -mavx512bw -mavx512vl -mno-fma)
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    # Clang counts FMA as part of AVX-512F, so -mno-fma would switch AVX-512
    # off; -ffp-contract=off still keeps every product out of a fused sum.
    set(RZF_ISA_FLAGS_avx512 -mavx512f -mavx512dq -mavx512bw -mavx512vl)
  endif()
  if(MINGW)
    # The Windows x64 ABI only keeps the stack 16-byte aligned; wide spills
    # must not assume more.
    list(APPEND RZF_ISA_FLAGS_avx2 -Wa,-muse-unaligned-vector-move)
    list(APPEND RZF_ISA_FLAGS_avx512 -Wa,-muse-unaligned-vector-move)
  endif()
endif()

# rzf_add_isa_sources(<avx2|avx512> files...): kernel sources for one level,
# appended to RZF_SOURCES where run-time dispatch is built.
macro(rzf_add_isa_sources level)
  if(RZF_ISA_DISPATCH)
    list(APPEND RZF_SOURCES ${ARGN})
    set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS "${RZF_ISA_FLAGS_${level}}")
  endif()
endmacro()
