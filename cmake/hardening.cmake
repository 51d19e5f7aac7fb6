# What keeps a mistake of ours from becoming somebody's way in: a smashed stack, a jump to where no
# function begins and a write into a table of addresses end the program instead. A compiler or
# machine that lacks a defence does without; tests/real/test_hardening.py looks at what was built.
include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
include(CheckLinkerFlag)
include(CheckPIESupported)
check_pie_supported() # and links with it: CMAKE_POSITION_INDEPENDENT_CODE alone only compiles

set(ZERV_HARDENING)
foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection=full)
  string(MAKE_C_IDENTIFIER "ZERV_HAS${flag}" has)
  # A flag that is known and means nothing here must not become a warning in each file.
  check_cxx_compiler_flag("-Werror ${flag}" ${has})
  if(${has})
    list(APPEND ZERV_HARDENING ${flag})
  endif()
endforeach()
# The sanitizers check more, and stand where the checked calls would go. A C library or compiler
# that has no third level says so in a warning.
set(CMAKE_REQUIRED_FLAGS "-Werror -O2 -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3")
check_cxx_source_compiles("#include <cstdio>\nint main() {}" ZERV_HAS_THIRD_LEVEL)
unset(CMAKE_REQUIRED_FLAGS)
if(NOT ZERV_SANITIZE)
  set(LEVEL 2)
  if(ZERV_HAS_THIRD_LEVEL)
    set(LEVEL 3)
  endif()
  list(APPEND ZERV_HARDENING "$<$<CONFIG:Release>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=${LEVEL}>")
endif()

foreach(flag relro now noexecstack separate-code)
  string(MAKE_C_IDENTIFIER "ZERV_LINKS_${flag}" has)
  check_linker_flag(CXX -Wl,-z,${flag} ${has})
  if(${has})
    add_link_options(-Wl,-z,${flag})
  endif()
endforeach()
