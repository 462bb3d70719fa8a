# parlowen_test(name SOURCES ... [USES libraries...] [LABELS labels...] [TIMEOUT seconds] [SERIAL] [BY_HAND])
#
# One GoogleTest program, run by CTest as one test on the offscreen platform, with a home of its own that is empty at the start.
# The label `threads` marks what also runs under the thread sanitizer. SERIAL is for sound in real time on an audio server, which
# suffers when other tests take the processor away. BY_HAND is built with the tests, and not run by CTest.
add_custom_target(thread_tests)

function(parlowen_test name)
  cmake_parse_arguments(PARSE_ARGV 1 T "SERIAL;BY_HAND" "TIMEOUT" "SOURCES;USES;LABELS")
  if(NOT T_TIMEOUT)
    set(T_TIMEOUT 300)
  endif()
  if(PARLOWEN_SANITIZE)
    math(EXPR T_TIMEOUT "5 * ${T_TIMEOUT}") # the thread sanitizer takes so many times as long
  endif()
  add_executable(${name} ${T_SOURCES})
  target_link_libraries(${name} PRIVATE ${T_USES} GTest::gmock GTest::gtest parlowen_options)
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/tests)
  target_compile_definitions(${name} PRIVATE
    PARLOWEN_SOURCE_DIR="${CMAKE_SOURCE_DIR}" PARLOWEN_BINARY_DIR="${CMAKE_BINARY_DIR}")
  if(T_BY_HAND)
    return()
  endif()
  add_test(NAME ${name} COMMAND ${CMAKE_SOURCE_DIR}/tests/support/in-own-home.sh $<TARGET_FILE:${name}>)
  if("threads" IN_LIST T_LABELS)
    add_dependencies(thread_tests ${name})
  endif()
  set_tests_properties(${name} PROPERTIES TIMEOUT ${T_TIMEOUT} LABELS "${T_LABELS}" RUN_SERIAL ${T_SERIAL})
endfunction()
