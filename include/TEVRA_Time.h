/*
 * Calendar times (proleptic Gregorian, years 1582..9999) in UTC or in a zone
 * of the compiled-in time-zone database, with leap seconds.
 */
#ifndef TEVRA_TIME_H
#define TEVRA_TIME_H

#include "TEVRA_Export.h"

TEVRA_BEGIN_DECLS

/**
 * A broken-down calendar time. Records returned by the library are new and
 * owned by the caller, who releases them with tevra_time_free.
 */
typedef struct TEVRA_Time {
    int year;                  /**< 1582..9999 (10000 only after 9999-12-31 24:00:00) */
    int month;                 /**< 1..12 */
    int day;                   /**< 1..days in the month */
    int hour;                  /**< 0..23 */
    int minute;                /**< 0..59 */
    int second;                /**< 0..59, or 60 at a listed leap second */
    unsigned long nanoseconds; /**< 0..999999999 */
    unsigned int utc;          /**< 1: UTC fields; 0: wall-clock time of zone `zone` */
    unsigned int dst;          /**< local times only: 1 while daylight-saving time is in force */
    int zone;                  /**< zone id, 0..581; 414 ("Etc/UTC") for UTC times */
} TEVRA_Time;

/* --- construction, access, comparison --- */

/**
 * New UTC time. Hour 24 with minute and second 0 means the start of the next
 * day; second 60 is accepted only at a listed leap second. NULL on any invalid
 * field or when memory runs out.
 */
TEVRA_API TEVRA_Time *tevra_time_newutctime(int year, int month, int day, int hour, int minute,
                                            int second, unsigned long nanoseconds);
/** The current UTC time in whole seconds, or NULL. */
TEVRA_API TEVRA_Time *tevra_time_nowutctime(void);
/** The current time in the detected local zone, or NULL. */
TEVRA_API TEVRA_Time *tevra_time_nowlocaltime(void);
/**
 * New local time in the detected local zone; dst picks the first (daylight)
 * reading of a repeated wall time. NULL on failure.
 */
TEVRA_API TEVRA_Time *tevra_time_newlocaltime(int year, int month, int day, int hour, int minute,
                                              int second, unsigned long nanoseconds, int dst);
/** Field getters: -1 for NULL. */
TEVRA_API int tevra_time_getyear(const TEVRA_Time *time);
TEVRA_API int tevra_time_getmonth(const TEVRA_Time *time);
TEVRA_API int tevra_time_getday(const TEVRA_Time *time);
TEVRA_API int tevra_time_gethour(const TEVRA_Time *time);
TEVRA_API int tevra_time_getminute(const TEVRA_Time *time);
TEVRA_API int tevra_time_getsecond(const TEVRA_Time *time);
/** Nanoseconds, -1 for NULL. */
TEVRA_API long tevra_time_getns(const TEVRA_Time *time);
/** 1 for a UTC time, 0 otherwise and for NULL. */
TEVRA_API int tevra_time_isutctime(const TEVRA_Time *time);
/** 1 for a local time with daylight-saving time in force, else 0. */
TEVRA_API int tevra_time_isdst(const TEVRA_Time *time);
/** 1 when the time's own year field is a leap year, else 0. */
TEVRA_API int tevra_time_isleapyear(const TEVRA_Time *time);
/**
 * 1 = Monday .. 7 = Sunday of the time's UTC date; before 1969-12-28 every
 * day but Sunday gives a negative value (-6..-1). -1 on failure.
 */
TEVRA_API int tevra_time_getdayofweek(const TEVRA_Time *time);
/** Seconds since 1970-01-01 UTC without leap seconds; LONG_MIN for NULL. */
TEVRA_API long tevra_time_gettime_t(const TEVRA_Time *time);
/** -1, 0 or 1 as a denotes an earlier, the same or a later instant than b. */
TEVRA_API int tevra_time_cmp(const TEVRA_Time *a, const TEVRA_Time *b);
/** Exact copy, NULL for NULL or no memory. */
TEVRA_API TEVRA_Time *tevra_time_dup(const TEVRA_Time *time);
/** Releases a time; NULL is ignored. */
TEVRA_API void tevra_time_free(TEVRA_Time *time);

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

/* --- conversion between UTC and local time --- */

