# Where things are installed. B2_LAYOUT is
#   prefix: a folder that can be moved: bin/b2drive, lib/, and Frameworks/cacert.pem, a copy of the system's
#           CA bundle, where the module looks for it from any program in bin/;
#   fhs:    below /usr: the program stands in lib/b2drive/bin, so that the Frameworks folder, with a link to the
#           system's CA bundle, is in lib/b2drive, and bin/b2drive is a link to the program.
set(B2_LAYOUT prefix CACHE STRING "Layout of the installation: prefix or fhs")
set_property(CACHE B2_LAYOUT PROPERTY STRINGS prefix fhs)

# Above bin/ and Frameworks/, from the installation's prefix.
set(B2_PROGRAM_PREFIX .)
# Below share/zsh: where zsh looks for what came with the prefix, or with a package.
set(B2_ZSH_FOLDER site-functions)
# The unit for systemd, which each user enables, and the program that it runs.
set(B2_UNIT_FOLDER ${CMAKE_INSTALL_DATADIR}/b2drive)
set(B2_UNIT_PROGRAM %h/b2drive/bin/b2drive)
if(B2_LAYOUT STREQUAL "fhs")
  set(B2_PROGRAM_PREFIX lib/b2drive)
  set(B2_ZSH_FOLDER vendor-completions)
  set(B2_UNIT_FOLDER lib/systemd/user)
  set(B2_UNIT_PROGRAM /usr/bin/b2drive)
elseif(NOT B2_LAYOUT STREQUAL "prefix")
  message(FATAL_ERROR "B2_LAYOUT is ${B2_LAYOUT}, and must be prefix or fhs")
endif()

# Where b2drive finds the module, from the folder above its own.
cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_LIBDIR
  BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${B2_PROGRAM_PREFIX} OUTPUT_VARIABLE B2_MODULE_FOLDER)

# b2_install_link(component folder name target): a symbolic link `name` in `folder`.
function(b2_install_link component folder name target)
  set(link ${PROJECT_BINARY_DIR}/packaging/links/${name})
  file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/packaging/links)
  file(CREATE_LINK ${target} ${link} SYMBOLIC)
  install(FILES ${link} DESTINATION ${folder} COMPONENT ${component})
endfunction()

# Installs b2drive, and the CA bundle to where programs in its folder look for it; into the build tree, too.
function(b2_install_host_program)
  find_file(B2_CA_BUNDLE
    NAMES ca-certificates.crt cert.pem ca-bundle.crt
    PATHS /etc/ssl/certs /etc/ssl /etc/pki/tls/certs /opt/homebrew/etc/ca-certificates
      /usr/local/etc/ca-certificates
    NO_DEFAULT_PATH REQUIRED
    DOC "CA certificates in PEM form that b2drive trusts")
  configure_file(${B2_CA_BUNDLE} ${PROJECT_BINARY_DIR}/Frameworks/cacert.pem COPYONLY)
  install(TARGETS b2drive RUNTIME DESTINATION ${B2_PROGRAM_PREFIX}/bin COMPONENT host)
  if(B2_LAYOUT STREQUAL "prefix")
    install(FILES ${B2_CA_BUNDLE} DESTINATION Frameworks RENAME cacert.pem COMPONENT host)
    return()
  endif()
  b2_install_link(host ${B2_PROGRAM_PREFIX}/Frameworks cacert.pem ${B2_CA_BUNDLE})
  b2_install_link(host ${CMAKE_INSTALL_BINDIR} b2drive ../${B2_PROGRAM_PREFIX}/bin/b2drive)
  if(FUSE3_FOUND)  # mount(8) looks for its helpers there
    b2_install_link(host ${CMAKE_INSTALL_SBINDIR} mount.b2drive ../${CMAKE_INSTALL_BINDIR}/mount.b2drive)
  endif()
endfunction()
