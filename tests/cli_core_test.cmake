# Runs the tevra tool as a process and checks its output and exit status.
cmake_policy(VERSION 3.25)
include(${CMAKE_CURRENT_LIST_DIR}/cli_support.cmake)

# --- general ---
run_tevra(ARGS version EXPECT_RC 0
  EXPECT_OUT "TEVRA Utility Library 2.6,Build on 2019\nversion 2.6.0\n")
run_tevra(ARGS --help EXPECT_RC 0)
foreach(command version base64 hex pem convert charset bigint)
  run_tevra(ARGS ${command} --help EXPECT_RC 0)
endforeach()
run_tevra(ARGS EXPECT_RC 1)
run_tevra(ARGS frobnicate EXPECT_RC 1 EXPECT_ERR_MATCH "unknown command 'frobnicate'")
run_tevra(ARGS version extra EXPECT_RC 1 EXPECT_ERR_MATCH "no arguments")

# --- streams ---
run_tevra(ARGS base64 encode ${EXAMPLES}/hello.txt EXPECT_RC 0 EXPECT_OUT "SGVsbG8sIHdvcmxkIQo=\n")
run_tevra(ARGS base64 decode ${EXAMPLES}/hello.b64 EXPECT_RC 0 EXPECT_OUT "Hello, world!\n")
run_tevra(ARGS base64 encode --url --no-padding --eol none ${EXAMPLES}/hello.txt EXPECT_RC 0
  EXPECT_OUT "SGVsbG8sIHdvcmxkIQo\n")
# execute_process turns CR LF into LF in OUTPUT_VARIABLE; the PEM file check below sees the CRs.
run_tevra(ARGS base64 encode --line 8 --eol crlf ${EXAMPLES}/hello.txt EXPECT_RC 0
  EXPECT_OUT "SGVsbG8s\nIHdvcmxk\nIQo=\n")
run_tevra(ARGS base64 decode ${EXAMPLES}/hello.txt EXPECT_RC 1
  EXPECT_ERR_MATCH "^tevra: invalid Base64 input: base64 decode fail\n$")
run_tevra(ARGS base64 decode --no-padding ${EXAMPLES}/hello.b64 EXPECT_RC 1
  EXPECT_ERR_MATCH "invalid Base64")
run_tevra(ARGS base64 decode --strict ${EXAMPLES}/hello.pem EXPECT_RC 1 EXPECT_ERR_MATCH "invalid Base64")
run_tevra(ARGS base64 encode --eol tab ${EXAMPLES}/hello.txt EXPECT_RC 1 EXPECT_ERR_MATCH "bad line ending")
run_tevra(ARGS hex encode --upper ${EXAMPLES}/hello.txt EXPECT_RC 0
  EXPECT_OUT "48656C6C6F2C20776F726C64210A\n")
run_tevra(ARGS hex decode ${EXAMPLES}/hello.hex EXPECT_RC 0 EXPECT_OUT "Hello, world!\n")
execute_process(COMMAND ${TEVRA} pem encode MESSAGE ${EXAMPLES}/hello.txt
  OUTPUT_FILE hello.pem.out RESULT_VARIABLE rc)
file(READ hello.pem.out got HEX)
file(READ ${EXAMPLES}/hello.pem want HEX)
if(NOT rc EQUAL 0 OR NOT got STREQUAL want)
  message(SEND_ERROR "tevra pem encode: exit ${rc}, output differs from hello.pem")
endif()
file(REMOVE hello.pem.out)
run_tevra(ARGS pem decode MESSAGE ${EXAMPLES}/hello.pem EXPECT_RC 0 EXPECT_OUT "Hello, world!\n")
run_tevra(ARGS pem decode CERTIFICATE ${EXAMPLES}/hello.pem EXPECT_RC 1
  EXPECT_ERR_MATCH "^tevra: invalid PEM input for label 'CERTIFICATE': ")
run_tevra(ARGS pem decode MESSAGE ${EXAMPLES}/hello.b64 EXPECT_RC 1 EXPECT_ERR_MATCH "invalid PEM")
run_tevra(ARGS pem decode EXPECT_RC 1 EXPECT_ERR_MATCH "needs a LABEL")

