# What ends a process whose stack, buffers or tables of functions were written over, where the
# compiler knows it; tests/marks reads it from the binaries. Sanitizers find the same, and more, in a
# way of their own.
if(MC_SANITIZE)
  return()
endif()
include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
include(CheckLinkerFlag)

foreach(flag -fstack-protector-strong -fcf-protection)
  string(MAKE_C_IDENTIFIER "MC_HAS${flag}" known)
  check_cxx_compiler_flag(${flag} ${known})
  if(${known})
    add_compile_options(${flag})
  endif()
endforeach()

foreach(flag -Wl,-z,relro -Wl,-z,now)
  string(MAKE_C_IDENTIFIER "MC_HAS${flag}" known)
  check_linker_flag(CXX ${flag} ${known})
  if(${known})
    add_link_options(${flag})
  endif()
endforeach()

# The C library checks calls only in what is optimised, and warns of a level that it does not know.
set(CMAKE_REQUIRED_FLAGS "-O2 -Werror -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3")
check_cxx_source_compiles("#include <cstring>\nint main() {}" MC_HAS_FORTIFY_3)
unset(CMAKE_REQUIRED_FLAGS)
if(MC_HAS_FORTIFY_3)
  add_compile_options("$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=3>")
endif()
