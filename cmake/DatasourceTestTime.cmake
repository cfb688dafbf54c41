# How long tests may take. No test that works comes near its limit on this machine; a machine that is emulated takes many
# times longer, and so does everything that counts as hanging there.
set(DATASOURCE_TEST_PATIENCE 1 CACHE STRING "How many times longer than usual tests may take before they count as hanging")

# datasource_test_limit(VARIABLE SECONDS): a test's limit.
function(datasource_test_limit variable seconds)
  math(EXPR limit "${seconds} * ${DATASOURCE_TEST_PATIENCE}")
  set(${variable} ${limit} PARENT_SCOPE)
endfunction()

# datasource_test_time(SECONDS TEST...): limits tests, and tells those that have deadlines inside how patient to be.
function(datasource_test_time seconds)
  datasource_test_limit(limit ${seconds})
  set_tests_properties(${ARGN} PROPERTIES TIMEOUT ${limit} ENVIRONMENT_MODIFICATION
                                          "DATASOURCE_TEST_PATIENCE=set:${DATASOURCE_TEST_PATIENCE}")
endfunction()
