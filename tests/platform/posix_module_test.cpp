// LoadLibraryW on POSIX: its own name forms, unloading, the library itself.
#include <gtest/gtest.h>

#include <climits>
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

std::string Dir() {
  char path[4096];
  ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
  std::string text(path, n > 0 ? static_cast<std::size_t>(n) : 0);
  return text.substr(0, text.rfind('/'));
}

// UTF-8 to UTF-16 (ASCII and two-byte sequences).
std::u16string Utf16(const std::string& text) {
  std::u16string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned char c = static_cast<unsigned char>(text[i]);
    out.push_back(
        c >= 0xC0 && i + 1 < text.size()
            ? static_cast<char16_t>((c & 0x1F) << 6 | (text[++i] & 0x3F))
            : c);
  }
  return out;
}

bool CatalogLoaded() {
  void* handle = dlopen((Dir() + "/libkz_test_catalog.so").c_str(),
                        RTLD_NOW | RTLD_NOLOAD);
  if (handle != nullptr) dlclose(handle);
  return handle != nullptr;
}

// File names and paths: case-sensitive, UTF-8 in any locale, '\' as '/',
// PATH_MAX bytes at most (one more finds nothing and must not overrun).
TEST(PosixModule, NameForms) {
  HMODULE reference = LoadLibraryW(TestCatalogName());
  ASSERT_NE(nullptr, reference);
  const std::string dir = Dir();
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
      {"non-ASCII name", std::string(folder) + "/kz_t\xC3\xABst", true},
      {"longest path", longest, true},
      {"one byte more", "/" + longest, false},
      {"bare name too long for any path", std::string(PATH_MAX, 'k'), false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    HMODULE module = LoadLibraryW(Utf16(row.module).c_str());
    EXPECT_EQ(row.found ? reference : nullptr, module);
    EXPECT_TRUE(module == nullptr || FreeLibrary(module));
  }
  EXPECT_TRUE(FreeLibrary(reference));
  unlink(link.c_str());
  rmdir(folder);
}

// Out of memory leaves no dlopen reference behind; the last FreeLibrary
// unloads the module and retires its handle.
TEST(PosixModule, AllocationFailureAndUnloading) {
  ASSERT_FALSE(CatalogLoaded()) << "another test left the catalog loaded";
  const unsigned count = ForEachFailingAllocation([&](unsigned) {
    HMODULE module = LoadLibraryW(TestCatalogName());
    if (InjectedFailureFired()) {
      EXPECT_EQ(nullptr, module);
      EXPECT_EQ(ERROR_NOT_ENOUGH_MEMORY, GetLastError());
    } else {
      ASSERT_NE(nullptr, module);
      EXPECT_TRUE(FreeLibrary(module));
    }
    EXPECT_FALSE(CatalogLoaded());
  });
  EXPECT_GT(count, 0u);

  HMODULE module = LoadLibraryW(TestCatalogName());
  ASSERT_NE(nullptr, module);
  EXPECT_TRUE(CatalogLoaded());
  EXPECT_EQ(0u, ForEachFailingAllocation([&](unsigned) {
              HMODULE again = LoadLibraryW(TestCatalogName());
              EXPECT_EQ(module, again);
              EXPECT_TRUE(again == nullptr || FreeLibrary(again));
            }));
  WCHAR buffer[16];
  EXPECT_EQ(7, LoadStringW(module, kIdFifteen, buffer, 16));
  EXPECT_TRUE(FreeLibrary(module));
  EXPECT_FALSE(CatalogLoaded());
  EXPECT_FALSE(FreeLibrary(module));
  EXPECT_EQ(0, LoadStringW(module, kIdFifteen, buffer, 16));
}

// "kzcommon" is the library already loaded (here under its SONAME, as a
// client's link brings it), not a second copy.
TEST(PosixModule, KzcommonIsTheLoadedLibrary) {
  void* linked = dlopen((Dir() + "/" KZ_TEST_MODULE_SONAME).c_str(),
                        RTLD_NOW | RTLD_GLOBAL);
  ASSERT_NE(nullptr, linked) << dlerror();
  auto copies = [] {
    int count = 0;
    dl_iterate_phdr(
        [](dl_phdr_info* info, std::size_t, void* data) -> int {
          const std::string name = info->dlpi_name ? info->dlpi_name : "";
          *static_cast<int*>(data) += name.find("libkzcommon") != name.npos;
          return 0;
        },
        &count);
    return count;
  };
  EXPECT_EQ(1, copies());
  HMODULE module = LoadLibraryW(OLESTR("kzcommon"));
  ASSERT_NE(nullptr, module);
  EXPECT_EQ(1, copies());
  EXPECT_TRUE(FreeLibrary(module));
  dlclose(linked);
}

}  // namespace