/** A UTC time in the detected local zone; NULL on failure. */
TEVRA_API TEVRA_Time *tevra_time_utc2local(const TEVRA_Time *time);
/** A UTC time in the named zone; NULL for an unknown name or a local time. */
TEVRA_API TEVRA_Time *tevra_time_utc2localbyzone(const char *zone, const TEVRA_Time *time);
/** A UTC time in zone id; a UTC copy for 414; NULL on failure. */
TEVRA_API TEVRA_Time *tevra_time_utc2localbyid(const TEVRA_Time *time, int id);
/** A local time as UTC; NULL for NULL, a UTC time or failure. */
TEVRA_API TEVRA_Time *tevra_time_local2utc(const TEVRA_Time *time);
/** New local time in the named zone (see tevra_time_newlocaltime); NULL on failure. */
TEVRA_API TEVRA_Time *tevra_time_newlocaltimebyzone(const char *zone, int year, int month, int day,
                                                    int hour, int minute, int second,
                                                    unsigned long nanoseconds, int dst);
/** New local time in zone id; a UTC time for 414; NULL on failure. */
TEVRA_API TEVRA_Time *tevra_time_newlocaltimebyid(int id, int year, int month, int day, int hour,
                                                  int minute, int second, unsigned long nanoseconds,
                                                  int dst);
/** The time moved by seconds (seconds, then whole minutes); a copy for 0; NULL on failure. */
TEVRA_API TEVRA_Time *tevra_time_addsave(const TEVRA_Time *time, int seconds);

/* --- arithmetic --- */

/**
 * New time moved by n units. A local time is computed in UTC and comes back
 * in the detected local zone. NULL for NULL, a year leaving 1582..9999 or a
 * failed conversion.
 */
TEVRA_API TEVRA_Time *tevra_time_addyear(const TEVRA_Time *time, int n);
TEVRA_API TEVRA_Time *tevra_time_addmonth(const TEVRA_Time *time, int n);
TEVRA_API TEVRA_Time *tevra_time_addday(const TEVRA_Time *time, int n);
TEVRA_API TEVRA_Time *tevra_time_addhour(const TEVRA_Time *time, int n);
TEVRA_API TEVRA_Time *tevra_time_addminute(const TEVRA_Time *time, int n);
/** Moves by n elapsed seconds, counting listed leap seconds. */
TEVRA_API TEVRA_Time *tevra_time_addsecond(const TEVRA_Time *time, int n);
/** 1 when the time is a listed leap second (23:59:60 UTC), else 0. */
TEVRA_API int tevra_time_isleapsecond(const TEVRA_Time *time);
/**
 * a - b in seconds, leap seconds included. NULL a gives LONG_MIN, NULL b
 * LONG_MAX, both NULL 0.
 */
TEVRA_API long tevra_time_diffseconds(const TEVRA_Time *a, const TEVRA_Time *b);
/** a - b in UTC calendar days; INT_MIN for a NULL a, INT_MAX for a NULL b. */
TEVRA_API int tevra_time_diffdays(const TEVRA_Time *a, const TEVRA_Time *b);
/** Calendar days from earlier's date to later's date; -1 for NULL. */
TEVRA_API int tevra_time_idiffdays(const TEVRA_Time *later, const TEVRA_Time *earlier);

/* UTC workers: the same operations on UTC times, without zone conversion. */
TEVRA_API TEVRA_Time *tevra_utc_time_addyear(const TEVRA_Time *time, int n);
TEVRA_API TEVRA_Time *tevra_utc_time_addmonth(const TEVRA_Time *time, int n);
TEVRA_API TEVRA_Time *tevra_utc_time_addday(const TEVRA_Time *time, int n);
TEVRA_API TEVRA_Time *tevra_utc_time_addhour(const TEVRA_Time *time, int n);
TEVRA_API TEVRA_Time *tevra_utc_time_addminute(const TEVRA_Time *time, int n);
TEVRA_API TEVRA_Time *tevra_utc_time_addsecond(const TEVRA_Time *time, int n);
/**
 * In-place steppers of a time's own fields (days forward or back for n >= 1,
 * hours, minutes; the second is left alone). 1 while the year stays within
 * 1582..9999, else 0 (also for NULL).
 */
TEVRA_API int tevra_utc_time_iadd_day(TEVRA_Time *time, int n);
TEVRA_API int tevra_utc_time_isub_day(TEVRA_Time *time, int n);
TEVRA_API int tevra_utc_time_iaddhour(TEVRA_Time *time, int n);
TEVRA_API int tevra_utc_time_iaddminute(TEVRA_Time *time, int n);

TEVRA_END_DECLS

#endif
