// The composite readers on arbitrary text, against a plain model: both
// readers, GetMsg and both views must give what the model works out, never
// read outside the text, and never crash on a text with markers in any
// order, half markers, zero units inside or nothing around them.
//
// Input: the first byte picks the locale ("C" or "C.UTF-8") and whether
// the text is given as wide or (ASCII only) as multibyte text; each further
// byte is one unit, mostly from an alphabet of the markers' characters.
#include <kzcommon/kzcommon.h>

#include <clocale>
#include <cstdint>
#include <string>

#include "fuzz/composite_model.h"

namespace {

// Marker characters often, so that markers and near-markers form.
const char16_t kAlphabet[] = {u'_', u'$',  u'S',      u'E',     u'_', u'$',
                              u'S', u'E',  u'a',      u' ',     u'-', u'1',
                              u'0', u'\0', u'\u65e5', u'\xd800'};
constexpr unsigned kAlphabetSize = sizeof kAlphabet / sizeof kAlphabet[0];

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  if (size == 0) return 0;
  if (std::setlocale(LC_ALL, (data[0] & 1) != 0 ? "C.UTF-8" : "C") == nullptr)
    return 0;
  const bool multibyte = (data[0] & 2) != 0;
  const bool null = (data[0] & 4) != 0 && size == 1;
  model::Text text;
  for (std::size_t i = 1; i < size && text.size() < 4096; ++i) {
    // Bytes from 0xF0 up are units of their own, in the ASCII range.
    text.push_back(data[i] >= 0xF0 ? static_cast<char16_t>(data[i] - 0xB0)
                                   : kAlphabet[data[i] % kAlphabetSize]);
  }
  CKZMsgString m;
  model::Value expected;
  if (null) {
    // A null string: the readers answer S_FALSE with a null string.
  } else if (multibyte) {
    // ASCII without zero units, as multibyte text.
    std::string mbs;
    for (char16_t c : text) {
      if (c != 0 && c < 0x80) mbs.push_back(static_cast<char>(c));
    }
    m = mbs.c_str();
    expected = model::Text(mbs.begin(), mbs.end());
  } else {
    // The counted constructor copies up to the first zero unit and pads
    // the rest with zeros.
    m = CKZString(reinterpret_cast<const WCHAR*>(text.c_str()),
                  static_cast<ULONG>(text.size()));
    const std::size_t zero = text.find(u'\0');
    if (zero != model::Text::npos) {
      for (std::size_t i = zero; i < text.size(); ++i) text[i] = 0;
    }
    expected = text;
  }
  model::CheckReaders(m, expected);
  return 0;
}
