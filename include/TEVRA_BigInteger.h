/* Arbitrary-precision integers over GMP. */
#ifndef TEVRA_BIGINTEGER_H
#define TEVRA_BIGINTEGER_H

#include "TEVRA_Export.h"
#include "TEVRA_Util.h"

TEVRA_BEGIN_DECLS

/** Installs the library's allocation adapters as GMP's memory functions. */
TEVRA_API void tevra_biginteger_init(void);

TEVRA_END_DECLS

#endif
