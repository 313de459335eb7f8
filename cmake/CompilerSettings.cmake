# Warnings and sanitizers, the same for every target of the project.
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion)
add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>)
if(B2_WERROR)
  add_compile_options(-Werror)
endif()

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # A unique symbol would keep a module mapped for the life of the process.
  add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fno-gnu-unique>)
  # GCC 12 takes "literal" + std::string for overlapping copies (its bug 105651).
  add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wno-restrict>)
endif()

if(B2_SANITIZE)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # With sanitizers GCC 12 takes std::regex's own members for uninitialised.
    add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wno-maybe-uninitialized>)
  endif()
  add_compile_options(-fsanitize=${B2_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${B2_SANITIZE})
endif()

if(B2_BUILD_FUZZERS)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
