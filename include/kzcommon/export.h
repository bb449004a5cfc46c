// Symbol visibility for the kzcommon module.
//
// KZCOMMON_API marks what the module exports. Everything else is hidden on
// POSIX (the library is built with -fvisibility=hidden and a version script,
// library/exports.map, which a new public class joins with one line) and not
// exported on Windows, so the exported surface is exactly what is marked here.
// A nested class carries its own KZCOMMON_API: on Windows the enclosing
// class's mark does not reach it.
// KZCOMMON_STATIC means the library's code is built into the program itself
// (the static copy that kzcommon's own tests link): nothing is exported or
// imported then.
#ifndef KZCOMMON_EXPORT_H_
#define KZCOMMON_EXPORT_H_

#if defined(KZCOMMON_STATIC)
#define KZCOMMON_API
#elif defined(_WIN32)
#if defined(KZCOMMON_BUILDING)
#define KZCOMMON_API __declspec(dllexport)
#else
#define KZCOMMON_API __declspec(dllimport)
#endif
#else
#define KZCOMMON_API __attribute__((visibility("default")))
#endif

#endif  // KZCOMMON_EXPORT_H_
