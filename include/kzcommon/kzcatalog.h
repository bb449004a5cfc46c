// CKZCatalog: a named message catalog, whose texts live in the string table
// of a loadable module.
//
// The object holds the module's name and a cached handle. The modules
// themselves stay open in one table for the whole process: the first object
// that needs a module opens it with LoadLibraryW, every later object of a
// name that lowers to the same hash finds it there, and it stays open until
// Close or CloseAll, whoever calls them, or until the library is unloaded.
// Destroying objects closes nothing.
//
// Names: the name is passed to LoadLibraryW as given, so it follows the
// platform's search and extension rules. Names that differ only in case (by
// the current locale's towlower) are one catalog, and so are two names whose
// hashes meet: the table keys on the hash alone, never on the name.
//
// Threads: every operation may run on any thread, and any number of threads
// may fetch through one object at once. Close and CloseAll on one thread
// never free a module under a fetch in flight on another: they wait for it to
// leave the module, and every object that held the closed module reopens it
// at its next fetch. Copying and assigning touch the name's plain reference
// count, so an object that other threads use or copy must not be assigned
// to, nor copied on two threads at once: that is the caller's race, as for
// any CKZString.
//
// Results are HRESULTs; compare them with zero, since S_FALSE is a success.
// Nothing throws. Exhausted memory: a fetch or an open that can't allocate
// gives E_OUTOFMEMORY and leaves `out` and the table as they were; a name
// that can't be copied leaves the object with a null name, which opens
// nothing (E_FAIL, as for an empty name).
#ifndef KZCOMMON_KZCATALOG_H_
#define KZCOMMON_KZCATALOG_H_

#include <kzcommon/export.h>
#include <kzcommon/kzstring.h>
#include <kzcommon/wintypes.h>

#include <atomic>
#include <cstdarg>
#include <cstdint>

class CKZErrorHandling;
class CKZModulePin;
struct CKZCatalogTestAccess;

class KZCOMMON_API CKZCatalog {
 public:
  // A catalog with a null name, which opens nothing: every fetch gives
  // E_FAIL and Close gives S_FALSE.
  CKZCatalog();
  // A catalog of that name (copied); a null or empty name behaves as above.
  // Opens nothing yet: the module is opened at the first fetch.
  CKZCatalog(const WCHAR* name);  // NOLINT(runtime/explicit)
  // The copy shares the name and the module the other holds.
  CKZCatalog(const CKZCatalog& other);
  // Neither the table nor the module is touched.
  ~CKZCatalog();

  // A new name; the next fetch looks it up in the table again, which costs
  // no LoadLibraryW if the module is open already.
  CKZCatalog& operator=(const WCHAR* name);
  CKZCatalog& operator=(const CKZCatalog& other);

  // Fetches text `msgId` of the module's string table and formats it with
  // the arguments that follow, which must match the text's placeholders (%s
  // takes wide text). The text is always formatted, also without arguments:
  // "%%" gives "%". `out` takes the result only on success.
  //   S_OK           done
  //   E_FAIL         the name is empty, the module can't be opened, or it has
  //                  no text (or an empty one) under msgId
  //   E_INVALIDARG   the formatter rejects the text with these arguments (an
  //                  unknown conversion, an argument text the locale can't
  //                  convert): the text and the arguments don't belong
  //                  together
  //   E_OUTOFMEMORY  memory ran out; the table is as it was
  // Cost, once this object holds its module: no lock, no hash, no lookup;
  // one LoadStringW into a local buffer of 260 units, a second one for a text
  // of 259 units or more, and the formatting.
  HRESULT GetMsg(CKZString& out, ULONG msgId, ...);
  // As GetMsg, with the arguments behind a pointer to the caller's argument
  // list, which is left unread for the caller: each call (and each pass of
  // the formatter) starts again at its first argument, so one list may be
  // given to two catalogs in turn. A null `args` takes the text as it stands,
  // unformatted: "%%" stays "%%" and a placeholder stays in the text, and
  // E_INVALIDARG can't occur. A text of up to 258 units then goes into the
  // block that `out` holds if nothing else shares it and it has room, so a
  // fetch in a loop allocates nothing.
  //   va_list args;
  //   va_start(args, last);
  //   hr = catalog.GetMsgEx(out, id, &args);
  //   if (hr == E_FAIL) hr = fallback.GetMsgEx(out, id, &args);  // allowed
  //   va_end(args);
  HRESULT GetMsgEx(CKZString& out, ULONG msgId, va_list* args);

  // Closes this object's module for the whole process, whatever other
  // objects name it: S_OK when the table had it and FreeLibrary succeeded,
  // E_FAIL when FreeLibrary failed (the entry is gone all the same), S_FALSE
  // when the table has no module under this name's hash. This object, and
  // every other that held the module, reopens it at its next fetch.
  HRESULT Close();
  // Closes every module of the table: S_OK, or S_FALSE when it was empty.
  // FreeLibrary failures are dropped. Every object reopens its module at its
  // next fetch, the library's own default catalog too.
  static HRESULT CloseAll();

 private:
  friend struct CKZCatalogTestAccess;
  // Tells a name that couldn't be copied (a null name from a non-empty
  // text) from a module that has no text: the first is exhausted memory.
  friend class CKZErrorHandling;

  // h = h * 33 + unit over the name lowered as MakeLowerCase does, in 32-bit
  // arithmetic; 0 for a null or empty name. Reads the name's wide form and
  // nothing else: it copies no value, so it touches no reference count.
  std::uint32_t HashCatalogName() const;
  // Makes `moduleHandle` this object's module, gives it through `module`,
  // and makes `pin` hold it against a Close on another thread until the pin
  // is released: S_OK, or E_FAIL (the name is empty, LoadLibraryW failed) or
  // E_OUTOFMEMORY with `pin` empty. Takes no lock, computes no hash and
  // makes no lookup while the object's module is still in the table.
  HRESULT EnsureModule(CKZModulePin& pin, HMODULE* module);
  // Formats `format` with `args` into `out`, with a limit of `size` units,
  // doubled while the text doesn't fit: S_OK, E_INVALIDARG or E_OUTOFMEMORY,
  // with `out` unchanged on failure.
  HRESULT FormatMsg(CKZString& out, ULONG size, const WCHAR* format,
                    va_list* args);

  CKZString name;
  // The module this object last obtained, or null; valid only while
  // `moduleGeneration` equals the table's generation, which every Close and
  // CloseAll advances. 0 means none. Atomic because threads that share this
  // object may both run EnsureModule on it.
  std::atomic<HMODULE> moduleHandle;
  std::atomic<std::uint64_t> moduleGeneration;
};

#endif  // KZCOMMON_KZCATALOG_H_
