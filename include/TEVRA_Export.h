/* Export and linkage macros shared by every public header. */
#ifndef TEVRA_EXPORT_H
#define TEVRA_EXPORT_H

#if defined(TEVRA_BUILDING_LIBRARY)
#define TEVRA_API __attribute__((visibility("default")))
#else
#define TEVRA_API
#endif

#ifdef __cplusplus
#define TEVRA_BEGIN_DECLS extern "C" {
#define TEVRA_END_DECLS }
#else
#define TEVRA_BEGIN_DECLS
#define TEVRA_END_DECLS
#endif

#endif
