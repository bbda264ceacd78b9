/* Loading shared objects by a Unicode name and looking up their symbols. */
#ifndef TEVRA_DSO_H
#define TEVRA_DSO_H

#include "TEVRA_Export.h"
#include "TEVRA_UString.h"

TEVRA_BEGIN_DECLS

/** A loaded shared object: the platform loader's handle. */
typedef void *TEVRA_DSO;

/**
 * Loads the shared object named by name, converted to the locale's character
 * set (UTF-8 when the locale names none), resolving every symbol at once.
 * When that fails, the name with ".dylib" appended is tried once. Returns
 * the handle (release with tevra_dso_free), or NULL for a NULL name, a name
 * the character set cannot hold, or an object that cannot be loaded.
 */
TEVRA_API TEVRA_DSO tevra_dso_load(const TEVRA_UString *name);
/** The address of the symbol name in dso; NULL for NULL arguments or an unknown symbol. */
TEVRA_API void *tevra_dso_getfunction(TEVRA_DSO dso, const char *name);
/** Unloads dso; NULL is ignored. */
TEVRA_API void tevra_dso_free(TEVRA_DSO dso);

TEVRA_END_DECLS

#endif
