# The zstanza tool is run by its tests: build it first. It also learns the
# source tree, to find share/kel when QXKELDIR is not set and the build
# directory lies elsewhere.
if(TARGET zstanza)
  target_compile_definitions(zstanza PRIVATE ZSTANZA_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
  if(TARGET ZStanzaToolTest)
    add_dependencies(ZStanzaToolTest zstanza)
  endif()
endif()
