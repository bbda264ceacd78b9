/* Date and time values, the compiled-in time-zone database and conversions. */
#ifndef TEVRA_TIME_H
#define TEVRA_TIME_H

#include "TEVRA_Export.h"

TEVRA_BEGIN_DECLS

/* --- time-zone database --- */

/** Id (0..581) of the zone named exactly (case-sensitive) `name`, or -1.
 *  "UTC" gives the id of "Etc/UTC" and "PRC" that of "Asia/Shanghai".
 *  `name` must not be NULL. */
TEVRA_API int tevra_time_gettimezoneidbyname(const char *name);
/** Id of the machine's local zone, read afresh from the system files and
 *  then the TZ environment variable on every call; the id of "Etc/UTC" when
 *  none of them names a known zone. */
TEVRA_API int tevra_time_gettimezoneid(void);

/* --- end of time-zone database --- */

TEVRA_END_DECLS

#endif
