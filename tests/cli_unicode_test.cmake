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
