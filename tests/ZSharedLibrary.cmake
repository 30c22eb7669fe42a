# Libraries that the shared-library tests load by path, all built into
# tests/shlib of the build tree:
#   libzshl_plain.so    answers 42, initialises with 0
#   libzshl_refuse.so   answers 7, initialises with 1 (a refusing library)
#   libzshl_bare        answers 9; no suffix in its file name
#   libzshl_lazy.so     calls a function defined nowhere: loads only lazily
set(ZSHLIB_DIR ${PROJECT_BINARY_DIR}/tests/shlib)
set(ZSHLIB_SOURCE ${CMAKE_CURRENT_SOURCE_DIR}/shlib/zshlib.c)

function(zshlib_add target)
  cmake_parse_arguments(ARG "NOSUFFIX" "" "DEFINES" ${ARGN})
  add_library(${target} SHARED ${ZSHLIB_SOURCE})
  target_compile_definitions(${target} PRIVATE ${ARG_DEFINES})
  set_target_properties(${target} PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${ZSHLIB_DIR})
  if(ARG_NOSUFFIX)
    set_target_properties(${target} PROPERTIES SUFFIX "")
  endif()
  if(TARGET ZSharedLibraryTest)
    add_dependencies(ZSharedLibraryTest ${target})
  endif()
endfunction()

zshlib_add(zshl_plain)
zshlib_add(zshl_refuse DEFINES ZSHLIB_ANSWER=7 ZSHLIB_INIT_RESULT=1)
zshlib_add(zshl_bare NOSUFFIX DEFINES ZSHLIB_ANSWER=9)
zshlib_add(zshl_lazy DEFINES ZSHLIB_ANSWER=5 ZSHLIB_UNRESOLVED)
# Keep its calls bound on first use even where the toolchain binds them at
# load time by default.
target_link_options(zshl_lazy PRIVATE -Wl,-z,lazy)

if(TARGET ZSharedLibraryTest)
  target_compile_definitions(ZSharedLibraryTest PRIVATE ZSHLIB_DIR="${ZSHLIB_DIR}")
endif()
