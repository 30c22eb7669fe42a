# Debian packages through CPack (cpack -G DEB in the build directory), one per
# install component, named after the SONAMEs they carry:
#   libkel1        libkel.so.1 and the code-set tables
#   libzbase7      libzbase.so.7
#   libzbase-dev   headers, libzbase.so/libkel.so links, CMake and pkg-config files, zbase(7)
#   zstanza        the command-line tool and its man page
if(NOT ZBASE_INSTALL)
  return()
endif()

set(CPACK_PACKAGE_NAME zbase)
set(CPACK_PACKAGE_VENDOR "The zbase developers")
set(CPACK_PACKAGE_CONTACT "zbase developers <zbase@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/cmake/copyright)
set(CPACK_GENERATOR DEB)
set(CPACK_STRIP_FILES ON)
set(CPACK_SOURCE_GENERATOR TGZ)
set(CPACK_SOURCE_IGNORE_FILES "/\\\\.git/" "/build[^/]*/")

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL kel runtime dev tool)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE ${PROJECT_HOMEPAGE_URL})
# System dependencies (libc, libstdc++, zlib) come from dpkg-shlibdeps; the
# dependencies between the packages of zbase are stated here, exactly.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# libzbase.so.7 needs libkel.so.1 of the libkel1 package: let dpkg-shlibdeps
# find it in the build tree (the dependency itself is stated below).
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(ZBASE_DEB_EXACT "(= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_KEL_PACKAGE_NAME libkel1)
set(CPACK_DEBIAN_KEL_DESCRIPTION "code-set services of zbase (libkel.so.1)
 The code-set library that zbase imports: code-set and locale handles,
 conversion to and from UTF-8 and multibyte-safe string functions, with its
 code-set alias table.")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libzbase7)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "libkel1 ${ZBASE_DEB_EXACT}")
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "C++ foundation library (libzbase.so.7)
 Object model, numbered exceptions, code-set-aware strings, a printf engine,
 collections, locks, threads, process locks, a zlib facade and a
 configuration subsystem for stanza files.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libzbase-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS
  "libzbase7 ${ZBASE_DEB_EXACT}, libkel1 ${ZBASE_DEB_EXACT}")
set(CPACK_DEBIAN_DEV_DESCRIPTION "C++ foundation library (development files)
 Headers, the CMake package (find_package(zbase)), the pkg-config file
 zbase.pc and the zbase(7) manual page.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME zstanza)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS
  "libzbase7 ${ZBASE_DEB_EXACT}, libkel1 ${ZBASE_DEB_EXACT}")
set(CPACK_DEBIAN_TOOL_DESCRIPTION "read and edit stanza configuration files
 zstanza gets, sets, adds, deletes, lists, comments, checks and dumps the
 stanzas and keys of stanza configuration files, keeping their comments and
 layout.")

# Every package carries the copyright file and a changelog where Debian looks
# for them; they are installed only into the packages, not by a plain install.
configure_file(cmake/changelog.in ${PROJECT_BINARY_DIR}/deb/changelog @ONLY)
zbase_gzip(${PROJECT_BINARY_DIR}/deb/changelog ${PROJECT_BINARY_DIR}/deb/changelog.gz)
foreach(component kel runtime dev tool)
  string(TOUPPER ${component} upper)
  install(FILES ${PROJECT_SOURCE_DIR}/cmake/copyright ${PROJECT_BINARY_DIR}/deb/changelog.gz
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME}
    COMPONENT ${component} EXCLUDE_FROM_ALL)
endforeach()

# The library packages state their shlibs and let dpkg's ldconfig trigger run
# ldconfig (instead of maintainer scripts that call it).
foreach(lib kel:libkel:1:libkel1 runtime:libzbase:${PROJECT_VERSION_MAJOR}:libzbase7)
  string(REPLACE ":" ";" lib ${lib})
  list(GET lib 0 component)
  list(GET lib 1 name)
  list(GET lib 2 soversion)
  list(GET lib 3 package)
  string(TOUPPER ${component} upper)
  file(WRITE ${PROJECT_BINARY_DIR}/deb/${component}/shlibs
    "${name} ${soversion} ${package} ${ZBASE_DEB_EXACT}\n")
  file(WRITE ${PROJECT_BINARY_DIR}/deb/${component}/triggers "activate-noawait ldconfig\n")
  set(CPACK_DEBIAN_${upper}_PACKAGE_CONTROL_EXTRA
    ${PROJECT_BINARY_DIR}/deb/${component}/shlibs ${PROJECT_BINARY_DIR}/deb/${component}/triggers)
endforeach()

include(CPack)
