/* The public headers must compile as strict C11. */
#include "tevra.h"

int tevra_c_headers_compile(void) { return TEVRA_VERSION_MAJOR; }
