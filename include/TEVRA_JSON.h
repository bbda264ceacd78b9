/*
 * JSON documents: a tree of tagged values, an encoder writing compact or
 * pretty-printed text, a decoder with a nesting limit, one-level traversal of
 * an object's members.
 *
 * Ownership: every constructor, tevra_json_dup and tevra_json_decode return a
 * new tree that the caller releases with tevra_json_free. Values handed to
 * the add and update functions are deep-copied, so the caller keeps (and
 * still frees) what it passed. Getters return borrowed pointers into the
 * tree, valid until that part of the tree is changed or freed. Text from
 * tevra_json_encode is released with tevra_free. A tree belongs to one thread
 * at a time.
 */
#ifndef TEVRA_JSON_H
#define TEVRA_JSON_H

#include "TEVRA_Export.h"
#include "TEVRA_Stream.h"

TEVRA_BEGIN_DECLS

/** A JSON value; opaque. */
typedef struct TEVRA_JSON TEVRA_JSON;

/* Kind codes returned by tevra_json_gettype. */
#define TEVRA_JSON_STRING 1
#define TEVRA_JSON_NUMBER 2
#define TEVRA_JSON_BOOLEAN 3
#define TEVRA_JSON_NULL 4
#define TEVRA_JSON_OBJECT 5
#define TEVRA_JSON_ARRAY 6

/*
 * Bits of the encoder's flag word (pass them combined, cast to int). In
 * pretty mode each nesting level is indented by one unit: a tab, or N spaces
 * and a tab when TEVRA_JSON_INDENT_SPACES is set and N (the low byte) is not 0.
 * An object member's value is always written compactly.
 */
#define TEVRA_JSON_PRETTY 0x80000000u        /**< indentation and line ends */
#define TEVRA_JSON_INDENT_SPACES 0x40000000u /**< N spaces before the tab of each unit */
#define TEVRA_JSON_LINE_CR 0x20000000u       /**< line ends include "\r" */
#define TEVRA_JSON_LINE_LF 0x10000000u       /**< line ends include "\n" (after "\r") */
#define TEVRA_JSON_SORT 0x00100000u          /**< sort the top-level container first */
#define TEVRA_JSON_INDENT_MASK 0x000000FFu   /**< N, the spaces in one indentation unit */

/*
 * The decoder's nesting limit is tevra_get_recursive_level() (environment
 * variable TEVRA_RECURSIVE_LEVEL), but never more than this: encoding, copying,
 * comparing and freeing recurse once per level, and deeper trees could exhaust
 * a thread's stack.
 */
#define TEVRA_JSON_MAX_NESTING 10000

/** Called by tevra_json_traverse for each member; return 1 to go on. */
typedef int (*TEVRA_JSON_TraverseFunc)(void *user, const char *key, int keylen, TEVRA_JSON *value);

/* ---- Constructors: a new value, or NULL when memory runs out ---- */

/** A boolean, stored as 1 for any non-zero value. */
TEVRA_API TEVRA_JSON *tevra_json_newboolean(int value);
TEVRA_API TEVRA_JSON *tevra_json_newnull(void);
TEVRA_API TEVRA_JSON *tevra_json_newnumber(double value);
/**
 * A string of length bytes of UTF-8 (zero bytes allowed), stored with a
 * terminating zero. NULL for a negative length or 2147483647, NULL data with a
 * non-zero length, or text that is not valid UTF-8. NULL data with length 0
 * gives the empty string.
 */
TEVRA_API TEVRA_JSON *tevra_json_newstring(const char *data, int length);
/** An empty object. */
TEVRA_API TEVRA_JSON *tevra_json_newobject(void);
/** An empty array. */
TEVRA_API TEVRA_JSON *tevra_json_newarray(void);

/* ---- Copying and releasing ---- */

/** A deep copy, or NULL (NULL argument, no memory). */
TEVRA_API TEVRA_JSON *tevra_json_dup(const TEVRA_JSON *value);
/** Releases the value and everything under it; NULL is ignored. */
TEVRA_API void tevra_json_free(TEVRA_JSON *value);

/* ---- Editing: 1 on success, 0 on failure with the container unchanged ---- */

/**
 * Appends a member with a copy of value under key (same checks as
 * tevra_json_newstring). Duplicate keys are kept.
 */
TEVRA_API int tevra_json_addobjectitem(TEVRA_JSON *object, const char *key, int keylen,
                                       const TEVRA_JSON *value);
/**
 * Replaces the value of the first (oldest) member with this key by a copy of
 * value, or appends a member when none matches.
 */
