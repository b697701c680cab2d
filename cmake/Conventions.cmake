# How every target of this project is compiled.
add_library(ostrel_conventions INTERFACE)
target_compile_features(ostrel_conventions INTERFACE cxx_std_17)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

find_program(OSTREL_CCACHE ccache)
if(OSTREL_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${OSTREL_CCACHE})
endif()

if(MSVC)
  target_compile_options(ostrel_conventions INTERFACE /W4 /utf-8)
else()
  target_compile_options(ostrel_conventions INTERFACE -Wall -Wextra -Wpedantic)
  # Headers that are also the DLL's interface spell 64-bit integers as Windows compilers do.
  if(NOT WIN32)
    target_compile_options(ostrel_conventions INTERFACE -Wno-long-long "-D__int64=long long")
  endif()
endif()

if(WIN32)
  target_compile_definitions(
    ostrel_conventions INTERFACE UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0601
                                 WINVER=0x0601 _AFXDLL)
endif()

if(OSTREL_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

# ostrel_enable_avx2(FILE...): compiles these files of ostrel_pure for AVX2.
function(ostrel_enable_avx2)
  ostrel_enable_vectors(/arch:AVX2 "-mavx2" ${ARGN})
endfunction()

# ostrel_enable_avx512(FILE...): compiles these files of ostrel_pure for AVX-512 with VBMI and VNNI.
function(ostrel_enable_avx512)
  ostrel_enable_vectors(/arch:AVX512
                        "-mavx512f;-mavx512bw;-mavx512vl;-mavx512vbmi;-mavx512vnni" ${ARGN})
endfunction()

function(ostrel_enable_vectors msvc_options gnu_options)
  if(MSVC)
    set(options ${msvc_options})
  else()
    set(options ${gnu_options})
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
      # GCC 12 warns of its own intrinsics, which start from a register that is deliberately not set.
      list(APPEND options -Wno-maybe-uninitialized)
    endif()
    if(WIN32)
      # GCC does not align the stack of a Win64 function for wide vectors, so a spilled register may
      # be stored at any address: have the assembler take the unaligned form of every move.
      list(APPEND options -Wa,-muse-unaligned-vector-move)
    endif()
  endif()
  set_source_files_properties(${ARGN} TARGET_DIRECTORY ostrel_pure PROPERTIES COMPILE_OPTIONS
                                                                              "${options}")
endfunction()
