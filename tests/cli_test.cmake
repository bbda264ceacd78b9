# Runs the tevra tool as a process and checks its output and exit status.
cmake_policy(VERSION 3.25)
function(run_tevra)
  cmake_parse_arguments(R "" "INPUT;EXPECT_RC;EXPECT_OUT;EXPECT_ERR_MATCH" "ARGS" ${ARGN})
  set(input_args)
  if(R_INPUT)
    set(input_args INPUT_FILE ${R_INPUT})
  endif()
  execute_process(COMMAND ${TEVRA} ${R_ARGS} ${input_args}
    OUTPUT_VARIABLE out ERROR_VARIABLE err RESULT_VARIABLE rc)
  if(NOT rc EQUAL R_EXPECT_RC)
    message(SEND_ERROR "tevra ${R_ARGS}: exit ${rc}, expected ${R_EXPECT_RC}\n${err}")
  endif()
  if(DEFINED R_EXPECT_OUT AND NOT out STREQUAL R_EXPECT_OUT)
    message(SEND_ERROR "tevra ${R_ARGS}: output '${out}', expected '${R_EXPECT_OUT}'")
  endif()
  if(R_EXPECT_ERR_MATCH AND NOT err MATCHES "${R_EXPECT_ERR_MATCH}")
    message(SEND_ERROR "tevra ${R_ARGS}: stderr '${err}' does not match '${R_EXPECT_ERR_MATCH}'")
  endif()
endfunction()

# --- general ---
run_tevra(ARGS version EXPECT_RC 0
  EXPECT_OUT "TEVRA Utility Library 2.6,Build on 2019\nversion 2.6.0\n")
run_tevra(ARGS --help EXPECT_RC 0)
run_tevra(ARGS EXPECT_RC 1)
run_tevra(ARGS frobnicate EXPECT_RC 1 EXPECT_ERR_MATCH "unknown command 'frobnicate'")
run_tevra(ARGS version extra EXPECT_RC 1 EXPECT_ERR_MATCH "no arguments")
run_tevra(ARGS version --help EXPECT_RC 0)

# --- streams ---
# --- unicode strings ---
# --- big integers ---
