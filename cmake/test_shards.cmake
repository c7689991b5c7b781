# SPDX-License-Identifier: Apache-2.0
# Runs a program of tests in shards, each a process, and has each report what it ran:
# tools/run_tests.py counts the single tests from the reports.
set(GAS_TEST_SHARDS 4 CACHE STRING "Processes that share the tests of a program")

# Rays are tested by the best instruction set of this machine, and here by the baseline as well.
set(gas_baseline_is_best ON)
if(TARGET gas_avx2 AND EXISTS /proc/cpuinfo)
    file(STRINGS /proc/cpuinfo gas_machine_with_avx2 REGEX "^flags.* avx2( |$)" LIMIT_COUNT 1)
    if(gas_machine_with_avx2)
        set(gas_baseline_is_best OFF)
    endif()
endif()
set(gas_test_baseline_default ON)
if(GAS_SANITIZE)
    set(gas_test_baseline_default OFF)
endif()
option(GAS_TEST_BASELINE "Test rays by the baseline too, where another instruction set is used"
    ${gas_test_baseline_default})

option(GAS_TEST_SEAM "Test the library over a second host, too" ${gas_test_baseline_default})

# gas_add_test_shards(<name> <program> [<variable>...]), the variables of their environment.
function(gas_add_test_shards name program)
    math(EXPR last "${GAS_TEST_SHARDS} - 1")
    foreach(shard RANGE ${last})
        add_test(NAME ${name}.${shard} COMMAND ${program})
        set_tests_properties(${name}.${shard} PROPERTIES ENVIRONMENT
            "GTEST_TOTAL_SHARDS=${GAS_TEST_SHARDS};GTEST_SHARD_INDEX=${shard};GTEST_OUTPUT=json:${PROJECT_BINARY_DIR}/test_reports/${name}.${shard}.json;${gas_test_environment};${ARGN}")
    endforeach()
endfunction()

# Of a program whose tests trace rays: those once more by the baseline. Left out are the long ones
# that trace none, of builds and of coded boxes.
function(gas_add_baseline_test_shards name program)
    if(GAS_TEST_BASELINE AND NOT gas_baseline_is_best)
        set(without_rays
            Trees/TreesOracle.* TreesOracleOfOneScene/* BoxCodec* CompressedBuild.*
            CompressedTreeAllocations.* SeamThrow.*)
        list(JOIN without_rays ":" without_rays)
        gas_add_test_shards(${name}_baseline ${program}
            GAS_ISA=baseline "GTEST_FILTER=-${without_rays}")
    endif()
endfunction()
