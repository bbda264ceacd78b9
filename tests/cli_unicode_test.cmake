# The Unicode text subcommands run as processes: one row per case.
cmake_policy(VERSION 3.25)
include(${CMAKE_CURRENT_LIST_DIR}/cli_support.cmake)

# Inputs (this file is UTF-8): composed and decomposed Latin, Hangul, a
# compatibility ligature, and text whose case folding expands.
file(WRITE unicode_composed.txt "Ḉafé\n각 ﬁ\n")
file(WRITE unicode_decomposed.txt "Ḉafé\n각 ﬁ\n")
file(WRITE unicode_case.txt "Straße İ\nΣ ͺ")
string(ASCII 255 invalid_byte)
file(WRITE unicode_bad.txt "fine\nbad ${invalid_byte}\n")

# --- normalize ---
run_tevra(ARGS normalize --form nfd unicode_composed.txt EXPECT_RC 0
  EXPECT_OUT "Ḉafé\n각 ﬁ\n")
run_tevra(ARGS normalize --form nfc unicode_decomposed.txt EXPECT_RC 0
  EXPECT_OUT "Ḉafé\n각 ﬁ\n")
run_tevra(ARGS normalize --form nfkc unicode_decomposed.txt EXPECT_RC 0
  EXPECT_OUT "Ḉafé\n각 fi\n")
run_tevra(ARGS normalize --form=nfkd INPUT unicode_composed.txt EXPECT_RC 0
  EXPECT_OUT "Ḉafé\n각 fi\n")
run_tevra(ARGS normalize --help EXPECT_RC 0)
run_tevra(ARGS normalize unicode_composed.txt EXPECT_RC 1 EXPECT_ERR_MATCH "^tevra: normalize needs --form")
run_tevra(ARGS normalize --form nfx unicode_composed.txt EXPECT_RC 1
  EXPECT_ERR_MATCH "^tevra: unknown normalization form 'nfx'")
run_tevra(ARGS normalize --form nfc unicode_bad.txt EXPECT_RC 1
  EXPECT_ERR_MATCH "^tevra: invalid UTF-8 in line 2\n$")
run_tevra(ARGS normalize --form nfc missing.txt EXPECT_RC 1 EXPECT_ERR_MATCH "^tevra: cannot")

# --- casefold ---
run_tevra(ARGS casefold unicode_case.txt EXPECT_RC 0 EXPECT_OUT "strasse i̇\nσ ͺ")
run_tevra(ARGS casefold --closure INPUT unicode_case.txt EXPECT_RC 0 EXPECT_OUT "strasse i̇\nσ  ι")
run_tevra(ARGS casefold --help EXPECT_RC 0)
run_tevra(ARGS casefold unicode_bad.txt EXPECT_RC 1 EXPECT_ERR_MATCH "invalid UTF-8 in line 2")
run_tevra(ARGS casefold --closure=yes unicode_case.txt EXPECT_RC 1)

# Lines are read whole however the input arrives, so small chunks change nothing.
set(ENV{TEVRA_CLI_CHUNK_SIZE} 3)
run_tevra(ARGS normalize --form nfc unicode_decomposed.txt EXPECT_RC 0
  EXPECT_OUT "Ḉafé\n각 ﬁ\n")
run_tevra(ARGS casefold unicode_case.txt EXPECT_RC 0 EXPECT_OUT "strasse i̇\nσ ͺ")
unset(ENV{TEVRA_CLI_CHUNK_SIZE})

# --- idn ---
run_tevra(ARGS idn --help EXPECT_RC 0)
run_tevra(ARGS idn to-ascii "Bücher.de" "中文。example" EXPECT_RC 0
  EXPECT_OUT "xn--bcher-kva.de\nxn--fiq228c.example\n")
run_tevra(ARGS idn to-unicode xn--bcher-kva.de EXPECT_RC 0 EXPECT_OUT "bücher.de\n")
run_tevra(ARGS idn to-ascii a_b.example EXPECT_RC 0 EXPECT_OUT "a_b.example\n")
run_tevra(ARGS idn to-ascii --std3 a_b.example EXPECT_RC 1
  EXPECT_ERR_MATCH "^tevra: idn to-ascii: 'a_b.example' is not a valid domain name[^\n]*\n$")
