# One place for what every target is compiled with.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})

set(KVWMI_SANITIZE "" CACHE STRING "Sanitizers for every target, as -fsanitize takes them")
option(KVWMI_TESTS "Build tests, benchmarks and fuzz targets; without them fewer packages are needed" ON)
option(KVWMI_BENCH "Build the benchmarks" OFF)
option(KVWMI_FUZZ "Build the fuzz targets for libFuzzer (clang only)" OFF)

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
                    -Wnon-virtual-dtor -Woverloaded-virtual -Wextra-semi -Werror)
if(KVWMI_SANITIZE)
  # g++ 12 takes the instrumented copies of strings for overruns.
  add_compile_options(-Wno-array-bounds $<$<CXX_COMPILER_ID:GNU>:-Wno-stringop-overflow>)
  add_compile_options(-fsanitize=${KVWMI_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g1)
  add_link_options(-fsanitize=${KVWMI_SANITIZE})
endif()
if(WIN32)
  add_compile_definitions(UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0A00)
  add_link_options(-static -Wl,--no-insert-timestamp)
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    # Floating-point numbers are computed as the doubles that they are, as everywhere else: the x87 unit would keep 80
    # bits of them, and some halves round differently then. g++ aligns the stack itself where SSE wants it aligned.
    add_compile_options(-msse2 -mfpmath=sse)
    # Where the unlikely part of a function has no instruction left, g++ 12 still describes it to the unwinder, at the
    # address of the function that follows. Of two descriptions with one address libgcc's search finds either, and when
    # it is the empty one, an exception that crosses the function that follows ends the program. 64-bit Windows finds
    # functions by other tables.
    add_compile_options(-fno-reorder-blocks-and-partition)
  endif()
endif()

find_program(KVWMI_CCACHE ccache)
if(KVWMI_CCACHE)
  # What ccache wants of precompiled headers.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    add_compile_options("SHELL:-Xclang -fno-pch-timestamp")
  else()
    add_compile_options(-fpch-preprocess)
  endif()
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${CMAKE_SOURCE_DIR} CCACHE_NOHASHDIR=1 CCACHE_DEPEND=1
                                  CCACHE_SLOPPINESS=pch_defines,time_macros
                                  ${KVWMI_CCACHE})
endif()
