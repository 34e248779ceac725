# Writes a file for ctest in which each suite of a program is one test: to start a process
# takes longer than most tests.
#   cmake -DPROGRAM=… [-DBUT=-PATTERN:…] -DOUTPUT=… -P suites.cmake
cmake_minimum_required(VERSION 3.25)
execute_process(COMMAND ${PROGRAM} --gtest_list_tests --gtest_filter=*${BUT} OUTPUT_VARIABLE listed COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "(^|\n)[A-Za-z0-9/]+\\." suites "${listed}")
if(NOT suites)
  message(FATAL_ERROR "${PROGRAM} lists no test")
endif()
set(long Program Report Script Help Faults Fmu CzechProgram Record Tune)  # they begin first
set(text)
foreach(suite IN LISTS suites)
  string(REGEX REPLACE "[\n.]" "" suite "${suite}")
  set(cost 0)
  if(suite IN_LIST long)
    set(cost 100)
  endif()
  string(APPEND text "add_test([==[${suite}]==] [==[${PROGRAM}]==] --gtest_brief=1 [==[--gtest_filter=${suite}.*${BUT}]==])\n"
    "set_tests_properties([==[${suite}]==] PROPERTIES TIMEOUT 300 COST ${cost} FAIL_REGULAR_EXPRESSION \"0 tests from 0\")\n")
endforeach()
file(WRITE ${OUTPUT} "${text}")