# --- errors a user can act on ---
# Hex decoding takes the line-broken output of xxd -p and names a bad byte and its offset.
run_tevra(ARGS hex decode INPUT ${EXAMPLES}/hello.pem EXPECT_RC 1
  EXPECT_ERR_MATCH "^tevra: invalid hex input: '-' at byte offset 0 is not a hex digit\n$")
file(WRITE spaced.hex "48 65\r\n6c\t6c\n\n")
run_tevra(ARGS hex decode spaced.hex EXPECT_RC 0 EXPECT_OUT "Hell")
file(WRITE split.hex "486 5")
run_tevra(ARGS hex decode split.hex EXPECT_RC 1 EXPECT_ERR_MATCH "byte 0x20 at byte offset 3 splits a digit pair")
file(WRITE odd.hex "48\n6")
run_tevra(ARGS hex decode odd.hex EXPECT_RC 1 EXPECT_ERR_MATCH "odd number of digits .the digit at byte offset 3")
file(REMOVE spaced.hex split.hex odd.hex)
# "--" ends the options; "-" is standard input.
run_tevra(ARGS base64 encode -- ${EXAMPLES}/hello.txt EXPECT_RC 0 EXPECT_OUT "SGVsbG8sIHdvcmxkIQo=\n")
run_tevra(ARGS hex encode -- - INPUT ${EXAMPLES}/hello.txt EXPECT_RC 0
  EXPECT_OUT "48656c6c6f2c20776f726c64210a\n")
run_tevra(ARGS base64 encode -- --url EXPECT_RC 1 EXPECT_ERR_MATCH "cannot open '--url': No such file")
run_tevra(ARGS base64 encode a b EXPECT_RC 1 EXPECT_ERR_MATCH "takes at most one file")
# Unreadable input is named, with the system's reason.
run_tevra(ARGS base64 encode ${EXAMPLES} EXPECT_RC 1
  EXPECT_ERR_MATCH "^tevra: cannot read '[^']*examples': Is a directory\n$")
run_tevra(ARGS convert --from UTF-8 --to UTF-8 ${EXAMPLES}/no-such-file EXPECT_RC 1
  EXPECT_ERR_MATCH "cannot open '[^']*no-such-file': No such file or directory")
# Options that do not apply to the operation, or to the command, are refused.
foreach(row "base64;decode;--line;4" "base64;decode;--eol;lf" "base64;encode;--strict"
            "hex;decode;--upper")
  run_tevra(ARGS ${row} EXPECT_RC 1 EXPECT_ERR_MATCH "option --[a-z]+ does not apply to")
endforeach()
run_tevra(ARGS hex encode --lower EXPECT_RC 1 EXPECT_ERR_MATCH "unknown option '--lower'")
run_tevra(ARGS base64 encode --url=yes EXPECT_RC 1 EXPECT_ERR_MATCH "takes no value")
run_tevra(ARGS base64 encode --line EXPECT_RC 1 EXPECT_ERR_MATCH "needs a value")
run_tevra(ARGS base64 EXPECT_RC 1 EXPECT_ERR_MATCH "needs 'encode' or 'decode'")
# Empty input: every codec writes nothing, PEM an empty block that decodes back to nothing.
file(WRITE empty.bin "")
foreach(row "base64;encode" "base64;decode" "hex;encode" "hex;decode")
  run_tevra(ARGS ${row} empty.bin EXPECT_RC 0 EXPECT_OUT "")
endforeach()
execute_process(COMMAND ${TEVRA} pem encode DATA empty.bin COMMAND ${TEVRA} pem decode DATA
  OUTPUT_VARIABLE out RESULT_VARIABLE rc)
if(NOT rc EQUAL 0 OR NOT out STREQUAL "")
  message(SEND_ERROR "empty PEM round trip: exit ${rc}, output '${out}'")
