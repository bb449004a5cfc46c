// kzcommon: the one header a client includes.
//
// Declares every public class of the library and, on POSIX, the platform
// names that a client of those classes needs (WCHAR, BSTR, HRESULT, GUID,
// OLESTR, the result codes, module, BSTR, task-memory and GUID functions).
// On Windows the platform's own headers supply those names.
#ifndef KZCOMMON_KZCOMMON_H_
#define KZCOMMON_KZCOMMON_H_

#include <kzcommon/export.h>
#include <kzcommon/kzcatalog.h>
#include <kzcommon/kzerrorhandling.h>
#include <kzcommon/kzmsgstring.h>
#include <kzcommon/kzstring.h>
#include <kzcommon/kzstringtoken.h>
#include <kzcommon/wintypes.h>

#endif  // KZCOMMON_KZCOMMON_H_
