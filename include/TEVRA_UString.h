/*
 * Immutable, reference-counted Unicode strings held as UTF-16 code units,
 * with conversions to and from UTF-8, UTF-16, UTF-32, UCS-2, ASCII, named
 * character sets and wide characters.
 *
 * Constructors return a new string with one holder (release it with
 * tevra_ustring_free) or NULL. Exporters return 1 or 0 and hand out a buffer
 * the caller releases with tevra_free. Lengths are signed 64-bit; a negative
 * length, or a NULL pointer with a nonzero length, is refused. Every
 * (pointer, length) constructor gives the empty string for (NULL, 0).
 */
#ifndef TEVRA_USTRING_H
#define TEVRA_USTRING_H

#include <stddef.h>

#include "TEVRA_Export.h"

TEVRA_BEGIN_DECLS

/** An immutable Unicode string; opaque. */
typedef struct TEVRA_UString TEVRA_UString;

/* ---- constructors ---- */

/** From zero-terminated host-order UTF-16; NULL gives the empty string. NULL on ill-formed input.
 */
TEVRA_API TEVRA_UString *tevra_ustring_new(const unsigned short *units);
/** From count host-order UTF-16 units (zero units allowed); NULL on lone or reversed surrogates. */
TEVRA_API TEVRA_UString *tevra_ustring_newlength(const unsigned short *units, long count);
/** From UTF-8; NULL on overlong, truncated, surrogate or out-of-range sequences. */
TEVRA_API TEVRA_UString *tevra_ustring_newutf8(const unsigned char *bytes, long length);
/** From big-endian UCS-2; NULL for an odd length or any surrogate unit. */
TEVRA_API TEVRA_UString *tevra_ustring_newbmp(const unsigned char *bytes, long length);
/** From big-endian UTF-32; NULL for a length not a multiple of 4, surrogates or values above
 * 10FFFF. */
TEVRA_API TEVRA_UString *tevra_ustring_newutf32be(const unsigned char *bytes, long length);
/** From count code points; NULL for surrogates or values above 10FFFF. */
TEVRA_API TEVRA_UString *tevra_ustring_newutf32(const unsigned long *code_points, long count);
/** From 7-bit ASCII (zero bytes allowed); NULL for any byte of 80 hex or above. */
TEVRA_API TEVRA_UString *tevra_ustring_newascii(const char *bytes, long length);

/* ---- exporters: 1 on success, 0 on failure; *out is released with tevra_free ---- */

/** UTF-8 bytes plus a zero byte; *out_length excludes the zero. */
TEVRA_API int tevra_ustring_toutf8(const TEVRA_UString *s, unsigned char **out, long *out_length);
/** A copy of the UTF-16 units plus a zero unit; *out_count counts units. */
TEVRA_API int tevra_ustring_toutf16(const TEVRA_UString *s, unsigned short **out, long *out_count);
/** Big-endian UCS-2 plus two zero bytes; fails for strings holding supplementary characters. */
TEVRA_API int tevra_ustring_tobmp(const TEVRA_UString *s, unsigned char **out, long *out_length);
/** Big-endian UTF-32 plus four zero bytes; *out_length excludes the terminator. */
TEVRA_API int tevra_ustring_toutf32be(const TEVRA_UString *s, unsigned char **out,
                                      long *out_length);
/** One 64-bit element per code point plus a 0 element; *out_count is the character count. */
TEVRA_API int tevra_ustring_toutf32(const TEVRA_UString *s, unsigned long **out, long *out_count);

/* ---- lifetime and queries ---- */

/**
 * Adds a holder and returns s itself (no copy is made); NULL gives NULL.
 * The holder count is a plain, non-atomic int: reading a string from several
 * threads is fine, but tevra_ustring_dup and tevra_ustring_free (and the
 * functions that add a holder: cat with a NULL operand, normalize, the IDN
 * tounicode calls) must not run on the same string in two threads at once
 * without a lock, or the count is corrupted (a leak or a double free).
 */
TEVRA_API TEVRA_UString *tevra_ustring_dup(TEVRA_UString *s);
/**
 * Drops a holder; the last one frees the string. NULL is ignored. Not thread-safe, see
 * tevra_ustring_dup.
 */
TEVRA_API void tevra_ustring_free(TEVRA_UString *s);
/** Number of code points (a surrogate pair counts one); 0 for NULL. */
TEVRA_API long tevra_ustring_getcharcount(const TEVRA_UString *s);
/**
 * Code-point order: -1, 0 or 1. NULL sorts below any string; a supplementary
 * character sorts above every BMP character; a proper prefix sorts first.
 */
TEVRA_API int tevra_ustring_cmp(const TEVRA_UString *a, const TEVRA_UString *b);
/**
 * Compares the first n + 1 characters of strings that have at least n (the
 * character after the first n takes part, the terminator included); n = 0
 * gives 0 and a negative n compares whole strings as tevra_ustring_cmp.
 */
