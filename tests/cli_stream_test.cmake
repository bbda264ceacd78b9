# The streaming subcommands give the same result however their input is cut:
# each case runs once with the whole input in one chunk, then with small
# chunk sizes that move the boundaries through it, then fed through a pipe in
# 7-byte pieces. Exit status and messages must match, and the output too when
# the command succeeds.
cmake_policy(VERSION 3.25)

function(run_case out_var rc_var err_var)
  execute_process(COMMAND ${TEVRA} ${ARGN} OUTPUT_FILE case.out ERROR_VARIABLE err
    RESULT_VARIABLE rc)
  file(READ case.out out HEX)
  set(${out_var} "${out}" PARENT_SCOPE)
  set(${rc_var} "${rc}" PARENT_SCOPE)
  set(${err_var} "${err}" PARENT_SCOPE)
endfunction()

# check_chunking(EXPECT_RC rc ARGS args... FILE input)
function(check_chunking)
  cmake_parse_arguments(C "" "EXPECT_RC;FILE" "ARGS" ${ARGN})
  set(ENV{TEVRA_CLI_CHUNK_SIZE} 100000000)
  run_case(want want_rc want_err ${C_ARGS} ${C_FILE})
  if(NOT want_rc EQUAL C_EXPECT_RC)
    message(SEND_ERROR "tevra ${C_ARGS}: exit ${want_rc}, expected ${C_EXPECT_RC}\n${want_err}")
    return()
  endif()
  foreach(size 1 7)
    set(ENV{TEVRA_CLI_CHUNK_SIZE} ${size})
    run_case(got rc err ${C_ARGS} ${C_FILE})
    if(NOT rc EQUAL want_rc OR NOT err STREQUAL want_err OR (rc EQUAL 0 AND NOT got STREQUAL want))
      message(SEND_ERROR "tevra ${C_ARGS} in chunks of ${size}: exit ${rc}, stderr '${err}', "
                         "differs from the one-piece run (exit ${want_rc}, '${want_err}')")
    endif()
  endforeach()
  unset(ENV{TEVRA_CLI_CHUNK_SIZE})
  execute_process(COMMAND dd if=${C_FILE} bs=7 status=none COMMAND ${TEVRA} ${C_ARGS}
    OUTPUT_FILE case.out ERROR_VARIABLE err RESULT_VARIABLE rc)
  file(READ case.out got HEX)
  if(NOT rc EQUAL want_rc OR NOT err STREQUAL want_err OR (rc EQUAL 0 AND NOT got STREQUAL want))
    message(SEND_ERROR "tevra ${C_ARGS} fed through a pipe: exit ${rc}, differs")
  endif()
endfunction()

# Deterministic binary data: random hex digits decoded by the tool.
string(RANDOM LENGTH 3000 ALPHABET 0123456789abcdef RANDOM_SEED 8 digits)
file(WRITE data.hex "${digits}")
execute_process(COMMAND ${TEVRA} hex decode data.hex OUTPUT_FILE data.bin RESULT_VARIABLE rc)
file(SIZE data.bin size)
if(NOT rc EQUAL 0 OR NOT size EQUAL 1500)
  message(FATAL_ERROR "cannot make the test data (exit ${rc}, ${size} bytes)")
endif()

# --- Base64 ---
foreach(options "" "--line;7;--eol;crlf")
  check_chunking(EXPECT_RC 0 ARGS base64 encode ${options} FILE data.bin)
endforeach()
execute_process(COMMAND ${TEVRA} base64 encode --line 76 --eol crlf data.bin OUTPUT_FILE data.b64)
file(READ data.b64 text)
string(REPLACE "A" " A\t" blanks "${text}")
file(WRITE blanks.b64 "${blanks}")
execute_process(COMMAND ${TEVRA} base64 encode --url --no-padding data.bin OUTPUT_FILE url.b64)
# (file(READ) drops the carriage returns; the line feeds remain.)
file(WRITE cut.b64 "${text}AB")
string(REPLACE "A" "A!" bad "${text}")
file(WRITE bad.b64 "${bad}")
check_chunking(EXPECT_RC 0 ARGS base64 decode FILE data.b64)
check_chunking(EXPECT_RC 0 ARGS base64 decode FILE blanks.b64)
check_chunking(EXPECT_RC 1 ARGS base64 decode --strict FILE blanks.b64)
check_chunking(EXPECT_RC 0 ARGS base64 decode --url --no-padding FILE url.b64)
check_chunking(EXPECT_RC 1 ARGS base64 decode FILE cut.b64)
check_chunking(EXPECT_RC 1 ARGS base64 decode FILE bad.b64)
# Decoding gives back the data.
foreach(case "data.b64" "blanks.b64" "url.b64;--url;--no-padding")
  list(POP_FRONT case file)
  execute_process(COMMAND ${TEVRA} base64 decode ${case} ${file} OUTPUT_FILE back.bin)
  file(SHA256 back.bin got)
  file(SHA256 data.bin want)
  if(NOT got STREQUAL want)
    message(SEND_ERROR "base64 decode ${file}: not the data encoded")
  endif()
