// Platform names of the component conventions.
//
// On Windows the platform's own headers supply every name. Elsewhere this
// header declares the same names with the same sizes and signatures, and the
// kzcommon module implements the functions, so that client code reads the same
// on both systems. WCHAR is a 16-bit unit everywhere: wchar_t on Windows,
// char16_t elsewhere; OLESTR("...") makes a literal of it on both.
#ifndef KZCOMMON_WINTYPES_H_
#define KZCOMMON_WINTYPES_H_

#include <kzcommon/export.h>

#if defined(_WIN32)

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
// The order matters: each header needs the ones before it.
// clang-format off
#include <windows.h>
#include <ole2.h>
#include <oleauto.h>
#include <cguid.h>
// clang-format on

#else  // POSIX

#include <cstddef>
#include <cstdint>

typedef char16_t WCHAR;
typedef WCHAR OLECHAR;
typedef OLECHAR* BSTR;
typedef const WCHAR* LPCWSTR;
typedef WCHAR* LPWSTR;
typedef const OLECHAR* LPCOLESTR;
typedef OLECHAR* LPOLESTR;
typedef std::int32_t HRESULT;
typedef std::int32_t LONG;
typedef std::uint32_t ULONG;
typedef std::uint32_t DWORD;
typedef unsigned int UINT;
typedef int INT;
typedef int BOOL;
typedef std::uint8_t BYTE;
typedef std::uint16_t WORD;
typedef std::uint16_t USHORT;
typedef void* LPVOID;
typedef std::size_t SIZE_T;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

#define OLESTR(str) u##str

// The 16-byte identifier: 4 + 2 + 2 + 8 bytes, as on Windows.
struct GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];
};
typedef GUID IID;
typedef GUID CLSID;
typedef const GUID& REFGUID;
typedef const IID& REFIID;
typedef const CLSID& REFCLSID;
typedef CLSID* LPCLSID;

inline bool operator==(const GUID& a, const GUID& b) {
  const unsigned char* pa = reinterpret_cast<const unsigned char*>(&a);
  const unsigned char* pb = reinterpret_cast<const unsigned char*>(&b);
  for (int i = 0; i < 16; ++i) {
    if (pa[i] != pb[i]) return false;
  }
  return true;
}
inline bool operator!=(const GUID& a, const GUID& b) { return !(a == b); }
inline bool IsEqualGUID(const GUID& a, const GUID& b) { return a == b; }

inline constexpr GUID GUID_NULL = {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};

// A module handle. HMODULE and HINSTANCE are the same type, as on Windows.
struct HINSTANCE__;
typedef HINSTANCE__* HINSTANCE;
typedef HINSTANCE HMODULE;

#define SUCCEEDED(hr) (static_cast<HRESULT>(hr) >= 0)
#define FAILED(hr) (static_cast<HRESULT>(hr) < 0)
#define KZ_HR(x) static_cast<HRESULT>(static_cast<std::uint32_t>(x))

#define S_OK KZ_HR(0x00000000u)
#define S_FALSE KZ_HR(0x00000001u)
#define E_NOTIMPL KZ_HR(0x80004001u)
#define E_NOINTERFACE KZ_HR(0x80004002u)
#define E_POINTER KZ_HR(0x80004003u)
#define E_ABORT KZ_HR(0x80004004u)
#define E_FAIL KZ_HR(0x80004005u)
#define E_UNEXPECTED KZ_HR(0x8000FFFFu)
#define E_ACCESSDENIED KZ_HR(0x80070005u)
#define E_HANDLE KZ_HR(0x80070006u)
#define E_OUTOFMEMORY KZ_HR(0x8007000Eu)
#define E_INVALIDARG KZ_HR(0x80070057u)
#define CO_E_CLASSSTRING KZ_HR(0x800401F3u)
#define DISP_E_UNKNOWNINTERFACE KZ_HR(0x80020001u)
#define DISP_E_MEMBERNOTFOUND KZ_HR(0x80020003u)
#define DISP_E_PARAMNOTFOUND KZ_HR(0x80020004u)
#define DISP_E_TYPEMISMATCH KZ_HR(0x80020005u)
#define DISP_E_UNKNOWNNAME KZ_HR(0x80020006u)
#define DISP_E_BADVARTYPE KZ_HR(0x80020008u)
#define DISP_E_EXCEPTION KZ_HR(0x80020009u)
#define DISP_E_OVERFLOW KZ_HR(0x8002000Au)
#define DISP_E_BADINDEX KZ_HR(0x8002000Bu)
#define DISP_E_ARRAYISLOCKED KZ_HR(0x8002000Du)
#define DISP_E_BADPARAMCOUNT KZ_HR(0x8002000Eu)
#define DISP_E_PARAMNOTOPTIONAL KZ_HR(0x8002000Fu)
#define STG_E_SHAREVIOLATION KZ_HR(0x80030020u)

