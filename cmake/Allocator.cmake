# b2_use_jemalloc(program): the whole program, with what it loads, allocates from jemalloc. A page of a listing is
# tens of thousands of small objects, made and freed again: glibc's heap takes 40% longer for a folder of a million
# names. Sanitizers bring heaps of their own.
function(b2_use_jemalloc program)
  if(CMAKE_SYSTEM_NAME STREQUAL "Linux" AND NOT B2_SANITIZE)
    pkg_check_modules(JEMALLOC REQUIRED IMPORTED_TARGET GLOBAL jemalloc)
    target_link_libraries(${program} PRIVATE PkgConfig::JEMALLOC)
  endif()
endfunction()
