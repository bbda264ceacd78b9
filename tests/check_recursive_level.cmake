# Runs the probe under several TEVRA_RECURSIVE_LEVEL settings; the value is
cmake_policy(VERSION 3.25)
# read once when the library loads, so each setting needs its own process.
function(expect_level env expected)
  if(env STREQUAL "<unset>")
    execute_process(COMMAND ${CMAKE_COMMAND} -E env --unset=TEVRA_RECURSIVE_LEVEL ${PROBE}
      OUTPUT_VARIABLE out OUTPUT_STRIP_TRAILING_WHITESPACE)
  else()
    execute_process(COMMAND ${CMAKE_COMMAND} -E env TEVRA_RECURSIVE_LEVEL=${env} ${PROBE}
      OUTPUT_VARIABLE out OUTPUT_STRIP_TRAILING_WHITESPACE)
  endif()
  if(NOT out STREQUAL "${expected}")
    message(SEND_ERROR "TEVRA_RECURSIVE_LEVEL=${env}: got '${out}', expected ${expected}")
  endif()
endfunction()

expect_level("<unset>" 200)
expect_level(5 8)
expect_level(abc 8)
expect_level(-3 8)
expect_level(7 8)
expect_level(9 9)
expect_level(1000 1000)
