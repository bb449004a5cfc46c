// String tables of catalog modules: the RT_STRING blocks of the .res image
// that module.cpp finds in a loaded module.
#include "platform/posix/string_table.h"

#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "platform/posix/module.h"

namespace platform {
namespace {

constexpr std::uint16_t kTypeString = 6;
constexpr std::uint16_t kOrdinalMark = 0xFFFF;
constexpr std::size_t kFixedHeader = 8;  // DataSize, HeaderSize
constexpr std::size_t kHeaderTail = 16;  // DataVersion .. Characteristics
constexpr std::size_t kStringsPerBlock = 16;

// The image may lie at any address and the host may be of any byte order:
// read byte by byte.
std::uint16_t Word(const unsigned char* p) {
  return static_cast<std::uint16_t>(p[0] | p[1] << 8);
}
std::uint32_t Dword(const unsigned char* p) {
  return static_cast<std::uint32_t>(p[0]) |
         static_cast<std::uint32_t>(p[1]) << 8 |
         static_cast<std::uint32_t>(p[2]) << 16 |
         static_cast<std::uint32_t>(p[3]) << 24;
}

struct Record {
  bool typeIsOrdinal;
  std::uint16_t type;
  bool nameIsOrdinal;
  std::uint16_t name;
  LangId language;
  const unsigned char* data;
  std::uint32_t dataSize;
};

// A type or name field at `pos`, which may not reach `end`: an ordinal
// (0xFFFF and the number) or a zero-terminated name.
bool ReadNameOrOrdinal(const unsigned char* image, std::size_t& pos,
                       std::size_t end, bool* isOrdinal,
                       std::uint16_t* ordinal) {
  if (end - pos < 2) return false;
  if (Word(image + pos) == kOrdinalMark) {
    if (end - pos < 4) return false;
    *isOrdinal = true;
    *ordinal = Word(image + pos + 2);
    pos += 4;
    return true;
  }
  *isOrdinal = false;
  *ordinal = 0;
  for (;;) {
    if (end - pos < 2) return false;  // the name runs out of the header
    std::uint16_t unit = Word(image + pos);
    pos += 2;
    if (unit == 0) return true;
  }
}

// Calls visit(record) for every record; false as soon as one is malformed.
// Each size is checked against what is left of the image before it is used,
// and every record moves `offset` forward by at least its fixed header, so
// neither a bogus size nor a zero-size record can take the walk outside the
// image or hold it in place.
template <typename Visit>
bool ForEachRecord(const unsigned char* image, std::size_t size,
                   Visit&& visit) {
  std::size_t offset = 0;
  while (offset < size) {
    std::size_t left = size - offset;
    if (left < kFixedHeader) return false;
    std::uint32_t dataSize = Dword(image + offset);
    std::uint32_t headerSize = Dword(image + offset + 4);
    if (headerSize < kFixedHeader || headerSize % 4 != 0 || headerSize > left ||
        dataSize > left - headerSize) {
      return false;
    }
    std::size_t headerEnd = offset + headerSize;
    std::size_t pos = offset + kFixedHeader;
    Record record;
    if (!ReadNameOrOrdinal(image, pos, headerEnd, &record.typeIsOrdinal,
                           &record.type) ||
        !ReadNameOrOrdinal(image, pos, headerEnd, &record.nameIsOrdinal,
                           &record.name)) {
      return false;
    }
    pos += (4 - pos % 4) % 4;
    if (pos > headerEnd || headerEnd - pos < kHeaderTail) return false;
    record.language = Word(image + pos + 6);
    record.data = image + headerEnd;
    record.dataSize = dataSize;
    visit(record);
    // Data is padded to a DWORD; a last record without its padding is
    // accepted, as nothing follows it.
    std::size_t next = headerEnd + dataSize;
    std::size_t padding = (4 - next % 4) % 4;
    offset = padding > size - next ? size : next + padding;
  }
  return true;
}

constexpr LangId PrimaryLanguage(LangId language) { return language & 0x3FF; }

}  // namespace

bool FindResourceString(const void* image, std::size_t size, UINT id,
                        LangId userLanguage, const unsigned char** units,
                        std::uint32_t* length) {
  if (image == nullptr || units == nullptr || length == nullptr) return false;
  id &= 0xFFFF;  // Windows looks at the low word only
  const std::uint16_t block = static_cast<std::uint16_t>(id / 16 + 1);
  const std::size_t index = id % kStringsPerBlock;

  // Windows' order for a neutral request; a language that no list entry
  // names ranks behind all of them, the lowest id first.
  const LangId preferred[] = {kLangNeutral, userLanguage,
                              PrimaryLanguage(userLanguage), kLangEnglishUs};
  const std::size_t kPreferred = sizeof preferred / sizeof preferred[0];
  auto rank = [&](LangId language) -> std::uint32_t {
    for (std::size_t i = 0; i < kPreferred; ++i) {
      if (preferred[i] == language) return static_cast<std::uint32_t>(i);
    }
    return kPreferred + language;
  };

  const unsigned char* data = nullptr;
  std::uint32_t dataSize = 0;
  std::uint32_t bestRank = UINT32_MAX;
  bool wellFormed = ForEachRecord(
      static_cast<const unsigned char*>(image), size,
      [&](const Record& record) {
        if (!record.typeIsOrdinal || record.type != kTypeString ||
            !record.nameIsOrdinal || record.name != block) {
          return;
        }
        std::uint32_t r = rank(record.language);
        if (r < bestRank) {  // the first of two equal records stands
          bestRank = r;
          data = record.data;
          dataSize = record.dataSize;
        }
      });
  if (!wellFormed || data == nullptr) return false;

  // Walk the counted strings up to `index`; each count is checked against
  // the block's end before it is used.
  std::size_t pos = 0;
  for (std::size_t i = 0;; ++i) {
    if (dataSize - pos < 2) return false;
    std::uint32_t count = Word(data + pos);
    pos += 2;
    if (count * 2u > dataSize - pos) return false;
    if (i == index) {
      *units = data + pos;
      *length = count;
      return true;
    }
    pos += count * 2u;
  }
}

int LoadStringFromImage(const void* image, std::size_t size, UINT id,
                        LangId userLanguage, LPWSTR buffer, int limit) {
  if (buffer == nullptr || limit < 0) return 0;
  const unsigned char* units = nullptr;
  std::uint32_t length = 0;
  if (!FindResourceString(image, size, id, userLanguage, &units, &length)) {
    return 0;  // no block: the buffer stays as it was, as on Windows
  }
  if (limit == 0) {
    // The caller gave the address of a pointer: it gets the text in place,
    // not terminated. memcpy, because `buffer` is typed as text.
    const WCHAR* text = reinterpret_cast<const WCHAR*>(units);
    std::memcpy(static_cast<void*>(buffer), &text, sizeof text);
    return static_cast<int>(length);
  }
  std::uint32_t room = static_cast<std::uint32_t>(limit) - 1;
  std::uint32_t copied = length < room ? length : room;
  if (copied == 0) {
    // With a limit of 1 Windows writes nothing at all, not even the
    // terminator.
    if (limit > 1) buffer[0] = 0;
    return 0;
  }
  for (std::uint32_t i = 0; i < copied; ++i) {
    buffer[i] = static_cast<WCHAR>(Word(units + 2 * i));
  }
  buffer[copied] = 0;
  return static_cast<int>(copied);
}

namespace {

struct LocaleLanguage {
  char language[4];
  char territory[3];  // "" for the language alone
  LangId id;
};

// The locales that Windows has a language id for, by ISO 639 language and
// ISO 3166 territory. A language alone takes the id that Windows gives it.
const LocaleLanguage kLocaleLanguages[] = {
    {"af", "", 0x0436},   {"af", "za", 0x0436}, {"ar", "", 0x0401},
    {"ar", "sa", 0x0401}, {"ar", "iq", 0x0801}, {"ar", "eg", 0x0C01},
    {"ar", "ma", 0x1801}, {"ar", "ae", 0x3801}, {"be", "", 0x0423},
    {"be", "by", 0x0423}, {"bg", "", 0x0402},   {"bg", "bg", 0x0402},
    {"bn", "", 0x0445},   {"bn", "in", 0x0445}, {"ca", "", 0x0403},
    {"ca", "es", 0x0403}, {"cs", "", 0x0405},   {"cs", "cz", 0x0405},
    {"da", "", 0x0406},   {"da", "dk", 0x0406}, {"de", "", 0x0407},
    {"de", "de", 0x0407}, {"de", "ch", 0x0807}, {"de", "at", 0x0C07},
    {"de", "lu", 0x1007}, {"de", "li", 0x1407}, {"el", "", 0x0408},
    {"el", "gr", 0x0408}, {"en", "", 0x0409},   {"en", "us", 0x0409},
    {"en", "gb", 0x0809}, {"en", "au", 0x0C09}, {"en", "ca", 0x1009},
    {"en", "nz", 0x1409}, {"en", "ie", 0x1809}, {"en", "za", 0x1C09},
    {"en", "in", 0x4009}, {"en", "sg", 0x4809}, {"es", "", 0x0C0A},
    {"es", "es", 0x0C0A}, {"es", "mx", 0x080A}, {"es", "ar", 0x2C0A},
    {"es", "co", 0x240A}, {"es", "cl", 0x340A}, {"es", "us", 0x540A},
    {"et", "", 0x0425},   {"et", "ee", 0x0425}, {"eu", "", 0x042D},
    {"eu", "es", 0x042D}, {"fa", "", 0x0429},   {"fa", "ir", 0x0429},
    {"fi", "", 0x040B},   {"fi", "fi", 0x040B}, {"fr", "", 0x040C},
    {"fr", "fr", 0x040C}, {"fr", "be", 0x080C}, {"fr", "ca", 0x0C0C},
    {"fr", "ch", 0x100C}, {"fr", "lu", 0x140C}, {"ga", "", 0x083C},
    {"ga", "ie", 0x083C}, {"gl", "", 0x0456},   {"gl", "es", 0x0456},
    {"he", "", 0x040D},   {"he", "il", 0x040D}, {"hi", "", 0x0439},
    {"hi", "in", 0x0439}, {"hr", "", 0x041A},   {"hr", "hr", 0x041A},
    {"hu", "", 0x040E},   {"hu", "hu", 0x040E}, {"hy", "", 0x042B},
    {"hy", "am", 0x042B}, {"id", "", 0x0421},   {"id", "id", 0x0421},
    {"is", "", 0x040F},   {"is", "is", 0x040F}, {"it", "", 0x0410},
    {"it", "it", 0x0410}, {"it", "ch", 0x0810}, {"ja", "", 0x0411},
    {"ja", "jp", 0x0411}, {"ka", "", 0x0437},   {"ka", "ge", 0x0437},
    {"kk", "", 0x043F},   {"kk", "kz", 0x043F}, {"ko", "", 0x0412},
    {"ko", "kr", 0x0412}, {"lt", "", 0x0427},   {"lt", "lt", 0x0427},
    {"lv", "", 0x0426},   {"lv", "lv", 0x0426}, {"mk", "", 0x042F},
    {"mk", "mk", 0x042F}, {"ms", "", 0x043E},   {"ms", "my", 0x043E},
    {"nb", "", 0x0414},   {"nb", "no", 0x0414}, {"nl", "", 0x0413},
    {"nl", "nl", 0x0413}, {"nl", "be", 0x0813}, {"nn", "", 0x0814},
    {"nn", "no", 0x0814}, {"pl", "", 0x0415},   {"pl", "pl", 0x0415},
    {"pt", "", 0x0416},   {"pt", "br", 0x0416}, {"pt", "pt", 0x0816},
    {"ro", "", 0x0418},   {"ro", "ro", 0x0418}, {"ru", "", 0x0419},
    {"ru", "ru", 0x0419}, {"sk", "", 0x041B},   {"sk", "sk", 0x041B},
    {"sl", "", 0x0424},   {"sl", "si", 0x0424}, {"sq", "", 0x041C},
    {"sq", "al", 0x041C}, {"sv", "", 0x041D},   {"sv", "se", 0x041D},
    {"sv", "fi", 0x081D}, {"sw", "", 0x0441},   {"sw", "ke", 0x0441},
    {"ta", "", 0x0449},   {"ta", "in", 0x0449}, {"th", "", 0x041E},
    {"th", "th", 0x041E}, {"tr", "", 0x041F},   {"tr", "tr", 0x041F},
    {"uk", "", 0x0422},   {"uk", "ua", 0x0422}, {"ur", "", 0x0420},
    {"ur", "pk", 0x0420}, {"vi", "", 0x042A},   {"vi", "vn", 0x042A},
    {"zh", "", 0x0804},   {"zh", "cn", 0x0804}, {"zh", "tw", 0x0404},
    {"zh", "hk", 0x0C04}, {"zh", "sg", 0x1004}, {"zh", "mo", 0x1404},
};

char AsciiLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// Copies the letters at `p` (at most `room` - 1 of them) in lower case;
// false if there are more, or none.
bool TakeLetters(const char*& p, char* out, std::size_t room) {
  std::size_t n = 0;
  for (; (*p >= 'a' && *p <= 'z') || (*p >= 'A' && *p <= 'Z'); ++p) {
    if (n + 1 >= room) return false;
    out[n++] = AsciiLower(*p);
  }
  out[n] = 0;
  return n > 0;
}

}  // namespace

LangId LanguageFromLocaleName(const char* name) {
  if (name == nullptr) return 0;
  char language[4];
  char territory[3] = "";
  const char* p = name;
  if (!TakeLetters(p, language, sizeof language)) return 0;
  if (*p == '_' || *p == '-') {
    ++p;
    if (!TakeLetters(p, territory, sizeof territory)) return 0;
  }
  // Code set and modifier do not change the language.
  if (*p != 0 && *p != '.' && *p != '@') return 0;
  for (const LocaleLanguage& entry : kLocaleLanguages) {
    if (std::strcmp(entry.language, language) == 0 &&
        std::strcmp(entry.territory, territory) == 0) {
      return entry.id;
    }
  }
  return 0;
}

LangId UserDefaultLanguage() {
  // Read once, as Windows fixes the user's language for the process.
  static const LangId language = [] {
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
      const char* value = std::getenv(variable);
      if (value != nullptr && *value != 0) {
        LangId id = LanguageFromLocaleName(value);
        return id != 0 ? id : kLangEnglishUs;
      }
    }
    return kLangEnglishUs;
  }();
  return language;
}

}  // namespace platform

