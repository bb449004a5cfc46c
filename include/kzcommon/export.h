// Symbol visibility for the kzcommon module.
//
// KZCOMMON_API marks what the module exports. Everything else is hidden on
// POSIX (the library is built with -fvisibility=hidden) and not exported on
// Windows, so the exported surface is exactly what is marked here.
#ifndef KZCOMMON_EXPORT_H_
#define KZCOMMON_EXPORT_H_

#if defined(_WIN32)
#if defined(KZCOMMON_BUILDING)
#define KZCOMMON_API __declspec(dllexport)
#else
#define KZCOMMON_API __declspec(dllimport)
#endif
#else
#define KZCOMMON_API __attribute__((visibility("default")))
#endif

#endif  // KZCOMMON_EXPORT_H_
