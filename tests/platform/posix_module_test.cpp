// LoadLibraryW on POSIX: the names that only this platform has (prefix,
// ".so", paths), unloading, and the library's own module.
#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <dlfcn.h>
#include <link.h>
#include <stdlib.h>
#include <string>
#include <unistd.h>

#include "platform/platform.h"

#include "fixtures/test_catalog.h"
#include "support/alloc_failure.h"
#include "test_support.h"

namespace {

using namespace kztest;

std::string ExecutableDirectory() {
  char path[4096];
  ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
  if (n <= 0) return std::string();
  std::string text(path, static_cast<std::size_t>(n));
  return text.substr(0, text.rfind('/'));
}

// UTF-8 to UTF-16 for the test's own names (ASCII and two-byte sequences).
std::u16string Utf16(const std::string& text) {
  std::u16string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned char c = static_cast<unsigned char>(text[i]);
    if (c >= 0xC0 && i + 1 < text.size()) {
      out.push_back(
          static_cast<char16_t>((c & 0x1F) << 6 | (text[++i] & 0x3F)));
    } else {
      out.push_back(c);
    }
  }
  return out;
}

int CountLoaded(const char* fragment) {
  struct Count {
    const char* fragment;
    int n;
  } count{fragment, 0};
  dl_iterate_phdr(
      [](dl_phdr_info* info, std::size_t, void* data) -> int {
        Count* c = static_cast<Count*>(data);
        if (info->dlpi_name != nullptr &&
            std::string(info->dlpi_name).find(c->fragment) !=
                std::string::npos) {
          ++c->n;
        }
        return 0;
      },
      &count);
  return count.n;
}

// Names with the platform's own form, and paths. A name with an extension
// other than ".dll" is a file name and gets no prefix; a path is used where
// it points and gets the prefix and ".so" like a bare name; '\' separates
// like '/'; names are case-sensitive like the file system.
TEST(PosixModule, NameForms) {
  HMODULE reference = LoadLibraryW(TestCatalogName());
  ASSERT_NE(nullptr, reference);
  const std::string dir = ExecutableDirectory();
  ASSERT_FALSE(dir.empty());
  const struct {
    const char* name;
    std::string module;
    bool found;
  } rows[] = {
      {"file name", "libkz_test_catalog.so", true},
      {"extension without prefix", "kz_test_catalog.so", false},
      {"capitals", "KZ_TEST_CATALOG", false},
      {"absolute path, bare", dir + "/kz_test_catalog", true},
      {"absolute path, Windows extension", dir + "/kz_test_catalog.dll", true},
      {"absolute path, file name", dir + "/libkz_test_catalog.so", true},
      {"backslash as separator", dir + "\\kz_test_catalog", true},
      {"path to nothing", dir + "/nothing/kz_test_catalog", false},
      {"path ending in a separator", dir + "/", false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    HMODULE module = LoadLibraryW(Utf16(row.module).c_str());
    if (!row.found) {
      EXPECT_EQ(nullptr, module);
      continue;
    }
    EXPECT_EQ(reference, module);
    if (module != nullptr) {
      EXPECT_TRUE(FreeLibrary(module));
    }
  }
  EXPECT_TRUE(FreeLibrary(reference));
}

// Paths live in buffers of PATH_MAX bytes: the longest path the file system
// takes must still open, one byte more finds nothing (and must not overrun).
TEST(PosixModule, LongestPath) {
  HMODULE reference = LoadLibraryW(TestCatalogName());
  ASSERT_NE(nullptr, reference);
  const std::string dir = ExecutableDirectory() + "/";
  const std::string file = "libkz_test_catalog.so";
  const struct {
    const char* name;
    std::size_t length;  // of the path that LoadLibraryW opens
    bool found;
  } rows[] = {
      {"longest path", PATH_MAX - 1, true},
      {"one byte more", PATH_MAX, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    std::string padding;
    while (dir.size() + padding.size() + file.size() + 2 <= row.length) {
      padding += "./";
    }
    if (dir.size() + padding.size() + file.size() < row.length) padding += "/";
    const std::string path = dir + padding + file;
    ASSERT_EQ(row.length, path.size());
    HMODULE module = LoadLibraryW(Utf16(path).c_str());
    if (!row.found) {
      EXPECT_EQ(nullptr, module);
      continue;
    }
    EXPECT_EQ(reference, module);
    if (module != nullptr) {
      EXPECT_TRUE(FreeLibrary(module));
    }
  }
  // A bare name too long for any path.
  EXPECT_EQ(nullptr, LoadLibraryW(Utf16(std::string(PATH_MAX, 'k')).c_str()));
  EXPECT_TRUE(FreeLibrary(reference));
}

// Out of memory in LoadLibraryW: each of its allocations fails in turn; it
// gives null with ERROR_NOT_ENOUGH_MEMORY (which the catalog table reports
// as E_OUTOFMEMORY), throws nothing, and leaves neither a dlopen reference nor
// a record behind. A module that is registered already needs no allocation.
TEST(PosixModule, AllocationFailure) {
  const std::string path = ExecutableDirectory() + "/libkz_test_catalog.so";
  ASSERT_EQ(nullptr, dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD))
      << "another test left the catalog loaded";
  const unsigned count = ForEachFailingAllocation([&](unsigned) {
    HMODULE module = LoadLibraryW(TestCatalogName());
    if (InjectedFailureFired()) {
      EXPECT_EQ(nullptr, module);
      EXPECT_EQ(ERROR_NOT_ENOUGH_MEMORY, GetLastError());
    } else {
      ASSERT_NE(nullptr, module);
      EXPECT_TRUE(FreeLibrary(module));
    }
    EXPECT_EQ(nullptr, dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD));
  });
  EXPECT_GT(count, 0u);

  HMODULE module = LoadLibraryW(TestCatalogName());
  ASSERT_NE(nullptr, module);
  EXPECT_EQ(0u, ForEachFailingAllocation([&](unsigned) {
              HMODULE again = LoadLibraryW(TestCatalogName());
              EXPECT_EQ(module, again);
              if (again != nullptr) {
                EXPECT_TRUE(FreeLibrary(again));
              }
            }));
  WCHAR buffer[16];
  EXPECT_EQ(7, LoadStringW(module, kIdFifteen, buffer, 16));
  EXPECT_TRUE(FreeLibrary(module));
  EXPECT_EQ(nullptr, dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD));
}

