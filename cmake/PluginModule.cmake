# What differs between systems for a plug-in module: its file name, its install name, which symbols
# it exports and how references to its own globals are bound. `symbols` is a file with one mangled
# symbol or pattern a line, without the leading underscore of Mach-O.
function(b2_plugin_module target symbols)
  file(STRINGS ${symbols} exported REGEX "^[^#]")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${symbols})
  if(APPLE)
    set(list ${CMAKE_CURRENT_BINARY_DIR}/${target}.exported)
    list(TRANSFORM exported PREPEND "_")
    string(JOIN "\n" text ${exported})
    target_link_options(${target} PRIVATE -Wl,-exported_symbols_list,${list})
    set_target_properties(${target} PROPERTIES INSTALL_NAME_DIR "" BUILD_WITH_INSTALL_NAME_DIR ON)
  else()
    set(list ${CMAKE_CURRENT_BINARY_DIR}/${target}.version)
    string(JOIN ";\n    " text ${exported})
    set(text "{\n  global:\n    ${text};\n  local:\n    *;\n};\n")
    target_link_options(${target} PRIVATE
      -Wl,--version-script,${list} -Wl,-Bsymbolic -Wl,--no-as-needed -Wl,--gc-sections)
    if(NOT B2_SANITIZE)  # the sanitizers' own symbols are the program's
      target_link_options(${target} PRIVATE -Wl,--no-undefined)
    endif()
  endif()
  file(CONFIGURE OUTPUT ${list} CONTENT "${text}" @ONLY)
  set_target_properties(${target} PROPERTIES SOVERSION 3 LINK_DEPENDS ${list})
endfunction()