endif()
file(REMOVE empty.bin)
run_tevra(ARGS pem encode A-----B EXPECT_RC 1 EXPECT_ERR_MATCH "must not hold '-----'")
# A failed write or close of standard output is an error, for every subcommand.
set(ENV{LC_ALL} "C")
foreach(row "version" "base64;encode;${EXAMPLES}/hello.txt" "hex;decode;${EXAMPLES}/hello.hex"
            "pem;encode;X;${EXAMPLES}/hello.txt" "convert;--from;UTF-8;--to;UTF-16LE;${EXAMPLES}/unicode.txt"
            "charset" "bigint;eval;add;1;2" "--help" "hex;--help")
  execute_process(COMMAND ${TEVRA} ${row} OUTPUT_FILE /dev/full ERROR_VARIABLE err RESULT_VARIABLE rc)
  if(NOT rc EQUAL 1 OR NOT err MATCHES "^tevra: cannot write standard output: No space left on device\n$")
    message(SEND_ERROR "tevra ${row} > /dev/full: exit ${rc}, stderr '${err}'")
  endif()
endforeach()
# --- unicode strings ---
run_tevra(ARGS convert --from UTF-8 ${EXAMPLES}/unicode.txt EXPECT_RC 1 EXPECT_ERR_MATCH "needs --from")
run_tevra(ARGS convert --from UTF-8 --to UTF-8 ${EXAMPLES}/unicode.txt EXPECT_RC 0
  EXPECT_OUT "Grüße, 世界! 😀\n")
run_tevra(ARGS convert --from iso-8859-1 --to utf-8 ${EXAMPLES}/latin1.txt EXPECT_RC 0
  EXPECT_OUT "Grüße, café\n")
run_tevra(ARGS convert --from UTF-8 --to ISO-8859-1 ${EXAMPLES}/unicode.txt EXPECT_RC 1
  EXPECT_ERR_MATCH "^tevra: [^\n]*byte offset 9\n$")
run_tevra(ARGS convert --from UTF-8 --to UTF-16LE ${EXAMPLES}/latin1.txt EXPECT_RC 1
  EXPECT_ERR_MATCH "^tevra: [^\n]*byte offset 2\n$")
run_tevra(ARGS convert --from UTF-8 --to ASCII ${EXAMPLES}/unicode.txt EXPECT_RC 1
  EXPECT_ERR_MATCH "byte offset 2")
run_tevra(ARGS convert --from NO-SUCH-SET --to UTF-8 ${EXAMPLES}/latin1.txt EXPECT_RC 1
  EXPECT_ERR_MATCH "unknown character set .NO-SUCH-SET.")
# Round trips through the wide encodings reproduce the file byte for byte.
foreach(wide UTF-16LE UTF-16BE UTF-32LE UTF-32BE GB18030)
  execute_process(COMMAND ${TEVRA} convert --from UTF-8 --to ${wide} ${EXAMPLES}/unicode.txt
    OUTPUT_FILE unicode.${wide} RESULT_VARIABLE rc1)
  execute_process(COMMAND ${TEVRA} convert --from ${wide} --to UTF-8 unicode.${wide}
    OUTPUT_FILE unicode.${wide}.back RESULT_VARIABLE rc2)
  file(READ ${EXAMPLES}/unicode.txt want HEX)
  file(READ unicode.${wide}.back got HEX)
  if(NOT rc1 EQUAL 0 OR NOT rc2 EQUAL 0 OR NOT got STREQUAL want)
    message(SEND_ERROR "round trip through ${wide} failed (${rc1}, ${rc2})")
  endif()
  file(REMOVE unicode.${wide} unicode.${wide}.back)
