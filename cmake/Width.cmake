# On 32-bit machines: offsets in files of 64 bits everywhere, and times of 64 bits in every source
# that includes no library's header. Debian 12's libraries have times of 32 bits there, so between our
# own files a time is an integer of 64 bits and never a time_t or what holds one.
if(CMAKE_SIZEOF_VOID_P GREATER 4)
  function(mc_wide_times)
  endfunction()
  return()
endif()
add_compile_definitions(_FILE_OFFSET_BITS=64)

function(mc_wide_times)
  set(libraries "toml|spdlog/|fmt/|sqlite3|httplib|CLI/|openssl/|nettle/|histedit|editline/")
  foreach(source ${ARGN})
    file(STRINGS ${source} library LIMIT_COUNT 1 REGEX "^ *# *include *[<\"](${libraries})")
    if(NOT library)
      set_property(SOURCE ${source} APPEND PROPERTY COMPILE_DEFINITIONS _TIME_BITS=64)
    endif()
  endforeach()
endfunction()