TEVRA_API int tevra_ustring_ncmp(const TEVRA_UString *a, const TEVRA_UString *b, long n);
/** A new string a followed by b; with one NULL operand the other gains a holder and is returned. */
TEVRA_API TEVRA_UString *tevra_ustring_cat(TEVRA_UString *a, TEVRA_UString *b);
/**
 * count characters from character start (negative count: to the end). NULL
 * for a start outside the string or count 0. When the character just after
 * the requested range is supplementary, the result ends with its high
 * surrogate and counts one character more.
 */
TEVRA_API TEVRA_UString *tevra_ustring_substring(const TEVRA_UString *s, long start, long count);
/**
 * Finds pattern at or after character start. 1 with *position set to the
 * character index of the match; 0 when there is none (*position = -1) or on
 * bad arguments (*position untouched). An empty pattern matches at start.
 */
TEVRA_API int tevra_ustring_find(const TEVRA_UString *s, long start, const TEVRA_UString *pattern,
                                 long *position);

/* ---- named character sets and wide characters ---- */

/** Application converter from a character set iconv does not know to host-order UTF-16. */
typedef int (*TEVRA_MbsToWcsCallback)(void *ctx, const char *charset, const char *in, long inlen,
                                      unsigned short *out, long cap, long *count);
/** Application converter from host-order UTF-16 to a character set iconv does not know. */
typedef int (*TEVRA_WcsToMbsCallback)(void *ctx, const char *charset, const unsigned short *in,
                                      long n, char *out, long cap, long *count);

/**
 * The character set named by the environment variables LC_ALL, LC_CTYPE or
 * LANG, the first one set and not empty (setlocale is not consulted). A value
 * with a period gives the text after it up to any '@', as written
 * ("de_DE.utf8@euro" gives "utf8"). Without a period the answers are fixed
 * (names compared ignoring case): none set or "C" give "ISO8859-1" (so does
 * "C" before any period test), "en_US" and "en_GB" "ISO8859-1", "zh_CN"
 * "GBK", "zh_TW" and "zh_HK" "BIG5"; any other value ("POSIX", "fr_FR")
 * gives NULL. NULL also when memory runs out. Release with tevra_free.
 */
TEVRA_API char *tevra_ustring_getdefaultcharset(void);
/**
 * Converts input_length bytes in charset to at most output_capacity host-order
 * UTF-16 units. 1 with *unit_count set, or 0 (unknown set without a hook,
 * invalid or incomplete input, output too small, bad arguments); a failed
 * iconv conversion leaves output unchanged.
 */
TEVRA_API int tevra_imbstowcs(const char *charset, const char *input, long input_length,
                              unsigned short *output, long output_capacity, long *unit_count);
/**
 * Converts unit_count host-order UTF-16 units to at most output_capacity bytes
 * in charset. 1 with *byte_count set, or 0. No terminator is written, and
 * output in a stateful encoding is not returned to its initial shift state.
 */
TEVRA_API int tevra_iwcstombs(const char *charset, const unsigned short *units, long unit_count,
                              char *output, long output_capacity, long *byte_count);
/** Registers the converter used when iconv cannot open a character set (bytes to UTF-16);
 * process-wide, NULL removes it, not thread-safe. Returns 1. */
TEVRA_API int tevra_ustring_setmbstowcscallback(void *ctx, TEVRA_MbsToWcsCallback callback);
/** Registers the converter used when iconv cannot open a character set (UTF-16 to bytes);
 * process-wide, NULL removes it, not thread-safe. Returns 1. */
TEVRA_API int tevra_ustring_setwcstombscallback(void *ctx, TEVRA_WcsToMbsCallback callback);
/**
 * A string from length bytes in charset (case-insensitive). Length 0 gives the
 * empty string before the name is examined. "UTF-8" and "ASCII" use the
 * built-in decoders; other names go through iconv, then the registered hook.
 * The names UTF-16BE, UTF-16LE, UTF-32BE and UTF-32LE always read exactly
 * 8 bytes (4 UTF-16 units or 2 code points) whatever length says: any bytes
 * after the first 8 are ignored, a length below 8 gives NULL, and a
 * surrogate pair cut at the 8th byte gives NULL. To convert longer UTF-16 or
 * UTF-32 text use tevra_ustring_newlength, tevra_ustring_newutf32be or
 * tevra_ustring_newutf32, or another spelling such as "UTF16LE" (iconv).
 * NULL for a NULL or empty charset, NULL bytes, a negative length or input
 * the character set cannot convert.
 */