endforeach()

# --- hex ---
check_chunking(EXPECT_RC 0 ARGS hex encode --upper FILE data.bin)
string(REGEX REPLACE "([0-9a-f][0-9a-f][0-9a-f][0-9a-f])" "\\1 \n" spaced "${digits}")
file(WRITE spaced.hex "${spaced}")
check_chunking(EXPECT_RC 0 ARGS hex decode FILE spaced.hex)
file(WRITE bad.hex "${digits}x${digits}")
check_chunking(EXPECT_RC 1 ARGS hex decode FILE bad.hex)

# --- PEM ---
check_chunking(EXPECT_RC 0 ARGS pem encode DATA FILE data.bin)
execute_process(COMMAND ${TEVRA} pem encode DATA data.bin OUTPUT_FILE data.pem)
check_chunking(EXPECT_RC 0 ARGS pem decode DATA FILE data.pem)
file(READ data.pem pem)
string(REPLACE "-----END DATA-----\n" "-----END DATA-----\nxyz" long_tail "${pem}")
file(WRITE tail.pem "${long_tail}")
check_chunking(EXPECT_RC 1 ARGS pem decode DATA FILE tail.pem)

# --- convert ---
file(READ ${EXAMPLES}/unicode.txt line)
string(REPEAT "${line}" 60 text)
file(WRITE text.u8 "${text}")
string(REPLACE "\n" " " one_line "${text}")
file(WRITE line.u8 "${one_line}")
string(REPEAT "かな漢字 and ASCII\n" 40 japanese)
file(WRITE ja.u8 "${japanese}")
string(ASCII 195 lead) # a lead byte without its continuation
file(WRITE bad.u8 "${text}${lead}(${text}")
# Cut after line feeds (GB18030), by whole characters (UTF-*), or not at all
# (UTF-16 with its byte-order mark, ISO-2022-JP with its shift sequences).
foreach(to UTF-16LE UTF-32LE GB18030 UTF-16)
  check_chunking(EXPECT_RC 0 ARGS convert --from UTF-8 --to ${to} FILE text.u8)
endforeach()
execute_process(COMMAND ${TEVRA} convert --from UTF-8 --to UTF-16LE text.u8 OUTPUT_FILE text.wide)
check_chunking(EXPECT_RC 0 ARGS convert --from UTF-16LE --to UTF-8 FILE text.wide)
execute_process(COMMAND ${TEVRA} convert --from UTF-8 --to GB18030 line.u8 OUTPUT_FILE line.gb)
check_chunking(EXPECT_RC 0 ARGS convert --from GB18030 --to UTF-16BE FILE line.gb)
execute_process(COMMAND ${TEVRA} convert --from UTF-8 --to ISO-2022-JP ja.u8 OUTPUT_FILE ja.jis)
check_chunking(EXPECT_RC 0 ARGS convert --from ISO-2022-JP --to UTF-8 FILE ja.jis)
check_chunking(EXPECT_RC 1 ARGS convert --from UTF-8 --to UTF-16LE FILE bad.u8)
check_chunking(EXPECT_RC 1 ARGS convert --from UTF-8 --to ISO-8859-1 FILE text.u8)
# Round trips give back the text.
execute_process(COMMAND ${TEVRA} convert --from GB18030 --to UTF-8 line.gb OUTPUT_FILE back.u8)
file(READ back.u8 back)
if(NOT back STREQUAL one_line)
  message(SEND_ERROR "GB18030 round trip changed the text")
endif()
execute_process(COMMAND ${TEVRA} convert --from UTF-8 --to ISO-2022-JP ja.u8
  COMMAND ${TEVRA} convert --from ISO-2022-JP --to UTF-8 OUTPUT_FILE back.u8)
file(READ back.u8 back)
if(NOT back STREQUAL japanese)
  message(SEND_ERROR "ISO-2022-JP round trip changed the text")
endif()

file(REMOVE text.u8 line.u8 ja.u8 bad.u8 text.wide line.gb ja.jis back.u8)
file(REMOVE case.out back.bin data.hex data.bin data.b64 blanks.b64 url.b64 cut.b64 bad.b64
  spaced.hex bad.hex data.pem tail.pem)
