// Module loading over dlopen, with Windows' names and reference counts.
//
// A module handle is the address of a record of ours that holds the dlopen
// handle, the located .res image and a reference count. Every handle that
// comes in is looked up in the registry of live records before it is used, so
// a null, bogus or freed handle is refused, never followed.
//
// Names. The name is UTF-16; it is converted to UTF-8 for the file system,
// whatever the current locale. '\' counts as a path separator as '/' does.
//   - The file name part gets the platform's form where it has no extension:
//     "mycatalog" stands for "libmycatalog.so", then "mycatalog.so". An
//     extension ".dll" (any case) counts as none, so "mycatalog.dll" is the
//     same module. Any other extension is kept as it is, without a prefix:
//     "libfoo.so" and "foo.so.1" are file names. A trailing '.' means "no
//     extension", as on Windows: "foo." is the file "foo".
//   - A name with a path is opened there (relative to the current folder if
//     relative), and nowhere else.
//   - A name without a path is looked for, for each of its file names in
//     turn: among the modules the process has loaded already (a loaded
//     "libkzcommon.so.0.1" answers to "libkzcommon.so"), beside the
//     executable, beside the kzcommon library, then on the system's library
//     path (dlopen's own search). The current folder is not searched.
//   File names are case-sensitive, as the file system is.
#include "platform/posix/module.h"

#include <cstdint>
#include <cstring>
#include <dlfcn.h>
#include <initializer_list>
#include <link.h>
#include <pthread.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

struct Module {
  void* dl;
  const unsigned char* image;
  std::size_t imageSize;
  std::uint32_t references;
};

// Never destroyed: the catalog cache frees its modules from the library's
// static destructors, which may run after those of this file.
struct Registry {
  pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
  std::vector<Module*> modules;
};

Registry& TheRegistry() {
  static Registry* registry = new Registry;
  return *registry;
}

class RegistryLock {
 public:
  explicit RegistryLock(Registry& registry) : lock_(registry.lock) {
    pthread_mutex_lock(&lock_);
  }
  ~RegistryLock() { pthread_mutex_unlock(&lock_); }
  RegistryLock(const RegistryLock&) = delete;
  RegistryLock& operator=(const RegistryLock&) = delete;

 private:
  pthread_mutex_t& lock_;
};

// Index of `handle` among the live records, or -1. Compares addresses only.
std::ptrdiff_t Find(const Registry& registry, const void* handle) {
  for (std::size_t i = 0; i < registry.modules.size(); ++i) {
    if (registry.modules[i] == handle) return static_cast<std::ptrdiff_t>(i);
  }
  return -1;
}

