# What compiler, linker and C library can do so that a fault in memory ends the program instead of being used.

# Impossible elements, iterators and optionals end the program in every build.
target_compile_definitions(standard_settings INTERFACE _GLIBCXX_ASSERTIONS)

# The rest is for optimised builds alone: fortified functions need them, and the sanitizers see more than all of it.
# The compiler is asked, because a packager's flags may come from outside.
include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
set(CMAKE_TRY_COMPILE_CONFIGURATION ${CMAKE_BUILD_TYPE})
unset(KORVALUNE_OPTIMIZED CACHE)  # the build type may be another one than last time
check_cxx_source_compiles(
  "#if !defined __OPTIMIZE__ || defined __SANITIZE_ADDRESS__ || defined __SANITIZE_THREAD__
   #error
   #endif
   int main() {}"
  KORVALUNE_OPTIMIZED)
set(KORVALUNE_HARDENED OFF)
if(KORVALUNE_OPTIMIZED AND NOT KORVALUNE_SANITIZE AND NOT KORVALUNE_FUZZ)
  set(KORVALUNE_HARDENED ON)
endif()

if(KORVALUNE_HARDENED)
  # The library is linked into programs only, so its objects need to be no more movable than theirs.
  target_compile_options(standard_settings INTERFACE -fPIE -fstack-protector-strong)
  # The C library takes the highest level that the compiler can. Some compilers define a lower one by themselves; a
  # distributor's choice stands.
  if(NOT CMAKE_CXX_FLAGS MATCHES _FORTIFY_SOURCE)
    target_compile_options(standard_settings INTERFACE -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3)
  endif()
  # Not known to every compiler and every processor.
  foreach(flag IN ITEMS -fstack-clash-protection -fcf-protection)
    string(MAKE_C_IDENTIFIER KORVALUNE_HAS${flag} known)
    check_cxx_compiler_flag(${flag} ${known})
    if(${known})
      target_compile_options(standard_settings INTERFACE ${flag})
    endif()
  endforeach()
  # The build id names the build that a backtrace's offsets belong to.
  target_link_options(
    standard_settings
    INTERFACE
    -fPIE
    -pie
    LINKER:-z,relro
    LINKER:-z,now
    LINKER:-z,noexecstack
    LINKER:-z,separate-code
    LINKER:--build-id)
endif()
