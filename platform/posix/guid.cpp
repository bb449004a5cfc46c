// GUID text: "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}", upper-case hex, as
// StringFromGUID2 writes it on Windows.
#include <cstdint>
#include <cstring>

#include "platform/platform.h"

namespace {

constexpr int kGuidTextLength = 38;

void PutHex(OLECHAR*& out, std::uint32_t value, int digits) {
  static const char kDigits[] = "0123456789ABCDEF";
  for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4) {
    *out++ = static_cast<OLECHAR>(kDigits[(value >> shift) & 0xF]);
  }
}

// Reads `digits` hex digits; false on anything else.
bool GetHex(const OLECHAR*& in, int digits, std::uint32_t& value) {
  value = 0;
  for (int i = 0; i < digits; ++i) {
    OLECHAR c = *in++;
    std::uint32_t d;
    if (c >= '0' && c <= '9') {
      d = c - '0';
    } else if (c >= 'a' && c <= 'f') {
      d = c - 'a' + 10;
    } else if (c >= 'A' && c <= 'F') {
      d = c - 'A' + 10;
    } else {
      return false;
    }
    value = value << 4 | d;
  }
  return true;
}

}  // namespace

// StringFromGUID2
//
// PARAMS   guid [I] the GUID; buffer [O] receives the text; size [I] room in
//          16-bit units
// RETURNS  39 (the text and its terminator) on success; 0 if size < 39, and
//          then nothing is written; 0 for a null buffer, which the library
//          never passes (the Windows build returns 39 there under Wine)
int StringFromGUID2(REFGUID guid, LPOLESTR buffer, int size) {
  if (buffer == nullptr || size < kGuidTextLength + 1) return 0;
  OLECHAR* out = buffer;
  *out++ = '{';
  PutHex(out, guid.Data1, 8);
  *out++ = '-';
  PutHex(out, guid.Data2, 4);
  *out++ = '-';
  PutHex(out, guid.Data3, 4);
  *out++ = '-';
  PutHex(out, guid.Data4[0], 2);
  PutHex(out, guid.Data4[1], 2);
  *out++ = '-';
  for (int i = 2; i < 8; ++i) PutHex(out, guid.Data4[i], 2);
  *out++ = '}';
  *out = 0;
  return kGuidTextLength + 1;
}

// CLSIDFromString
//
// PARAMS   text [I] "{...}" as StringFromGUID2 writes it, hex in either
//          case; clsid [O] the GUID
// RETURNS  S_OK; E_INVALIDARG for a null clsid; CO_E_CLASSSTRING for any
//          other text, the empty text included
// NOTES    As on Windows, a null text gives GUID_NULL and S_OK. On failure
//          *clsid is GUID_NULL here; Windows may leave a partial parse in it,
//          so callers must not read it. Windows would also look a ProgID up
//          in the registry; there is no registry here, so such a text fails
//          like any other. tests/platform/com_test.cpp.
HRESULT CLSIDFromString(LPCOLESTR text, LPCLSID clsid) {
  if (clsid == nullptr) return E_INVALIDARG;
  std::memset(clsid, 0, sizeof(GUID));
  if (text == nullptr) return S_OK;
  std::size_t length = 0;
  while (text[length] != 0 && length <= kGuidTextLength) ++length;
  if (length != kGuidTextLength) return CO_E_CLASSSTRING;
  const OLECHAR* in = text;
  GUID g;
  std::uint32_t v;
  bool ok = *in++ == '{' && GetHex(in, 8, g.Data1) && *in++ == '-' &&
            GetHex(in, 4, v) &&
            (g.Data2 = static_cast<std::uint16_t>(v), true) && *in++ == '-' &&
            GetHex(in, 4, v) &&
            (g.Data3 = static_cast<std::uint16_t>(v), true) && *in++ == '-';
  for (int i = 0; ok && i < 8; ++i) {
    if (i == 2) ok = *in++ == '-';
    ok = ok && GetHex(in, 2, v);
    g.Data4[i] = static_cast<std::uint8_t>(v);
  }
  ok = ok && *in++ == '}';
  if (!ok) return CO_E_CLASSSTRING;
  *clsid = g;
  return S_OK;
}