// UTF-16 to UTF-8; false for a lone surrogate, which no file name can hold.
bool ToUtf8(const WCHAR* text, std::string* out) {
  for (const WCHAR* p = text; *p != 0; ++p) {
    std::uint32_t c = *p;
    if (c >= 0xD800 && c <= 0xDBFF) {
      std::uint32_t low = p[1];
      if (low < 0xDC00 || low > 0xDFFF) return false;
      c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
      ++p;
    } else if (c >= 0xDC00 && c <= 0xDFFF) {
      return false;
    }
    if (c < 0x80) {
      out->push_back(static_cast<char>(c));
    } else if (c < 0x800) {
      out->push_back(static_cast<char>(0xC0 | c >> 6));
      out->push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else if (c < 0x10000) {
      out->push_back(static_cast<char>(0xE0 | c >> 12));
      out->push_back(static_cast<char>(0x80 | (c >> 6 & 0x3F)));
      out->push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else {
      out->push_back(static_cast<char>(0xF0 | c >> 18));
      out->push_back(static_cast<char>(0x80 | (c >> 12 & 0x3F)));
      out->push_back(static_cast<char>(0x80 | (c >> 6 & 0x3F)));
      out->push_back(static_cast<char>(0x80 | (c & 0x3F)));
    }
  }
  return true;
}

bool EqualsIgnoringAsciiCase(const std::string& a, const char* b) {
  std::size_t n = std::strlen(b);
  if (a.size() != n) return false;
  for (std::size_t i = 0; i < n; ++i) {
    char c = a[i];
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (c != b[i]) return false;
  }
  return true;
}

// The file names that `file` stands for, in the order they are tried.
std::vector<std::string> FileNames(const std::string& file) {
  if (file.back() == '.') return {file.substr(0, file.size() - 1)};
  std::string stem = file;
  std::size_t dot = file.rfind('.');
  if (dot != std::string::npos && dot > 0) {
    if (!EqualsIgnoringAsciiCase(file.substr(dot), ".dll")) return {file};
    stem = file.substr(0, dot);
  }
  return {"lib" + stem + ".so", stem + ".so"};
}

std::string Directory(const std::string& path) {
  std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

std::string ExecutableDirectory() {
  std::vector<char> path(4096);
  for (;;) {
    ssize_t n = readlink("/proc/self/exe", path.data(), path.size());
    if (n < 0) return std::string();
    if (static_cast<std::size_t>(n) < path.size()) {
      return Directory(std::string(path.data(), static_cast<std::size_t>(n)));
    }
    path.resize(path.size() * 2);
  }
}

std::string LibraryDirectory() {
  Dl_info info;
  if (dladdr(reinterpret_cast<void*>(&ExecutableDirectory), &info) == 0 ||
      info.dli_fname == nullptr) {
    return std::string();
  }
  return Directory(info.dli_fname);
}

void* Open(const std::string& path, int extraFlags = 0) {
  return dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | extraFlags);
}

// True if `loaded` (a file name) is `wanted` or `wanted` with a version
// behind it: "libx.so.1.2" for "libx.so".
bool IsLoadedAs(const std::string& loaded, const std::string& wanted) {
  if (loaded.compare(0, wanted.size(), wanted) != 0) return false;
  if (loaded.size() == wanted.size()) return true;
  if (loaded[wanted.size()] != '.') return false;
  for (std::size_t i = wanted.size(); i < loaded.size(); ++i) {
    char c = loaded[i];
    if (c != '.' && (c < '0' || c > '9')) return false;
  }
  return true;
}

// A new dlopen reference on a loaded module that answers to `file`.
void* OpenLoaded(const std::string& file) {
  struct Search {
    const std::string* file;
    std::string path;
  } search{&file, std::string()};
  dl_iterate_phdr(
      [](dl_phdr_info* info, std::size_t, void* data) -> int {
        Search* s = static_cast<Search*>(data);
        if (info->dlpi_name == nullptr || info->dlpi_name[0] == 0) return 0;
        std::string path = info->dlpi_name;
        std::size_t slash = path.rfind('/');
        std::string name =
            slash == std::string::npos ? path : path.substr(slash + 1);
        if (!IsLoadedAs(name, *s->file)) return 0;
        s->path = path;
        return 1;
      },
      &search);
  return search.path.empty() ? nullptr : Open(search.path, RTLD_NOLOAD);
}

void* OpenByName(const std::string& name) {
  std::string path = name;
  for (char& c : path) {
    if (c == '\\') c = '/';
  }
  std::size_t slash = path.rfind('/');
  std::string file = slash == std::string::npos ? path : path.substr(slash + 1);
  if (file.empty() || file == ".") return nullptr;
  std::vector<std::string> files = FileNames(file);
  if (files.front().empty()) return nullptr;

  if (slash != std::string::npos) {
    std::string directory = path.substr(0, slash + 1);
    for (const std::string& f : files) {
      if (void* dl = Open(directory + f)) return dl;
    }
    return nullptr;
  }
  for (const std::string& f : files) {
    if (void* dl = OpenLoaded(f)) return dl;
  }
  for (const std::string& directory :
       {ExecutableDirectory(), LibraryDirectory()}) {
    if (directory.empty()) continue;
    for (const std::string& f : files) {
      std::string candidate = directory + "/" + f;
      if (access(candidate.c_str(), F_OK) != 0) continue;
      if (void* dl = Open(candidate)) return dl;
    }
  }
  for (const std::string& f : files) {
    if (void* dl = Open(f)) return dl;
  }
  return nullptr;
}

// The image that `dl` itself defines under the well-known symbol. dlsym also
// searches the module's dependencies, so the symbol's owner is checked: a
// module without string tables must not answer with those of a library it
// links, kzcommon's for one.
void LocateImage(void* dl, const unsigned char** image, std::size_t* size) {
  *image = nullptr;
  *size = 0;
  void* symbol = dlsym(dl, platform::kResourceImageSymbol);
  if (symbol == nullptr) return;
  Dl_info info;
  void* owner = nullptr;
  void* entryAddress = nullptr;
  link_map* self = nullptr;
  if (dladdr1(symbol, &info, &owner, RTLD_DL_LINKMAP) == 0 ||
      dladdr1(symbol, &info, &entryAddress, RTLD_DL_SYMENT) == 0 ||
      entryAddress == nullptr || dlinfo(dl, RTLD_DI_LINKMAP, &self) != 0 ||
      owner != self) {
    return;
  }
  const ElfW(Sym)* entry = static_cast<const ElfW(Sym)*>(entryAddress);
  static const unsigned char kMagic[8] = {'K', 'Z', 'R', 'E',
                                          'S', '0', '0', '1'};
  const std::size_t kHeader = 16;
  const unsigned char* bytes = static_cast<const unsigned char*>(symbol);
  if (entry->st_size < kHeader || std::memcmp(bytes, kMagic, 8) != 0) return;
  std::uint32_t length;
  std::memcpy(&length, bytes + 8, sizeof length);
  if (length > entry->st_size - kHeader) return;
  *image = bytes + kHeader;
  *size = length;
}

}  // namespace

namespace platform {

bool ModuleResourceImage(HMODULE module, const unsigned char** image,
                         std::size_t* size) {
  if (module == nullptr) {
    struct Main {
      const unsigned char* image;
      std::size_t size;
    };
    static const Main main = [] {
      Main m{nullptr, 0};
      if (void* dl = dlopen(nullptr, RTLD_LAZY)) {
        LocateImage(dl, &m.image, &m.size);
      }
      return m;
    }();
    *image = main.image;
    *size = main.size;
    return main.image != nullptr;
  }
  Registry& registry = TheRegistry();
  RegistryLock lock(registry);
  std::ptrdiff_t i = Find(registry, module);
  if (i < 0 || registry.modules[i]->image == nullptr) return false;
  *image = registry.modules[i]->image;
  *size = registry.modules[i]->imageSize;
  return true;
}

}  // namespace platform

// LoadLibraryW
//
// PARAMS   name [I] module name, UTF-16; the name rules are at the top of
//          this file
// RETURNS  the module's handle with one more reference on it; the same handle
//          for every name of one module. Null for a null or empty name, a
//          lone surrogate, and a module that cannot be found or loaded.
// NOTES    As on Windows, each call must be matched by one FreeLibrary. The
//          module is loaded with all its symbols bound (RTLD_NOW), and kept
//          local to it. tests/platform/module_test.cpp.
HMODULE LoadLibraryW(LPCWSTR name) {
  if (name == nullptr || name[0] == 0) return nullptr;
  std::string utf8;
  if (!ToUtf8(name, &utf8)) return nullptr;
  void* dl = OpenByName(utf8);
  if (dl == nullptr) return nullptr;

  Registry& registry = TheRegistry();
  RegistryLock lock(registry);
  for (Module* module : registry.modules) {
    if (module->dl == dl) {
      // dlopen counted this call too; FreeLibrary gives it back.
      ++module->references;
      return reinterpret_cast<HMODULE>(module);
    }
  }
  Module* module = new Module{dl, nullptr, 0, 1};
  LocateImage(dl, &module->image, &module->imageSize);
  registry.modules.push_back(module);
  return reinterpret_cast<HMODULE>(module);
}

// FreeLibrary
//
// PARAMS   module [I] a handle from LoadLibraryW
// RETURNS  TRUE when a reference was dropped; FALSE for null, for a handle
//          that LoadLibraryW did not give, and for one already released.
// NOTES    The module is unloaded when its last reference goes, as on
//          Windows; the handle is invalid from then on.
//          tests/platform/module_test.cpp.
BOOL FreeLibrary(HMODULE module) {
  if (module == nullptr) return FALSE;
  void* dl = nullptr;
  {
    Registry& registry = TheRegistry();
    RegistryLock lock(registry);
    std::ptrdiff_t i = Find(registry, module);
    if (i < 0) return FALSE;
    Module* record = registry.modules[i];
    dl = record->dl;
    if (--record->references == 0) {
      registry.modules.erase(registry.modules.begin() + i);
      delete record;
    }
  }
  return dlclose(dl) == 0 ? TRUE : FALSE;
}
