# SPDX-License-Identifier: GPL-3.0-or-later
# Asks a test program for its tests, and writes what ctest is to run: one entry for the tests of a
# suite, which share a process, or, with ctest -C single, one for each test. A process takes some
# tests at the most, so that the long suites are spread over the cores. Each test of the suites in
# ALONE has a process of its own.
#
# cmake -D PROGRAM=... -D RUNNER=... -D ROOM=... -D OUTPUT=... -D ALONE=... -P DiscoverTests.cmake
cmake_minimum_required(VERSION 3.25)

execute_process(
    COMMAND ${RUNNER} ${PROGRAM} --gtest_list_tests
    OUTPUT_VARIABLE listing RESULT_VARIABLE failed)
if(failed)
    message(FATAL_ERROR "${PROGRAM} does not list its tests: ${listing}")
endif()
string(REPLACE ";" "\\;" listing "${listing}")
string(REPLACE "\n" ";" lines "${listing}")

set(together "")
set(single "")
set(most 24)

function(add_entry variable name filter shard)
    set(text "  add_test([=[${ROOM}/${name}]=] \"${RUNNER}\" \"${PROGRAM}\" [=[--gtest_filter=${filter}]=])\n")
    string(APPEND text "  set_tests_properties([=[${ROOM}/${name}]=] PROPERTIES TIMEOUT 600")
    if(shard)
        string(APPEND text " ENVIRONMENT \"${shard}\"")
    endif()
    string(APPEND text ")\n")
    set(${variable} "${${variable}}${text}" PARENT_SCOPE)
endfunction()

macro(end_suite)
    if(suite AND count GREATER 0)
        if(suite_without_instance IN_LIST ALONE)
            foreach(test IN LISTS tests)
                add_entry(together "${suite}${test}" "${suite}${test}" "")
            endforeach()
        else()
            math(EXPR shards "(${count} + ${most} - 1) / ${most}")
            math(EXPR last "${shards} - 1")
            foreach(index RANGE ${last})
                math(EXPR number "${index} + 1")
                string(REGEX REPLACE "\\.$" "" name "${suite}")
                set(shard "")
                if(shards GREATER 1)
                    set(name "${name} (${number} of ${shards})")
                    set(shard "GTEST_TOTAL_SHARDS=${shards};GTEST_SHARD_INDEX=${index}")
                endif()
                add_entry(together "${name}" "${suite}*" "${shard}")
            endforeach()
        endif()
    endif()
endmacro()

foreach(line IN LISTS lines)
    if(line MATCHES "^([A-Za-z_][A-Za-z0-9_/]*\\.)")
        set(next "${CMAKE_MATCH_1}")
        end_suite()
        set(suite "${next}")
        string(REGEX REPLACE "^.*/|\\.$" "" suite_without_instance "${suite}")
        set(count 0)
        set(tests "")
    elseif(line MATCHES "^  ([^ #]+)")
        set(test "${CMAKE_MATCH_1}")
        math(EXPR count "${count} + 1")
        list(APPEND tests "${test}")
        add_entry(single "${suite}${test}" "${suite}${test}" "")
    endif()
endforeach()
end_suite()

file(WRITE ${OUTPUT}
    "if(CTEST_CONFIGURATION_TYPE STREQUAL \"single\")\n${single}else()\n${together}endif()\n")