extern "C" {

// Module loading, as on Windows.
//
// LoadLibraryW opens a module and gives its handle with one more reference
// on it, the same handle for every name of one module; null when it can't
// be found or loaded, and for a null or empty name. A name without a path is
// looked for beside the executable, beside kzcommon, then on the system's
// library path, with the platform's prefix and extension added where the
// name has none: "mycatalog" finds libmycatalog.so.
// FreeLibrary drops one reference (TRUE), or returns FALSE for a handle that
// LoadLibraryW did not give or that is gone; the module is unloaded with its
// last reference, and its handle is invalid from then on.
// LoadStringW copies string `id` of the module's string table (null: the
// main program's) into `buffer`: at most limit - 1 units and a terminator,
// returning the units copied; a longer text is cut, and the count is the
// only sign of it. 0 for a missing or empty string and for a module without
// string tables. With a limit of 0 it stores instead, through `buffer`, a
// read-only pointer to the text inside the module (not terminated) and
// returns its length.
// All three may be called on any thread.
KZCOMMON_API HMODULE LoadLibraryW(LPCWSTR name);
KZCOMMON_API BOOL FreeLibrary(HMODULE module);
KZCOMMON_API int LoadStringW(HINSTANCE module, UINT id, LPWSTR buffer,
                             int limit);

// The COM task allocator: buffers that a client hands to CKZString's
// Attach_OLE or receives from GetBufferCopy. Alloc of 0 bytes gives a valid
// block; null when memory is exhausted. Realloc keeps the contents up to
// the smaller size; on failure it gives null and the old block stays valid;
// a size of 0 frees the block. Free ignores null.
KZCOMMON_API LPVOID CoTaskMemAlloc(SIZE_T size);
KZCOMMON_API LPVOID CoTaskMemRealloc(LPVOID block, SIZE_T size);
KZCOMMON_API void CoTaskMemFree(LPVOID block);

// BSTR: a length-prefixed wide text that the caller frees with
// SysFreeString (null is ignored). SysAllocString copies a text up to its
// terminator (null for a null text); SysAllocStringLen copies `length` units,
// zeros included, and zero-fills them for a null text; both give null when
// memory is exhausted or the length too large. SysReAllocStringLen resizes
// *bstr to `length` units from `text`, which may lie inside *bstr (a null
// text, or *bstr itself, keeps the contents): TRUE, or FALSE with *bstr
// unchanged. SysStringLen is the length from the prefix, zeros inside
// included; 0 for null.
KZCOMMON_API BSTR SysAllocString(const OLECHAR* text);
KZCOMMON_API BSTR SysAllocStringLen(const OLECHAR* text, UINT length);
KZCOMMON_API INT SysReAllocStringLen(BSTR* bstr, const OLECHAR* text,
                                     UINT length);
KZCOMMON_API void SysFreeString(BSTR bstr);
KZCOMMON_API UINT SysStringLen(BSTR bstr);

// GUID text, "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}". StringFromGUID2
// writes it with its terminator and returns 39, or returns 0 and writes
// nothing when `size` is below 39. CLSIDFromString reads it, hex digits in
// either case: S_OK; CO_E_CLASSSTRING for any other text, the empty one
// included (do not read *clsid then); E_INVALIDARG for a null clsid; a null
// text gives GUID_NULL and S_OK.
KZCOMMON_API int StringFromGUID2(REFGUID guid, LPOLESTR buffer, int size);
KZCOMMON_API HRESULT CLSIDFromString(LPCOLESTR text, LPCLSID clsid);

}  // extern "C"

// The per-thread error object: the component interfaces with the methods in
// their Windows order and signatures, so that code calling them reads the
// same on both systems.
inline constexpr GUID IID_IUnknown = {
    0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr GUID IID_IErrorInfo = {
    0x1CF2B120,
    0x547D,
    0x101B,
    {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};
inline constexpr GUID IID_ICreateErrorInfo = {
    0x22F03340,
    0x547D,
    0x101B,
    {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};

// QueryInterface gives another interface of the same object with a reference
// of its own, or stores null and returns E_NOINTERFACE. AddRef and Release
// return the new count, which only tests should read; the last Release
// destroys the object.
struct IUnknown {
  virtual HRESULT QueryInterface(REFIID iid, void** object) = 0;
  virtual ULONG AddRef() = 0;
  virtual ULONG Release() = 0;
};

// Reading an error object. Each text getter hands out a new BSTR that the
// caller frees, or null for a text that was never set (S_OK either way); a
// null out-pointer gives E_INVALIDARG.
struct IErrorInfo : IUnknown {
  virtual HRESULT GetGUID(GUID* guid) = 0;
  virtual HRESULT GetSource(BSTR* source) = 0;
  virtual HRESULT GetDescription(BSTR* description) = 0;
  virtual HRESULT GetHelpFile(BSTR* helpFile) = 0;
  virtual HRESULT GetHelpContext(DWORD* helpContext) = 0;
};

// Filling an error object. The setters copy what they are given; a null text
// clears the field.
struct ICreateErrorInfo : IUnknown {
  virtual HRESULT SetGUID(REFGUID guid) = 0;
  virtual HRESULT SetSource(LPOLESTR source) = 0;
  virtual HRESULT SetDescription(LPOLESTR description) = 0;
  virtual HRESULT SetHelpFile(LPOLESTR helpFile) = 0;
  virtual HRESULT SetHelpContext(DWORD helpContext) = 0;
};

extern "C" {

// CreateErrorInfo makes a new, empty error object and hands out its
// ICreateErrorInfo with one reference. SetErrorInfo(0, info) makes `info`
// (or nothing, for null) the calling thread's error object, with a reference
// of its own. GetErrorInfo(0, &info) hands that reference to the caller and
// leaves the thread without an object; with none it stores null and returns
// S_FALSE. A reserved argument other than 0 or a null out-pointer gives
// E_INVALIDARG and changes nothing. The thread's reference is released when
// the thread ends.
KZCOMMON_API HRESULT CreateErrorInfo(ICreateErrorInfo** info);
KZCOMMON_API HRESULT SetErrorInfo(ULONG reserved, IErrorInfo* info);
KZCOMMON_API HRESULT GetErrorInfo(ULONG reserved, IErrorInfo** info);

}  // extern "C"

#endif  // _WIN32

#endif  // KZCOMMON_WINTYPES_H_
