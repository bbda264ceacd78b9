// Private declarations of the platform layer (locale and iconv conversion,
// dynamic loading) that the portable sources call.
#ifndef TEVRA_UNIX_PLATFORM_H
#define TEVRA_UNIX_PLATFORM_H

namespace tevra::detail {

// An upper-case copy of a character-set name (only ASCII a..z change), from
// tevra_malloc; NULL for a NULL name or when memory runs out.
char *charset_upper_copy(const char *name);

} // namespace tevra::detail

#endif