// LoadStringW
//
// PARAMS   module [I] a handle from LoadLibraryW, or null for the main
//          program; id [I] string id (low 16 bits); buffer [O] receives the
//          text, or with limit 0 the address of the text in the module;
//          limit [I] room in 16-bit units
// RETURNS  the units copied, without the terminator: at most limit - 1, and
//          a terminator behind them. 0 for a missing string, an empty one, a
//          module without string tables, a bogus handle and a malformed
//          table. With limit 0, the string's length, and a read-only pointer
//          to its units (not terminated) is stored through buffer.
// NOTES    As Windows (Wine): with a missing block, or limit 1, nothing is
//          written; with an id missing from an existing block the buffer gets
//          a terminator. A negative limit gives 0 here, where Wine answers
//          limit - 1. The language is chosen as in FindResourceString, for
//          UserDefaultLanguage(). tests/platform/string_table_test.cpp runs
//          the same table on both builds.
int LoadStringW(HINSTANCE module, UINT id, LPWSTR buffer, int limit) {
  const unsigned char* image = nullptr;
  std::size_t size = 0;
  if (buffer == nullptr ||
      !platform::ModuleResourceImage(module, &image, &size)) {
    return 0;
  }
  return platform::LoadStringFromImage(
      image, size, id, platform::UserDefaultLanguage(), buffer, limit);
}
