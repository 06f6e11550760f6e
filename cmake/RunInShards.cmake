# Test programs of GoogleTest: a program's tests are run in a few processes at a time, not in one each,
# which would take longer than most of the tests.
#   run_in_shards(PROGRAM COUNT [PROPERTY VALUE...])
# adds COUNT tests for CTest, each of which leaves the results of its share in results/ of the build
# folder, by the tests' own names; scripts/test-summary reads them.
function(run_in_shards program count)
  math(EXPR last "${count} - 1")
  foreach(index RANGE ${last})
    set(name ${program}.${index})
    add_test(NAME ${name} COMMAND ${program})
    set_tests_properties(${name} PROPERTIES
      ENVIRONMENT "GTEST_TOTAL_SHARDS=${count};GTEST_SHARD_INDEX=${index};GTEST_OUTPUT=xml:${CMAKE_BINARY_DIR}/results/${name}.xml"
      TIMEOUT 900 ${ARGN})
  endforeach()
endfunction()

# Leaves a test program no other sources where races are looked for: the rest has one thread.
function(keep_under_thread_sanitizer program)
  if(VEXATHUMB_SANITIZE STREQUAL "thread")
    set_property(TARGET ${program} PROPERTY SOURCES ${ARGN})
  endif()
endfunction()