// The name reaches the file system as UTF-8 whatever the locale (the sb.
// run is in the C locale): a non-ASCII link to the catalog opens it.
TEST(PosixModule, NonAsciiNameIsUtf8) {
  char folder[] = "/tmp/kzmoduleXXXXXX";
  ASSERT_NE(nullptr, mkdtemp(folder));
  const std::string link = std::string(folder) + "/libkz_t\xC3\xABst.so";
  ASSERT_EQ(0,
            symlink((ExecutableDirectory() + "/libkz_test_catalog.so").c_str(),
                    link.c_str()));
  HMODULE module =
      LoadLibraryW(Utf16(std::string(folder) + "/kz_t\xC3\xABst").c_str());
  EXPECT_NE(nullptr, module);
  WCHAR buffer[16];
  EXPECT_EQ(7, LoadStringW(module, kIdFifteen, buffer, 16));
  if (module != nullptr) {
    EXPECT_TRUE(FreeLibrary(module));
  }
  unlink(link.c_str());
  rmdir(folder);
}

// The last FreeLibrary unloads the module and retires the handle: a second
// FreeLibrary and a LoadStringW on it are refused rather than followed.
TEST(PosixModule, LastFreeUnloads) {
  const std::string path = ExecutableDirectory() + "/libkz_test_catalog.so";
  ASSERT_EQ(nullptr, dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD))
      << "another test left the catalog loaded";
  HMODULE module = LoadLibraryW(TestCatalogName());
  ASSERT_NE(nullptr, module);
  void* loaded = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
  EXPECT_NE(nullptr, loaded);
  if (loaded != nullptr) dlclose(loaded);
  EXPECT_TRUE(FreeLibrary(module));
  EXPECT_EQ(nullptr, dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD));
  EXPECT_FALSE(FreeLibrary(module));
  WCHAR buffer[16];
  EXPECT_EQ(0, LoadStringW(module, kIdFifteen, buffer, 16));
}

// "kzcommon" answers with the library already in the process, not a second
// copy of it (its table is read by CatalogFetch.BuiltInTable). The test binary
// holds the library's static copy, so the module comes into the process here
// as a client's link brings it: under its SONAME, with its symbols in the
// global scope.
TEST(PosixModule, KzcommonIsTheLoadedLibrary) {
  const std::string path = ExecutableDirectory() + "/" KZ_TEST_MODULE_SONAME;
  void* linked = dlopen(path.c_str(), RTLD_NOW | RTLD_GLOBAL);
  ASSERT_NE(nullptr, linked) << dlerror();
  const int before = CountLoaded("libkzcommon");
  EXPECT_EQ(1, before);
  HMODULE module = LoadLibraryW(OLESTR("kzcommon"));
  ASSERT_NE(nullptr, module);
  EXPECT_EQ(before, CountLoaded("libkzcommon"));
  EXPECT_TRUE(FreeLibrary(module));
  dlclose(linked);
}

}  // namespace
