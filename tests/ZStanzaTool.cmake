# The zstanza tool is run by its tests: build it first. Its helper sources
# live in tools/zstanza/. It also learns the source tree, to find share/kel
# when QXKELDIR is not set and the build directory lies elsewhere.
if(TARGET zstanza)
  target_sources(zstanza PRIVATE ${PROJECT_SOURCE_DIR}/tools/zstanza/text.cpp
                                 ${PROJECT_SOURCE_DIR}/tools/zstanza/transaction.cpp)
  target_include_directories(zstanza PRIVATE ${PROJECT_SOURCE_DIR}/tools)
  target_compile_definitions(zstanza PRIVATE ZSTANZA_SOURCE_DIR="${PROJECT_SOURCE_DIR}"
                                             ZSTANZA_VERSION="${PROJECT_VERSION}")
  if(TARGET ZStanzaToolTest)
    add_dependencies(ZStanzaToolTest zstanza)
  endif()
endif()
