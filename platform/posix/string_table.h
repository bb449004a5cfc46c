// String tables in a compiled resource image (.res), on POSIX.
//
// A catalog module carries the .res image that its .rc files compile to (see
// module.cpp for how it is embedded and found). The image is a sequence of
// records, each a header and DWORD-aligned data:
//
//   DWORD DataSize, DWORD HeaderSize,
//   type and name: 0xFFFF + 16-bit ordinal, or a zero-terminated UTF-16 name,
//   padding to a DWORD, DWORD DataVersion, WORD MemoryFlags, WORD Language,
//   DWORD Version, DWORD Characteristics, then DataSize bytes of data.
//
// String tables are type 6 (RT_STRING): block n (the name, from 1) holds ids
// (n - 1) * 16 to n * 16 - 1 as 16 records of a 16-bit count and that many
// UTF-16 units. All values are little-endian.
//
// Library code goes through LoadStringW; the tests and the fuzzer call these
// functions directly, through the static copy of the library they link.
#ifndef KZCOMMON_PLATFORM_POSIX_STRING_TABLE_H_
#define KZCOMMON_PLATFORM_POSIX_STRING_TABLE_H_

#include <cstddef>
#include <cstdint>

#include "platform/platform.h"

namespace platform {

// A language id as Windows has it: primary language in the low 10 bits,
// sublanguage above them. 0 is the neutral language.
typedef std::uint16_t LangId;

constexpr LangId kLangNeutral = 0x0000;
constexpr LangId kLangEnglishUs = 0x0409;

// The string `id` of the image's string table in the language that Windows
// would choose for a user whose default language is `userLanguage`: neutral,
// then `userLanguage`, then its primary language with the neutral
// sublanguage, then English (United States), then the block with the lowest
// language id.
//
// Only the low 16 bits of `id` count, as on Windows. Returns true when the
// block that holds `id` exists; then `*units` points at the string's first
// unit inside the image (little-endian, unaligned) and `*length` is its count,
// 0 for an id of the block without text. Returns false for a missing block,
// and for an image that is malformed anywhere: no record is read past `size`.
// Cost: linear in the number of records.
bool FindResourceString(const void* image, std::size_t size, UINT id,
                        LangId userLanguage, const unsigned char** units,
                        std::uint32_t* length);

// LoadStringW on an image: the contract of LoadStringW in string_table.cpp,
// with the user's language given.
int LoadStringFromImage(const void* image, std::size_t size, UINT id,
                        LangId userLanguage, LPWSTR buffer, int limit);

// The language id of a POSIX locale name, "language[_territory][.codeset]
// [@modifier]" (also "language-territory"), case-insensitive; 0 for "C",
// "POSIX", an empty name and a language or territory that is not known.
LangId LanguageFromLocaleName(const char* name);

// The user's default language: the locale name that setlocale(LC_MESSAGES,
// "") would take (LC_ALL, else LC_MESSAGES, else LANG; the locale need not be
// installed), read once per process. English (United States) when that name
// gives 0, as Windows does for the "C" locale.
LangId UserDefaultLanguage();

}  // namespace platform

#endif  // KZCOMMON_PLATFORM_POSIX_STRING_TABLE_H_
