# A program for the code-set service tests that must start without the
# set-up having run, e.g. with QXKELDIR unset.
add_executable(zkelutil_helper ${CMAKE_CURRENT_SOURCE_DIR}/ZkelutilHelper.cpp)
target_link_libraries(zkelutil_helper PRIVATE zbase)
set_target_properties(zkelutil_helper PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests)
add_dependencies(ZkelutilTest zkelutil_helper)