endforeach()
set(ENV{LC_ALL} "")
set(ENV{LC_CTYPE} "")
set(ENV{LANG} "de_DE.UTF-8@euro")
run_tevra(ARGS charset EXPECT_RC 0 EXPECT_OUT "UTF-8\n")
set(ENV{LANG} "zh_hk")
run_tevra(ARGS charset EXPECT_RC 0 EXPECT_OUT "BIG5\n")
set(ENV{LANG} "fr_FR")
run_tevra(ARGS charset EXPECT_RC 1 EXPECT_ERR_MATCH "names no character set")
unset(ENV{LANG})
run_tevra(ARGS charset extra EXPECT_RC 1)
# --- big integers ---
run_tevra(ARGS bigint eval add 2 3 EXPECT_RC 0 EXPECT_OUT "5\n0x5\n")
run_tevra(ARGS bigint eval div -7 2 EXPECT_RC 0 EXPECT_OUT "-3\n-0x3\n")
run_tevra(ARGS bigint eval mod -7 2 EXPECT_RC 0 EXPECT_OUT "1\n0x1\n")
run_tevra(ARGS bigint eval mul -0xff 0x100 EXPECT_RC 0 EXPECT_OUT "-65280\n-0xff00\n")
run_tevra(ARGS bigint eval sub 0x0 0 EXPECT_RC 0 EXPECT_OUT "0\n0x0\n")
run_tevra(ARGS bigint eval powmod 0x10 3 1000 EXPECT_RC 0 EXPECT_OUT "96\n0x60\n")
run_tevra(ARGS bigint eval invmod 3 7 EXPECT_RC 0 EXPECT_OUT "5\n0x5\n")
run_tevra(ARGS bigint eval gcd 0x1000000000000000000000000 -18446744073709551616
  EXPECT_RC 0 EXPECT_OUT "18446744073709551616\n0x10000000000000000\n")
run_tevra(ARGS bigint eval lcm 4 6 EXPECT_RC 0 EXPECT_OUT "12\n0xc\n")
run_tevra(ARGS bigint eval add 1x 2 EXPECT_RC 1 EXPECT_ERR_MATCH "invalid number '1x'")
run_tevra(ARGS bigint eval add " 12" 2 EXPECT_RC 1 EXPECT_ERR_MATCH "invalid number")
run_tevra(ARGS bigint eval add 0x 2 EXPECT_RC 1 EXPECT_ERR_MATCH "invalid number '0x'")
run_tevra(ARGS bigint eval add 2 EXPECT_RC 1 EXPECT_ERR_MATCH "takes two numbers")
run_tevra(ARGS bigint eval powmod 2 3 EXPECT_RC 1 EXPECT_ERR_MATCH "takes three numbers")
run_tevra(ARGS bigint eval pow 2 3 EXPECT_RC 1 EXPECT_ERR_MATCH "unknown operation 'pow'")
run_tevra(ARGS bigint eval div 1 0 EXPECT_RC 1 EXPECT_ERR_MATCH "division by zero")
run_tevra(ARGS bigint eval mod 1 0x0 EXPECT_RC 1 EXPECT_ERR_MATCH "modulus must not be zero")
run_tevra(ARGS bigint eval invmod 2 4 EXPECT_RC 1 EXPECT_ERR_MATCH "not coprime")
run_tevra(ARGS bigint prime EXPECT_RC 1 EXPECT_ERR_MATCH "needs --bits")
run_tevra(ARGS bigint prime --bits 1 EXPECT_RC 1 EXPECT_ERR_MATCH "from 2 to 65536")
run_tevra(ARGS bigint prime --bits x EXPECT_RC 1 EXPECT_ERR_MATCH "from 2 to 65536")
run_tevra(ARGS bigint prime --bits 4 --safe --two-top-bits EXPECT_RC 1 EXPECT_ERR_MATCH "no prime")
run_tevra(ARGS bigint prime --bits 8 --frob EXPECT_RC 1 EXPECT_ERR_MATCH "unknown option")
run_tevra(ARGS bigint frob EXPECT_RC 1 EXPECT_ERR_MATCH "unknown subcommand")
# A 64-bit safe prime with the two top bits set: 0xc... or 0xd..., and 3 mod 4.
execute_process(COMMAND ${TEVRA} bigint prime --bits 64 --safe --two-top-bits --fast
  OUTPUT_VARIABLE out RESULT_VARIABLE rc)
if(NOT rc EQUAL 0 OR NOT out MATCHES "^[0-9]+\n0x[cdef][0-9a-f]*[37bf]\n$")
  message(SEND_ERROR "tevra bigint prime: exit ${rc}, output '${out}'")
endif()
string(REGEX MATCH "0x[0-9a-f]+" hex "${out}")
string(LENGTH "${hex}" hex_length)
if(NOT hex_length EQUAL 18)
  message(SEND_ERROR "tevra bigint prime --bits 64: '${hex}' is not 64 bits")
endif()
