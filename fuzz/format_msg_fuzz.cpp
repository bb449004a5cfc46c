// FormatMsg on arbitrary prefixes, types, message texts, origins and codes,
// against a plain model of the format: the composite, the error number and
// both readings must be what the model works out, and a second FormatMsg on
// the same object (and on a view) must replace all of it.
//
// Input: the first byte picks the locale ("C" or "C.UTF-8"); then the
// type, the text and the two fields, each from bytes of the input.
#include <kzcommon/kzcommon.h>

#include <clocale>
#include <cstdint>
#include <cstdio>
#include <string>

#include "fuzz/composite_model.h"

namespace {

using model::Check;
using model::Text;
using model::Value;

class Input : public kzfuzz::ByteReader {
 public:
  using ByteReader::ByteReader;
  // Up to 15 units of the alphabet, or a null text.
  Value Units(const char16_t* alphabet, unsigned count, bool mayBeNull) {
    const unsigned n = Byte();
    if (mayBeNull && n == 0xFF) return std::nullopt;
    Text t;
    for (unsigned i = 0; i < n % 16; ++i) t.push_back(alphabet[Byte() % count]);
    return t;
  }
};

// What may stand before the '$': white space, signs, ASCII and full-width
// digits, and units that end a number.
const char16_t kPrefix[] = u" \t+-0123456789\u3000\uff10\uff19x.";
// Message texts and origins: marker characters among others.
const char16_t kMessage[] = u"_$SE_a -7\u65e5";
// Codes: ASCII of both cases, a digit, a separator, and U+00E9, which only
// a locale other than "C" upper-cases.
const char16_t kCode[] = u"abZ1-\u00e9";

bool IsSpace(char16_t c) {
  return c == u' ' || (c >= u'\t' && c <= u'\r') || c == u'\u3000';
}
int Digit(char16_t c) {
  if (c >= u'0' && c <= u'9') return c - u'0';
  if (c >= u'\uff10' && c <= u'\uff19') return c - u'\uff10';
  return -1;
}

// The prefix as a 32-bit long, read as the Windows run-time reads it.
long Number(const Text& prefix) {
  std::size_t i = 0;
  while (i < prefix.size() && IsSpace(prefix[i])) ++i;
  bool negative = false;
  if (i < prefix.size() && (prefix[i] == u'-' || prefix[i] == u'+')) {
    negative = prefix[i++] == u'-';
  }
  long long value = 0;
  for (; i < prefix.size() && Digit(prefix[i]) >= 0; ++i) {
    value = value * 10 + Digit(prefix[i]);
    if (value > 0x100000000LL) value = 0x100000000LL;
  }
  if (negative) value = -value;
  if (value > 2147483647LL) return 2147483647L;
  if (value < -2147483648LL) return -2147483647L - 1;
  return static_cast<long>(value);
}

Text Widen(const std::string& s) { return Text(s.begin(), s.end()); }

char16_t Upper(char16_t c, bool cLocale) {
  if (c >= u'a' && c <= u'z') return static_cast<char16_t>(c - 32);
  if (!cLocale && c == u'\u00e9') return u'\u00c9';
  return c;
}

const WCHAR* W(const Value& v) {
  return v ? reinterpret_cast<const WCHAR*>(v->c_str()) : nullptr;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  if (size == 0) return 0;
  const bool cLocale = (data[0] & 1) == 0;
  if (std::setlocale(LC_ALL, cLocale ? "C" : "C.UTF-8") == nullptr) return 0;
  Input in(data + 1, size - 1);

  static const ULONG kTypes[] = {0, 1, 2, 3, 4, 8, 16, 32};
  ULONG type = kTypes[in.Byte() % 8];
  if (type == 32) {
    type = in.Byte() << 24 | in.Byte() << 16 | in.Byte() << 8 | in.Byte();
  }
  const Value prefix = in.Units(kPrefix, sizeof kPrefix / 2 - 1, true);
  const Value message = in.Units(kMessage, sizeof kMessage / 2 - 1, false);
  const Value origin = in.Units(kMessage, sizeof kMessage / 2 - 1, true);
  const Value code = in.Units(kCode, sizeof kCode / 2 - 1, true);

  // Without a prefix the text is the message alone, which may still hold
  // a '$'. Only the first '$' counts; the prefix alphabet has none, so with
  // a prefix it is the one placed behind it.
  const Text text = prefix ? *prefix + u"$" + *message : *message;
  const std::size_t dollar = text.find(u'$');
  const Text finalMessage =
      dollar == Text::npos ? text : text.substr(dollar + 1);
  const long finalNumber =
      dollar == Text::npos ? 0 : Number(text.substr(0, dollar));

  char digits[32];
  std::snprintf(digits, sizeof digits, "%03ld", finalNumber);
  static const char16_t kDigits[] = u"12?3???4???????5";
  const char16_t digit = type >= 1 && type <= 16 ? kDigits[type - 1] : u'?';
  Text section = Text(1, digit) + Widen(digits);
  if (origin && !origin->empty()) {
    if (code && !code->empty()) {
      Text upper;
      for (std::size_t i = 0; i < code->size() && i < 4; ++i) {
        upper.push_back(Upper((*code)[i], cLocale));
      }
      section += u"-" + upper;
    }
    section += u"-" + *origin;
  }
  const Text composite = finalMessage + u"_$S_" + section + u"_$E_";
  const ULONG errorNum = type * 1000u + static_cast<ULONG>(finalNumber);

  CKZMsgString m;
  Check(m.FormatMsg(type, W(text), W(origin), W(code)) == S_OK);
  model::Verify(m, composite);
  Check(m.GetErrorNum() == errorNum);
  model::CheckReaders(m, composite);

  // A second FormatMsg replaces everything, and a failed one nothing.
  Check(m.FormatMsg(1, OLESTR("9$again")) == S_OK);
  model::Verify(m, Text(u"again_$S_1009_$E_"));
  Check(m.FormatMsg(type, nullptr, W(origin), W(code)) == E_POINTER);
  Check(m.GetErrorNum() == 1009);

  // The views drop what they held and read the new composite.
  CKZDetailMsgString detail;
  Check(detail.FormatMsg(1, OLESTR("9$again")) == S_OK);
  static_cast<void>(static_cast<const WCHAR*>(detail));
  Check(detail.FormatMsg(type, W(text), W(origin), W(code)) == S_OK);
  model::VerifyView(detail, model::Read(composite).detail);
  return 0;
}
