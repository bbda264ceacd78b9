/* Library version numbers; the shared library's SONAME carries the major number. */
#ifndef TEVRA_VERSION_H
#define TEVRA_VERSION_H

#define TEVRA_VERSION_MAJOR 2
#define TEVRA_VERSION_MINOR 6
#define TEVRA_VERSION_PATCH 0

#endif
