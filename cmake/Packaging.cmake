# The packages for Debian, one for each component. scripts/package.sh builds them, and the archive of the
# other layout.
set(B2_PACKAGE_CONTACT "The maintainers of b2drive <maintainers@b2drive.example>" CACHE STRING
  "Who answers for the packages: name and address")
set(doc ${CMAKE_INSTALL_DATADIR}/doc)
install(FILES packaging/third-party.spdx DESTINATION ${doc}/b2drive COMPONENT host)
install(DIRECTORY examples DESTINATION ${doc}/libbackblazeb2-dev COMPONENT headers)
install(FILES docs/hosts.md docs/operations.md docs/limits.md
  DESTINATION ${doc}/libbackblazeb2-dev COMPONENT headers)
install(DIRECTORY fixtures DESTINATION ${CMAKE_INSTALL_DATADIR}/b2emulator COMPONENT emulator
  PATTERN __pycache__ EXCLUDE)
if(B2_LAYOUT STREQUAL "prefix")
  install(FILES CHANGELOG.md packaging/copyright DESTINATION ${doc}/b2drive COMPONENT host)
endif()

# b2_gzip(source name): packaging/<name> in the build tree, with no time and no name in it.
function(b2_gzip source name)
  execute_process(COMMAND gzip -9nc ${source} COMMAND_ERROR_IS_FATAL ANY
    OUTPUT_FILE ${PROJECT_BINARY_DIR}/packaging/${name})
endfunction()

# b2_package(component name summary description): both texts as in Debian's control files.
macro(b2_package component name summary description)
  string(TOUPPER ${component} key)
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${key}_DESCRIPTION "${summary}\n${description}")
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  if(B2_LAYOUT STREQUAL "fhs")
    set(folder ${PROJECT_BINARY_DIR}/packaging)
    install(FILES packaging/copyright ${folder}/changelog.gz ${folder}/changelog.Debian.gz
      DESTINATION ${doc}/${name} COMPONENT ${component})
  endif()
endmacro()

if(B2_LAYOUT STREQUAL "fhs")
  string(TIMESTAMP now "%a, %d %b %Y %H:%M:%S +0000" UTC)  # SOURCE_DATE_EPOCH, where that is set
  configure_file(packaging/changelog.Debian.in packaging/changelog.Debian @ONLY)
  b2_gzip(${PROJECT_BINARY_DIR}/packaging/changelog.Debian changelog.Debian.gz)
  b2_gzip(${PROJECT_SOURCE_DIR}/CHANGELOG.md changelog.gz)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME backblazeb2)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "${B2_PACKAGE_CONTACT}")
set(CPACK_DEBIAN_PACKAGE_SOURCE backblazeb2)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_COMPONENTS_ALL)

b2_package(library libbackblazeb2-3 "storage module that shows cloud buckets as a drive"
  "A module that a host program loads and that shows the buckets of a storage\naccount as the top folders of a drive, through the service's native interface.")
b2_package(host b2drive "cloud storage buckets on the command line and as a mounted folder"
  "Lists, reads, writes and deletes what is in the buckets of a storage account,\nand mounts them as a folder that every program can use.")
b2_package(headers libbackblazeb2-dev "headers for programs that load libbackblazeb2"
  "The interfaces, records and codes of the module's boundary, with files for\nCMake and pkg-config, an example of a host, and b2conform, which checks a\nmodule, and a module that checks hosts.")
b2_package(emulator b2emulator "stand-in for a cloud storage service, for tests"
  "Answers on one port of 127.0.0.1 as the storage service does, for any client\nthat can use a proxy and a CA file, and fails on demand. Keeps its files over\nrestarts where asked.")

set(exactly "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/CompressManPages.cmake)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/triggers)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_RECOMMENDS ca-certificates)
set(CPACK_DEBIAN_HOST_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_HOST_PACKAGE_DEPENDS "libbackblazeb2-3 ${exactly}, ca-certificates")
set(CPACK_DEBIAN_HOST_PACKAGE_RECOMMENDS fuse3)
set(CPACK_DEBIAN_HEADERS_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_HEADERS_PACKAGE_DEPENDS "libbackblazeb2-3 ${exactly}")
set(CPACK_DEBIAN_HEADERS_PACKAGE_RECOMMENDS b2emulator)
set(CPACK_DEBIAN_EMULATOR_PACKAGE_SECTION devel)
include(CPack)
