# The C interface checked from C itself: a test program compiled as strict
# C11, and the C example run on a copy of the sample configuration.
add_executable(zproperties_c_ctest ${CMAKE_CURRENT_SOURCE_DIR}/zproperties_c_ctest.c)
target_link_libraries(zproperties_c_ctest PRIVATE zbase)
set_target_properties(zproperties_c_ctest PROPERTIES C_STANDARD 11 C_STANDARD_REQUIRED ON
  C_EXTENSIONS OFF RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests)
target_compile_options(zproperties_c_ctest PRIVATE -pedantic-errors)
add_test(NAME zproperties_c_ctest COMMAND zproperties_c_ctest)

# The demo rewrites the side file beside the configuration: give it copies.
file(COPY ${PROJECT_SOURCE_DIR}/examples/app.conf ${PROJECT_SOURCE_DIR}/examples/app.conf.obf
  DESTINATION ${CMAKE_CURRENT_BINARY_DIR}/zprops_demo)
add_test(NAME zprops_demo COMMAND zprops_demo app.conf app-edited.conf
  WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/zprops_demo)
set_tests_properties(zprops_demo PROPERTIES
  PASS_REGULAR_EXPRESSION "keys of \\[server\\]: host workers tls\n.*workers = 8")
set_tests_properties(zproperties_c_ctest zprops_demo PROPERTIES
  ENVIRONMENT "QXKELDIR=${PROJECT_SOURCE_DIR}/share/kel" TIMEOUT 60)
