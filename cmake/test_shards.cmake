# Runs a program of tests in shards, each a process, and has each report what it ran:
# tools/run_tests.py counts the single tests from the reports.
set(GAS_TEST_SHARDS 4 CACHE STRING "Processes that share the tests of a program")

function(gas_add_test_shards name program)
    math(EXPR last "${GAS_TEST_SHARDS} - 1")
    foreach(shard RANGE ${last})
        add_test(NAME ${name}.${shard} COMMAND ${program})
        set_tests_properties(${name}.${shard} PROPERTIES ENVIRONMENT
            "GTEST_TOTAL_SHARDS=${GAS_TEST_SHARDS};GTEST_SHARD_INDEX=${shard};GTEST_OUTPUT=json:${PROJECT_BINARY_DIR}/test_reports/${name}.${shard}.json;${gas_test_environment}")
    endforeach()
endfunction()
