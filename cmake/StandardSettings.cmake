# How our own code is compiled. Only our targets link these interface targets, so that a toolkit header or a
# packager's newer compiler never breaks the build: warnings become errors for developers and CI alone.
option(KORVALUNE_WERROR "Treat warnings as errors" OFF)
option(KORVALUNE_SANITIZE "Build with the address and undefined behaviour sanitizers" OFF)
option(KORVALUNE_FUZZ "Build the fuzz targets, and everything under the sanitizers for them (Clang only)" OFF)

add_library(standard_settings INTERFACE)
target_compile_features(standard_settings INTERFACE cxx_std_20)
if(KORVALUNE_SANITIZE)
  target_compile_options(standard_settings INTERFACE -fsanitize=address,undefined -fno-sanitize-recover=all
                                                     -fno-omit-frame-pointer)
  target_link_options(standard_settings INTERFACE -fsanitize=address,undefined)
endif()

if(KORVALUNE_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES Clang)
    message(FATAL_ERROR "KORVALUNE_FUZZ needs Clang: only it has the fuzzing runtime.")
  endif()
  # A figure that does not fit its type is undefined behaviour too, but no part of that group.
  set(fuzz_sanitizers -fsanitize=address,undefined,float-cast-overflow)
  target_compile_options(standard_settings INTERFACE ${fuzz_sanitizers} -fsanitize=fuzzer-no-link
                                                     -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(standard_settings INTERFACE ${fuzz_sanitizers})
endif()

add_library(standard_warnings INTERFACE)
target_compile_options(
  standard_warnings
  INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-qual -Wformat=2
            -Wnull-dereference -Wimplicit-fallthrough -Wmissing-declarations)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # GCC 12 sees overlapping copies in "text" + std::string where there are none (its bug 105329).
  target_compile_options(standard_warnings INTERFACE -Wno-restrict)
endif()
if(KORVALUNE_WERROR)
  target_compile_options(standard_warnings INTERFACE -Werror)
endif()