TEVRA_API int tevra_json_updateobjectitem(TEVRA_JSON *object, const char *key, int keylen,
                                          const TEVRA_JSON *value);
/** Removes and releases the first (oldest) member with this key; 0 if none. */
TEVRA_API int tevra_json_deleteobjectitem(TEVRA_JSON *object, const char *key, int keylen);
/** Appends a copy of value. */
TEVRA_API int tevra_json_addarrayitem(TEVRA_JSON *array, const TEVRA_JSON *value);
/** Removes and releases the element at index. */
TEVRA_API int tevra_json_deletearrayitem(TEVRA_JSON *array, int index);

/* ---- Getters: borrowed results; the failure value for NULL or the wrong kind ---- */

/** The kind code (TEVRA_JSON_STRING ...), -1 for NULL. */
TEVRA_API int tevra_json_gettype(const TEVRA_JSON *value);
/** The boolean, 1 or 0; 0 for anything else. */
TEVRA_API int tevra_json_istrue(const TEVRA_JSON *value);
/** The number; -1.0 for anything else (check the kind first). */
TEVRA_API double tevra_json_getnumber(const TEVRA_JSON *value);
/** The string's bytes, zero-terminated; NULL for anything else. */
TEVRA_API const char *tevra_json_getstring(const TEVRA_JSON *value);
/** The string's byte length; -1 for anything else. */
TEVRA_API int tevra_json_getstringlength(const TEVRA_JSON *value);
/** The number of elements of an array; -1 for anything else. */
TEVRA_API int tevra_json_getarraysize(const TEVRA_JSON *value);
/** The element at index, or NULL when out of range or not an array. */
TEVRA_API TEVRA_JSON *tevra_json_getarrayitem(const TEVRA_JSON *array, unsigned int index);
/**
 * The value of the last (newest) member whose key has exactly these bytes, or
 * NULL. Note that update and delete act on the oldest member instead.
 */
TEVRA_API TEVRA_JSON *tevra_json_getobjectvalue(const TEVRA_JSON *object, const char *key,
                                                int keylen);

/**
 * Calls callback for each member of object in stored order (one level only).
 * 1 when every member was visited; 0 for a NULL or non-object argument, or as
 * soon as the callback returns anything but 1.
 */
TEVRA_API int tevra_json_traverse(TEVRA_JSON *object, TEVRA_JSON_TraverseFunc callback, void *user);

/* ---- Encoding ---- */

/**
 * Writes value as JSON text. On success, 1 with a new zero-terminated buffer
 * in *out_text (release with tevra_free) and its length without the zero in
 * *out_length. 0 with the out pointers unchanged on failure. With
 * TEVRA_JSON_SORT the top-level object's members (by key, then value) or
 * array's elements are sorted in place first: the caller's tree changes.
 */
TEVRA_API int tevra_json_encode(TEVRA_JSON *value, int flags, char **out_text, int *out_length);
/**
 * Writes value at nesting level depth (0 for the top) into stream. 1, or 0
 * when a write fails (what was written stays in the stream). Ignores
 * TEVRA_JSON_SORT.
 */
TEVRA_API int tevra_json_encodeinstream(TEVRA_Stream *stream, int flags, int depth,
                                        const TEVRA_JSON *value);
/** Writes one string value quoted and escaped, indented in pretty mode. 1 or 0. */
TEVRA_API int tevra_json_encodestringinstream(TEVRA_Stream *stream, int flags, int depth,
                                              const TEVRA_JSON *value);

/* ---- Decoding: NULL on any error, with nothing allocated left behind ---- */

/**
 * Parses length bytes of JSON text, which must hold exactly one value
 * (whitespace is allowed around an object or array, not around a scalar).
 * Values may sit at nesting depths 0 to tevra_get_recursive_level() - 1
 * (at most TEVRA_JSON_MAX_NESTING - 1); deeper nesting fails.
 */
TEVRA_API TEVRA_JSON *tevra_json_decode(const char *text, int length);
/**
 * Parses the value at the start of text at nesting level depth; the bytes it
 * took (including whitespace after a container) go to *consumed.
 */
TEVRA_API TEVRA_JSON *tevra_json_decodeex(const char *text, int length, int depth, int *consumed);
/**
 * Parses one string token; its first byte is taken as the opening quote
 * without being examined. *consumed counts up to the closing quote.
 */
TEVRA_API TEVRA_JSON *tevra_json_decodestring(const char *text, int length, int *consumed);

TEVRA_END_DECLS

#endif
