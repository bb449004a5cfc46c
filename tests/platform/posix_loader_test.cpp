// POSIX only: LoadLibraryW's name forms and unloading; the .res reader on raw
// images in heap blocks of exactly their size (ASan sees any read past them).
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <memory>
#include <stdlib.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "platform/platform.h"
#include "platform/posix/string_table.h"

#include "fixtures/test_catalog.h"
#include "support/alloc_failure.h"
#include "test_support.h"

namespace {

using namespace kztest;

bool CatalogLoaded() { return CatalogModuleLoaded("kz_test_catalog"); }

// File names and paths: case-sensitive, UTF-8 in any locale, '\' as '/',
// PATH_MAX bytes at most (one more finds nothing and must not overrun). Out
// of memory leaves no dlopen reference behind; a second load allocates
// nothing; the last FreeLibrary unloads the module and retires its handle.
TEST(PosixModule, NameFormsAndUnloading) {
  ASSERT_FALSE(CatalogLoaded()) << "another test left the catalog loaded";
  EXPECT_GT(ForEachFailingAllocation([&](unsigned) {
              HMODULE module = LoadLibraryW(TestCatalogName());
              if (InjectedFailureFired()) {
                EXPECT_EQ(nullptr, module);
                EXPECT_EQ(ERROR_NOT_ENOUGH_MEMORY, GetLastError());
              } else {
                ASSERT_NE(nullptr, module);
                EXPECT_TRUE(FreeLibrary(module));
              }
              EXPECT_FALSE(CatalogLoaded());
            }),
            0u);
  HMODULE reference = LoadLibraryW(TestCatalogName());
  ASSERT_NE(nullptr, reference);
  EXPECT_EQ(0u, ForEachFailingAllocation([&](unsigned) {
              HMODULE again = LoadLibraryW(TestCatalogName());
              EXPECT_EQ(reference, again);
              EXPECT_TRUE(again == nullptr || FreeLibrary(again));
            }));
  const std::string dir = TestBinaryDir();
  char folder[] = "/tmp/kzmoduleXXXXXX";
  ASSERT_NE(nullptr, mkdtemp(folder));
  const std::string link = std::string(folder) + "/libkz_t\xC3\xABst.so";
  ASSERT_EQ(0, symlink((dir + "/libkz_test_catalog.so").c_str(), link.c_str()));
  std::string longest = dir + "/";
  const std::string file = "libkz_test_catalog.so";
  while (longest.size() + file.size() + 2 <= PATH_MAX - 1) longest += "./";
  if (longest.size() + file.size() < PATH_MAX - 1) longest += "/";
  longest += file;
  ASSERT_EQ(std::size_t{PATH_MAX - 1}, longest.size());
  auto u = [](const std::string& ascii) {
    return std::u16string(ascii.begin(), ascii.end());
  };
  const struct {
    const char* name;
    std::u16string module;
    bool found;
  } rows[] = {
      {"file name", u"libkz_test_catalog.so", true},
      {"extension without prefix", u"kz_test_catalog.so", false},
      {"capitals", u"KZ_TEST_CATALOG", false},
      {"absolute path, bare", u(dir + "/kz_test_catalog"), true},
      {"absolute path, Windows extension", u(dir + "/kz_test_catalog.dll"),
       true},
      {"absolute path, file name", u(dir + "/libkz_test_catalog.so"), true},
      {"backslash as separator", u(dir + "\\kz_test_catalog"), true},
      {"path to nothing", u(dir + "/nothing/kz_test_catalog"), false},
      {"path ending in a separator", u(dir + "/"), false},
      {"non-ASCII name", u(folder) + u"/kz_t\u00ebst", true},
      {"longest path", u(longest), true},
      {"one byte more", u("/" + longest), false},
      {"bare name too long for any path", u(std::string(PATH_MAX, 'k')), false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    HMODULE module = LoadLibraryW(row.module.c_str());
    EXPECT_EQ(row.found ? reference : nullptr, module);
    EXPECT_TRUE(module == nullptr || FreeLibrary(module));
  }
  EXPECT_TRUE(FreeLibrary(reference));
  EXPECT_FALSE(CatalogLoaded());
  EXPECT_FALSE(FreeLibrary(reference));
  WCHAR buffer[16];
  EXPECT_EQ(0, LoadStringW(reference, kIdFifteen, buffer, 16));
  unlink(link.c_str());
  rmdir(folder);
}

using platform::LangId;
using Bytes = std::vector<unsigned char>;

void Put(Bytes& out, std::uint32_t value, bool dword = false) {
  for (int i = 0; i < (dword ? 4 : 2); ++i) out.push_back(value >> (8 * i));
}

Bytes Block(int index, const std::u16string& text) {
  Bytes out;
  for (int i = 0; i < 16; ++i) {
    Put(out, i == index ? static_cast<std::uint32_t>(text.size()) : 0);
    for (char16_t unit : i == index ? text : u"") Put(out, unit);
  }
  return out;
}

void PutRecord(Bytes& out, std::uint16_t type, std::uint16_t name,
               LangId language, const Bytes& data) {
  Put(out, static_cast<std::uint32_t>(data.size()), true);
  Put(out, 32, true);
  for (std::uint32_t value :
       {0xFFFFu, std::uint32_t(type), 0xFFFFu, std::uint32_t(name), 0u, 0u,
        0x1030u, std::uint32_t(language), 0u, 0u, 0u, 0u}) {
    Put(out, value);
  }
  out.insert(out.end(), data.begin(), data.end());
  while (out.size() % 4 != 0) out.push_back(0);
}

// The empty record that opens a .res file, then "hello" at id 1 in en-US.
Bytes ValidImage() {
  Bytes out;
  PutRecord(out, 0, 0, 0, Bytes());
  PutRecord(out, 6, 1, 0x0409, Block(1, u"hello"));
  return out;
}
// The second record's data size, header size and first count.
constexpr std::size_t kData = 32, kHeader = 36, kCount0 = 64;

Bytes Patched(std::size_t offset, std::uint32_t value, int width = 4) {
  Bytes image = ValidImage();
  for (int i = 0; i < width; ++i) image[offset + i] = value >> (8 * i);
  return image;
}

struct ExactImage {
  explicit ExactImage(const Bytes& image)
      : bytes(new unsigned char[image.size()]), size(image.size()) {
    if (size != 0) std::memcpy(bytes.get(), image.data(), size);
  }
  std::unique_ptr<unsigned char[]> bytes;
  std::size_t size;
};

std::u16string Find(const Bytes& image, UINT id, LangId user = 0x0409) {
  ExactImage exact(image);
  const unsigned char* units = nullptr;
  std::uint32_t length = 0;
  if (!platform::FindResourceString(exact.bytes.get(), exact.size, id, user,
                                    &units, &length)) {
    return u"(refused)";
  }
  std::u16string text;
  for (std::uint32_t i = 0; i < length; ++i) {
    text.push_back(static_cast<char16_t>(units[2 * i] | units[2 * i + 1] << 8));
  }
  return text;
}

// Size fields that lie (refused without arithmetic that wraps), broken
// records, records that are not string blocks, cuts of a valid image, and a
// negative limit to LoadStringFromImage.
TEST(ResImage, ImagesAndWhatTheyGive) {
  Bytes shortBlock;  // 3 of its 16 strings, data size consistent with that
  PutRecord(shortBlock, 6, 1, 0x0409, Bytes{1, 0, 'a', 0, 0, 0, 0, 0});
  Bytes emptyData;
  PutRecord(emptyData, 6, 1, 0x0409, Bytes());
  Bytes unterminated;  // a type name that runs to the end of the header
  Put(unterminated, 0, true);
  Put(unterminated, 32, true);
  for (int i = 0; i < 12; ++i) Put(unterminated, 'A');
  Bytes trailing = ValidImage();  // a partial header behind the last record
  trailing.insert(trailing.end(), {1, 2, 3, 4});
  Bytes named;  // type "STR" (0x53 0x54 0x52), name 1
  for (std::uint32_t value : {0u, 0u, 36u, 0u, 0x53u, 0x54u, 0x52u, 0u, 0xFFFFu,
                              1u, 0u, 0u, 0u, 0u, 0u, 0u, 0u, 0u}) {
    Put(named, value);
  }
  Bytes twice;
  PutRecord(twice, 6, 1, 0x0409, Block(1, u"first"));
  PutRecord(twice, 6, 1, 0x0409, Block(1, u"second"));
  Bytes unpadded;
  PutRecord(unpadded, 6, 1, 0x0409, Block(1, u"x"));
  unpadded.resize(unpadded.size() - 2);  // 16 counts + 1 unit = 34 bytes
  Bytes overrun;  // id 15, the last text, one unit longer than the data
  PutRecord(overrun, 6, 1, 0x0409, Block(15, u"x"));
  overrun[32 + 30] = 2;

  const std::u16string kRefused = u"(refused)";
  struct Row {
    const char* name;
    Bytes image;
    UINT id;
    std::u16string text;
  } rows[] = {
      {"valid", ValidImage(), 1, u"hello"},
      {"valid, same block, no text", ValidImage(), 15, u""},
      {"valid, no block 2", ValidImage(), 16, kRefused},
      {"zero-size record", Patched(4, 0), 1, kRefused},
      {"header smaller than its sizes", Patched(kHeader, 4), 1, kRefused},
      {"header too small for its tail", Patched(kHeader, 24), 1, kRefused},
      {"header size not DWORD-aligned", Patched(kHeader, 30), 1, kRefused},
      {"header size past the end", Patched(kHeader, 0x1000), 1, kRefused},
      {"header size overflows", Patched(kHeader, 0xFFFFFFFF), 1, kRefused},
      {"data size past the end", Patched(kData, 0x1000), 1, kRefused},
      {"data size overflows", Patched(kData, 0xFFFFFFFF), 1, kRefused},
      {"header + data wraps", Patched(kData, 0xFFFFFFF0), 1, kRefused},
      {"count past the block", Patched(kCount0 + 2, 0x7FFF, 2), 1, kRefused},
      {"first count past the block", Patched(kCount0, 0xFFFF, 2), 1, kRefused},
      {"short block, id inside", shortBlock, 0, u"a"},
      {"short block, id past its end", shortBlock, 10, kRefused},
      {"string block without data", emptyData, 1, kRefused},
      {"unterminated name", unterminated, 1, kRefused},
      {"trailing bytes", trailing, 1, kRefused},
      {"empty image", Bytes(), 1, kRefused},
      {"type given as a name", named, 1, kRefused},
      {"two equal records", twice, 1, u"first"},
      {"last record unpadded", unpadded, 1, u"x"},
      {"last text one unit past the data", overrun, 15, kRefused},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.text, Find(row.image, row.id)) << row.name;
  }
  const unsigned char* units = nullptr;
  std::uint32_t length = 0;
  EXPECT_FALSE(
      platform::FindResourceString(nullptr, 64, 1, 0x0409, &units, &length));
  const Bytes image = ValidImage();
  for (std::size_t cut = 0; cut < kCount0 + 2 * 16 + 10; ++cut) {
    EXPECT_EQ(kRefused, Find(Bytes(image.begin(), image.begin() + cut), 1))
        << "cut at " << cut;
  }
  const ExactImage valid(image);
  WCHAR buffer[8] = {0x7777};
  EXPECT_EQ(0, platform::LoadStringFromImage(valid.bytes.get(), valid.size, 1,
                                             0x0409, buffer, -1));
  EXPECT_EQ(0x7777, buffer[0]) << "a negative limit writes nothing";
}

// Neutral, the user's, its primary language, en-US, then the lowest id,
// whatever the order in the file. The user's language from the locale name:
// code set, modifier and case ignored; unknown names and "C" give 0.
TEST(ResImage, LanguageOrderAndLocaleNames) {
  Bytes image;
  const struct {
    std::uint16_t block;
    LangId language;
    const char16_t* text;
  } records[] = {{1, 0x0409, u"en-US"}, {1, 0x0407, u"de-DE"},
                 {2, 0x040C, u"fr-FR"}, {2, 0x0407, u"de-DE"},
                 {3, 0x0409, u"en-US"}, {3, 0x0000, u"neutral"},
                 {4, 0x0409, u"en-US"}, {4, 0x0007, u"de"}};
  for (const auto& r : records) {
    PutRecord(image, 6, r.block, r.language, Block(0, r.text));
  }
  const struct {
    LangId user;
    UINT id;
    const char16_t* text;
  } rows[] = {
      {0x0407, 0, u"de-DE"},    {0x0409, 0, u"en-US"},
      {0x0C07, 0, u"en-US"},    {0x0411, 16, u"de-DE"},
      {0x040C, 16, u"fr-FR"},   {0x0C0C, 16, u"de-DE"},
      {0x0409, 32, u"neutral"}, {0x0407, 32, u"neutral"},
      {0x0C07, 48, u"de"},      {0x0409, 48, u"en-US"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(std::u16string(row.text), Find(image, row.id, row.user))
        << std::hex << row.user << " id " << std::dec << row.id;
  }
  const struct {
    const char* name;
    LangId id;
  } names[] = {{"de_DE.UTF-8", 0x0407}, {"de", 0x0407},
               {"DE_de", 0x0407},       {"de-AT", 0x0C07},
               {"de_DE@euro", 0x0407},  {"fr_CA.ISO-8859-1", 0x0C0C},
               {"en_GB.UTF-8", 0x0809}, {"pt_BR", 0x0416},
               {"zh_TW.Big5", 0x0404}};
  for (const auto& row : names) {
    EXPECT_EQ(row.id, platform::LanguageFromLocaleName(row.name)) << row.name;
  }
  for (const char* name : {"C", "C.UTF-8", "POSIX", "", "de_JP", "xx_YY",
                           "de_DE_x", "deutsch", "de_"}) {
    EXPECT_EQ(0, platform::LanguageFromLocaleName(name)) << name;
  }
  EXPECT_EQ(0, platform::LanguageFromLocaleName(nullptr));
}

}  // namespace
