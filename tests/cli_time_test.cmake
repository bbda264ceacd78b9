# tevra time: conversions, arithmetic and their error messages, run as a process.
cmake_policy(VERSION 3.25)
include(${CMAKE_CURRENT_LIST_DIR}/cli_support.cmake)

run_tevra(ARGS time --help EXPECT_RC 0)
run_tevra(ARGS time now EXPECT_RC 0)
run_tevra(ARGS time now --zone Asia/Tokyo EXPECT_RC 0)

run_tevra(ARGS time convert --zone Europe/Paris 2019-07-01T12:00:00Z 2019-01-01T12:00:00.5
  EXPECT_RC 0
  EXPECT_OUT "2019-07-01T14:00:00 Europe/Paris DST\n2019-01-01T13:00:00.500000000 Europe/Paris\n")
run_tevra(ARGS time convert --zone PRC 2019-07-01 EXPECT_RC 0
  EXPECT_OUT "2019-07-01T08:00:00 Asia/Shanghai\n")
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/cli_time_input.txt "2019-03-10T06:59:59Z\n\n2019-03-10 07:00:00\n")
run_tevra(ARGS time convert --zone America/New_York INPUT ${CMAKE_CURRENT_BINARY_DIR}/cli_time_input.txt
  EXPECT_RC 0
  EXPECT_OUT "2019-03-10T01:59:59 America/New_York\n2019-03-10T03:00:00 America/New_York DST\n")

run_tevra(ARGS time utc --zone America/New_York "2019-11-03 01:30:00" --dst EXPECT_RC 0
  EXPECT_OUT "2019-11-03T05:30:00Z\n")
run_tevra(ARGS time utc --zone America/New_York "2019-11-03 01:30:00" EXPECT_RC 0
  EXPECT_OUT "2019-11-03T06:30:00Z\n")
run_tevra(ARGS time utc --zone UTC 2019-01-01 EXPECT_RC 0 EXPECT_OUT "2019-01-01T00:00:00Z\n")

run_tevra(ARGS time add --years 1 2016-02-29 EXPECT_RC 0 EXPECT_OUT "2017-03-01T00:00:00Z\n")
run_tevra(ARGS time add --months 1 --seconds 1 2016-01-31T23:59:59Z EXPECT_RC 0
  EXPECT_OUT "2016-03-01T00:00:00Z\n")
run_tevra(ARGS time add --seconds 1 2016-12-31T23:59:59Z EXPECT_RC 0
  EXPECT_OUT "2016-12-31T23:59:60Z\n")
run_tevra(ARGS time add --days 1 9999-12-31 EXPECT_RC 1 EXPECT_ERR_MATCH "^tevra: .*1582..9999\n$")
run_tevra(ARGS time diff 2017-01-01T00:00:00Z 2016-12-31T23:59:59Z EXPECT_RC 0
  EXPECT_OUT "seconds: 2\ndays: 1\n")
run_tevra(ARGS time diff --zone Europe/Paris "2019-03-31 03:00:00" "2019-03-31 01:59:59" EXPECT_RC 0
  EXPECT_OUT "seconds: 1\ndays: 0\n")

run_tevra(ARGS time zones EXPECT_RC 0)
execute_process(COMMAND ${TEVRA} time zones OUTPUT_VARIABLE zones)
string(REGEX MATCHALL "\n" lines "${zones}")
list(LENGTH lines count)
if(NOT count EQUAL 582 OR NOT zones MATCHES "^Africa/Abidjan\n.*\nZulu\n$")
  message(SEND_ERROR "tevra time zones: ${count} lines")
endif()

# Bad input: one line on standard error, exit status 1.
run_tevra(ARGS time convert --zone Europe/Nowhere 2019-07-01 EXPECT_RC 1
  EXPECT_ERR_MATCH "^tevra: unknown time zone 'Europe/Nowhere'\n$")
run_tevra(ARGS time convert 2019-07-01 EXPECT_RC 1 EXPECT_ERR_MATCH "^tevra: missing --zone")
run_tevra(ARGS time convert --zone UTC 2019-7-1 EXPECT_RC 1 EXPECT_ERR_MATCH "^tevra: malformed time '2019-7-1'")
run_tevra(ARGS time convert --zone UTC 2019-02-29 EXPECT_RC 1 EXPECT_ERR_MATCH "^tevra: invalid time")
run_tevra(ARGS time convert --zone UTC 2017-12-31T23:59:60Z EXPECT_RC 1 EXPECT_ERR_MATCH "^tevra: invalid time")
run_tevra(ARGS time utc --zone Asia/Tokyo 2019-01-01T00:00:00Z EXPECT_RC 1 EXPECT_ERR_MATCH "not a time of the given zone")
run_tevra(ARGS time add 2019-01-01 EXPECT_RC 1 EXPECT_ERR_MATCH "needs at least one")
run_tevra(ARGS time add --days 1x 2019-01-01 EXPECT_RC 1 EXPECT_ERR_MATCH "bad value for --days")
run_tevra(ARGS time add --days 99999999999 2019-01-01 EXPECT_RC 1 EXPECT_ERR_MATCH "bad value")
run_tevra(ARGS time diff 2019-01-01 EXPECT_RC 1 EXPECT_ERR_MATCH "two times")
run_tevra(ARGS time now --dst EXPECT_RC 1 EXPECT_ERR_MATCH "does not apply")
run_tevra(ARGS time later EXPECT_RC 1)
