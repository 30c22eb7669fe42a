# Install rules, the CMake package (find_package(zbase 7 CONFIG)) and the
# pkg-config file. Everything installed refers to the rest of the installed
# tree by relative paths, so the tree can be moved as a whole.
include(CMakePackageConfigHelpers)

if(NOT ZBASE_INSTALL)
  return()
endif()

# zbase_gzip(SOURCE OUTPUT): OUTPUT is SOURCE compressed reproducibly (no
# name or time stamp inside), made by the default build target.
function(zbase_gzip source output)
  get_filename_component(dir ${output} DIRECTORY)
  file(MAKE_DIRECTORY ${dir})
  add_custom_command(OUTPUT ${output}
    COMMAND sh -c "gzip -9nc '${source}' > '${output}'"
    DEPENDS ${source} VERBATIM)
  get_filename_component(name ${output} NAME)
  add_custom_target(zbase_gz_${name} ALL DEPENDS ${output})
endfunction()

# Components: kel (libkel.so.1 and its tables), runtime (libzbase.so.7), dev
# (headers, the unversioned links, CMake and pkg-config files, zbase(7)) and
# tool (zstanza); each becomes one Debian package.
install(TARGETS zbase EXPORT zbaseTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS kel EXPORT zbaseTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT kel NAMELINK_COMPONENT dev)
install(FILES ${ZBASE_PUBLIC_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/Z COMPONENT dev)
install(FILES ${KEL_PUBLIC_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kel COMPONENT dev)
install(FILES ${KEL_TABLES} DESTINATION ${ZBASE_INSTALL_KELDIR} COMPONENT kel)

if(ZBASE_PROGRAMS)
  install(TARGETS zstanza RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
endif()

# Man pages, installed compressed: zbase(7) with the development files,
# zstanza(1) with the tool.
zbase_gzip(${PROJECT_SOURCE_DIR}/docs/man/zbase.7 ${PROJECT_BINARY_DIR}/man/zbase.7.gz)
install(FILES ${PROJECT_BINARY_DIR}/man/zbase.7.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man7
  COMPONENT dev)
if(ZBASE_PROGRAMS AND EXISTS ${PROJECT_SOURCE_DIR}/docs/man/zstanza.1)
  zbase_gzip(${PROJECT_SOURCE_DIR}/docs/man/zstanza.1 ${PROJECT_BINARY_DIR}/man/zstanza.1.gz)
  install(FILES ${PROJECT_BINARY_DIR}/man/zstanza.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
    COMPONENT tool)
endif()

# The CMake package: zbase::zbase (and zbase::kel), with a version file that
# accepts requests for 7.x.
install(EXPORT zbaseTargets NAMESPACE zbase:: DESTINATION ${ZBASE_INSTALL_CMAKEDIR}
  COMPONENT dev)
configure_package_config_file(cmake/zbaseConfig.cmake.in
  ${PROJECT_BINARY_DIR}/zbaseConfig.cmake
  INSTALL_DESTINATION ${ZBASE_INSTALL_CMAKEDIR}
  PATH_VARS ZBASE_INSTALL_KELDIR CMAKE_INSTALL_INCLUDEDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zbaseConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zbaseConfig.cmake ${PROJECT_BINARY_DIR}/zbaseConfigVersion.cmake
  DESTINATION ${ZBASE_INSTALL_CMAKEDIR} COMPONENT dev)

# pkg-config: the prefix is found from the .pc file's own place.
file(RELATIVE_PATH ZBASE_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" ZBASE_PC_TO_PREFIX "${ZBASE_PC_TO_PREFIX}")
configure_file(zbase.pc.in ${PROJECT_BINARY_DIR}/zbase.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zbase.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT dev)
