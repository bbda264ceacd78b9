# tevra json: format, compact and check, run as a process.
cmake_policy(VERSION 3.25)
include(${CMAKE_CURRENT_LIST_DIR}/cli_support.cmake)

set(sample ${EXAMPLES}/sample.json)
run_tevra(ARGS json --help EXPECT_RC 0)
run_tevra(ARGS json compact ${sample} EXPECT_RC 0 EXPECT_OUT
  "{\"name\":\"tevra\",\"tags\":[\"b\",\"a\"],\"version\":2.6,\"size\":{\"w\":3,\"h\":4},\"items\":[1,[true,null],\"café\"]}\n")
# A member's value stays on its line; the top-level members are sorted by key.
run_tevra(ARGS json format --sort ${sample} EXPECT_RC 0 EXPECT_OUT
  "{\n\t\"items\":[1,[true,null],\"café\"],\n\t\"name\":\"tevra\",\n\t\"size\":{\"w\":3,\"h\":4},\n\t\"tags\":[\"b\",\"a\"],\n\t\"version\":2.6\n}\n")
file(WRITE nested.json "[1,[2]]")
run_tevra(ARGS json format --indent 2 nested.json EXPECT_RC 0
  EXPECT_OUT "[\n  \t1,\n  \t[\n  \t  \t2\n  \t]\n]\n")
execute_process(COMMAND ${TEVRA} json format --crlf nested.json OUTPUT_FILE crlf.out RESULT_VARIABLE rc)
file(READ crlf.out got HEX)
if(NOT rc EQUAL 0 OR NOT got STREQUAL "5b0d0a09312c0d0a095b0d0a0909320d0a095d0d0a5d0d0a")
  message(SEND_ERROR "tevra json format --crlf: exit ${rc}, output ${got}")
endif()
run_tevra(ARGS json check INPUT ${sample} EXPECT_RC 0 EXPECT_OUT "")

# Refusals, each with a one-line reason.
file(WRITE empty.json "")
file(WRITE trailing.json "[1] x")
file(WRITE comma.json "[1,]")
string(REPEAT "[" 201 deep)
file(WRITE deep.json "${deep}")
run_tevra(ARGS json check empty.json EXPECT_RC 1 EXPECT_ERR_MATCH "^tevra: invalid JSON: the input is empty\n$")
run_tevra(ARGS json check trailing.json EXPECT_RC 1 EXPECT_ERR_MATCH "unexpected data at byte offset 4")
run_tevra(ARGS json compact comma.json EXPECT_RC 1 EXPECT_ERR_MATCH "^tevra: invalid JSON: not a well-formed")
run_tevra(ARGS json check deep.json EXPECT_RC 1 EXPECT_ERR_MATCH "nesting deeper than 200 levels")
# However high the environment sets the level, nesting stays within the stack-safe bound.
string(REPEAT "[" 10000 open)
string(REPEAT "]" 10000 close)
file(WRITE deeper.json "${open}${close}")
set(ENV{TEVRA_RECURSIVE_LEVEL} 100000)
run_tevra(ARGS json check deeper.json EXPECT_RC 0)
file(WRITE deeper.json "[${open}${close}]")
run_tevra(ARGS json check deeper.json EXPECT_RC 1 EXPECT_ERR_MATCH "nesting deeper than 10000 levels")
unset(ENV{TEVRA_RECURSIVE_LEVEL})
run_tevra(ARGS json format --indent 300 nested.json EXPECT_RC 1 EXPECT_ERR_MATCH "bad --indent '300'")
run_tevra(ARGS json compact --sort nested.json EXPECT_RC 1 EXPECT_ERR_MATCH "does not apply")
run_tevra(ARGS json check missing.json EXPECT_RC 1 EXPECT_ERR_MATCH "missing.json")
run_tevra(ARGS json EXPECT_RC 1)
file(REMOVE nested.json crlf.out empty.json trailing.json comma.json deep.json deeper.json)
