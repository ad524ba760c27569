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
    target_compile_options(${target} PRIVATE -Wall -Wextra)
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