run_tevra(ARGS idn to-ascii --std3 --allow-asterisk *.example EXPECT_RC 0 EXPECT_OUT "*.example\n")
run_tevra(ARGS idn to-ascii "ͱ" EXPECT_RC 1 EXPECT_ERR_MATCH "not a valid domain name")
run_tevra(ARGS idn to-ascii --allow-unassigned "ͱ" EXPECT_RC 0 EXPECT_OUT "xn--sva\n")
run_tevra(ARGS idn to-ascii example. EXPECT_RC 1 EXPECT_ERR_MATCH "not a valid domain name")
run_tevra(ARGS idn EXPECT_RC 1 EXPECT_ERR_MATCH "to-ascii")
file(WRITE names.txt "bücher.de\r\nexample.com\n中文")
run_tevra(ARGS idn to-ascii --file names.txt EXPECT_RC 0
  EXPECT_OUT "xn--bcher-kva.de\nexample.com\nxn--fiq228c\n")
run_tevra(ARGS idn to-ascii INPUT names.txt EXPECT_RC 0
  EXPECT_OUT "xn--bcher-kva.de\nexample.com\nxn--fiq228c\n")
run_tevra(ARGS idn to-ascii --file names.txt extra EXPECT_RC 1 EXPECT_ERR_MATCH "not both")
file(WRITE bad-names.txt "ok.example\n-bad.example\n")
run_tevra(ARGS idn to-ascii --std3 --file bad-names.txt EXPECT_RC 1 EXPECT_OUT "ok.example\n"
  EXPECT_ERR_MATCH "^tevra: idn to-ascii: line 2 is not a valid domain name")
string(ASCII 252 latin1_u)
file(WRITE latin1.txt "b${latin1_u}cher\n")
run_tevra(ARGS idn to-ascii --file latin1.txt EXPECT_RC 1 EXPECT_ERR_MATCH "line 1 is not valid UTF-8")
run_tevra(ARGS ldapprep --type 0 latin1.txt EXPECT_RC 1 EXPECT_ERR_MATCH "^tevra: ldapprep: invalid UTF-8 in line 1\n$")
# Lines cut by chunk boundaries are put back together; a line longer than a
# chunk is refused rather than read into ever more memory.
set(ENV{TEVRA_CLI_CHUNK_SIZE} 16)
run_tevra(ARGS idn to-ascii --file names.txt EXPECT_RC 0
  EXPECT_OUT "xn--bcher-kva.de\nexample.com\nxn--fiq228c\n")
set(ENV{TEVRA_CLI_CHUNK_SIZE} 4)
run_tevra(ARGS idn to-ascii --file names.txt EXPECT_RC 1 EXPECT_ERR_MATCH "line 1 [^\n]* longer than 4 bytes")
unset(ENV{TEVRA_CLI_CHUNK_SIZE})

# --- ldapprep ---
run_tevra(ARGS ldapprep --help EXPECT_RC 0)
file(WRITE values.txt "A  b \n\n1‐800 555\n")
run_tevra(ARGS ldapprep --type 1 values.txt EXPECT_RC 0 EXPECT_OUT " a  b \n  \n 1‐800  555 \n")
run_tevra(ARGS ldapprep --type 4 INPUT values.txt EXPECT_RC 0 EXPECT_OUT "Ab\n\n1800555\n")
run_tevra(ARGS ldapprep --type 2 values.txt EXPECT_RC 1 EXPECT_ERR_MATCH "unknown string type '2'")
run_tevra(ARGS ldapprep values.txt EXPECT_RC 1 EXPECT_ERR_MATCH "needs --type")
file(WRITE private.txt "ok\na\n")
run_tevra(ARGS ldapprep --type 0 private.txt EXPECT_RC 1 EXPECT_OUT " ok \n"
  EXPECT_ERR_MATCH "^tevra: ldapprep: line 2 holds a prohibited or unassigned code point\n$")