TEVRA_API TEVRA_UString *tevra_ustring_newmbs(const char *charset, const char *bytes, long length);
/**
 * Encodes s in charset (case-insensitive): 1 with a zero-terminated buffer
 * (release with tevra_free) and its length, or 0 for NULL arguments, an
 * unknown set, or a character the set cannot hold. "ASCII" fails for any
 * character above 7F; UTF-16BE/LE end in a single zero byte, UTF-32BE in four.
 * UTF-32LE is not plain little-endian: only code points 0, 4, 8, ... (every
 * fourth 4-byte group) are byte-reversed, the others stay big-endian, so the
 * output is true UTF-32LE only for strings of one character. For real
 * UTF-32LE byte-swap the output of tevra_ustring_toutf32be yourself.
 * Through iconv the output may take at most 4 bytes per character.
 */
TEVRA_API int tevra_ustring_tombs(const TEVRA_UString *s, const char *charset, char **out,
                                  long *out_length);
/**
 * A zero-terminated array of 32-bit code points (release with tevra_free); NULL for NULL or no
 * memory.
 */
TEVRA_API wchar_t *tevra_ustring_towcs(const TEVRA_UString *s);
/** A string from a zero-terminated wide string of code points; NULL for NULL or invalid values. */
TEVRA_API TEVRA_UString *tevra_ustring_newwcs(const wchar_t *wide);

/**
 * s in a Unicode normalization form: 1 NFD, 2 NFC, 3 NFKD, 4 NFKC. A string
 * that is already in the form (by the quick check) or empty comes back as s
 * itself with one more reference; otherwise a new string. NULL for NULL s, a
 * bad form, a lone surrogate in a string of more than one unit, or when
 * memory runs out. Release the result with tevra_ustring_free.
 */
TEVRA_API TEVRA_UString *tevra_ustring_normalize(const TEVRA_UString *s, int form);
/**
 * Full Unicode case folding of s (mode 1), or full folding followed, for
 * characters it leaves alone, by the FC_NFKC closure (mode 2). Always a new
 * string, not normalized; NULL for NULL s, another mode, or when memory runs
 * out.
 */
TEVRA_API TEVRA_UString *tevra_ustring_tocasefold(const TEVRA_UString *s, int mode);

/* ---- internationalized domain names and LDAP string preparation ---- */

/**
 * Nameprep: drops the characters commonly mapped to nothing, case folds,
 * normalizes to NFKC, then refuses prohibited code points, labels that break
 * the right-to-left rule and (unless allow_unassigned) code points unassigned
 * in Unicode 5.0. A new string, or NULL when a rule fails or s is NULL.
 */
TEVRA_API TEVRA_UString *tevra_ustring_idn_stringprep(const TEVRA_UString *s,
                                                      unsigned int allow_unassigned);
/**
 * The ASCII form of one label: unchanged when it is (or prepares to) plain
 * ASCII, else "xn--" and its Punycode. use_std3 limits it to letters, digits
 * and inner hyphens ("*" too with allow_asterisk). 1 with a zero-terminated
 * *out (release with tevra_free) of 1 to 63 bytes and its length, or 0.
 */
TEVRA_API int tevra_ustring_idnlabel_toascii(const TEVRA_UString *label,
                                             unsigned int allow_unassigned, unsigned int use_std3,
                                             unsigned int allow_asterisk, char **out,
                                             long *out_length);
/**
 * The ASCII form of a name whose labels are separated by U+002E, U+3002,
 * U+FF0E or U+FF61; the output separates them with ".". 0 when any label
 * fails or is empty (a leading, doubled or trailing separator).
 */
TEVRA_API int tevra_ustring_idn_toascii(const TEVRA_UString *name, unsigned int allow_unassigned,
                                        unsigned int use_std3, unsigned int allow_asterisk,
                                        char **out, long *out_length);
/**
 * The Unicode form of an "xn--" label that converts back to the same ASCII.
 * Any other label, and every failure, gives the label itself with one more
 * holder; NULL only for a NULL label.
 */
TEVRA_API TEVRA_UString *tevra_ustring_idnlabel_tounicode(const TEVRA_UString *label,
                                                          unsigned int allow_unassigned,
                                                          unsigned int use_std3,
                                                          unsigned int allow_asterisk);
/** The Unicode form of every label of a name, joined with "."; NULL for NULL or no memory. */
TEVRA_API TEVRA_UString *tevra_ustring_idn_tounicode(const TEVRA_UString *name,
                                                     unsigned int allow_unassigned,
                                                     unsigned int use_std3,
                                                     unsigned int allow_asterisk);
/**
 * Prepares s for LDAP matching. type: 0 case-exact and 1 case-ignore strings
 * (spaces collapsed: one space at each end, two between words), 3 numeric
 * strings (spaces removed), 4 case-exact and 5 case-ignore telephone numbers
 * (spaces and hyphens removed). NULL for a NULL s, type 2 or above 5, or a
 * prohibited or unassigned code point. Right-to-left characters are removed.
 */
TEVRA_API TEVRA_UString *tevra_ustring_ldapi18nstringprep(unsigned long type,
                                                          const TEVRA_UString *s);

TEVRA_END_DECLS

#endif
