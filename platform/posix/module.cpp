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
//   - A name whose UTF-8 form or any candidate path is PATH_MAX bytes or
//     longer finds nothing, as the file system would refuse it.
#include "platform/posix/module.h"

#include <climits>
#include <cstdint>
#include <cstring>
#include <dlfcn.h>
#include <initializer_list>
#include <link.h>
#include <new>
#include <pthread.h>
#include <unistd.h>

namespace {

// Nothing here may throw into the caller, and a failure must leave nothing
// behind: names and paths live in fixed buffers on the stack (two at most,
// 8 KiB), and the one allocation, a module's record, is made after dlopen
// succeeded and undone with it.

struct Module {
  Module* next;
  void* dl;
  const unsigned char* image;
  std::size_t imageSize;
  std::uint32_t references;
};

// Constant-initialised and never destroyed: the catalog cache frees its
// modules from the library's static destructors, which may run after those
// of this file. The records form a list so that registering one allocates
// nothing but the record.
struct Registry {
  pthread_mutex_t lock;
  Module* modules;
};
Registry g_registry = {PTHREAD_MUTEX_INITIALIZER, nullptr};

thread_local DWORD g_lastError = 0;

class RegistryLock {
 public:
  RegistryLock() { pthread_mutex_lock(&g_registry.lock); }
  ~RegistryLock() { pthread_mutex_unlock(&g_registry.lock); }
  RegistryLock(const RegistryLock&) = delete;
  RegistryLock& operator=(const RegistryLock&) = delete;
};

// The link that points at `handle` among the live records, or null. Compares
// addresses only, so a bogus handle is never followed.
Module** Find(const void* handle) {
  for (Module** link = &g_registry.modules; *link != nullptr;
       link = &(*link)->next) {
    if (*link == handle) return link;
  }
  return nullptr;
}

// A path of at most PATH_MAX - 1 bytes: no longer one can be opened, so a
// name that does not fit finds no module rather than costing an allocation.
class Path {
 public:
  Path() { text_[0] = 0; }
  Path(const Path&) = delete;
  Path& operator=(const Path&) = delete;

  const char* c_str() const { return text_; }
  std::size_t size() const { return size_; }
  char& operator[](std::size_t i) { return text_[i]; }

  bool Append(const char* text, std::size_t length) {
    if (length >= sizeof text_ - size_) return false;
    std::memcpy(text_ + size_, text, length);
    size_ += length;
    text_[size_] = 0;
    return true;
  }
  bool Append(const char* text) { return Append(text, std::strlen(text)); }
  bool AppendByte(char c) { return Append(&c, 1); }
  void Truncate(std::size_t length) {
    size_ = length;
    text_[size_] = 0;
  }
  // The target of the symbolic link `link` in place of the text; false (and
  // empty) if it cannot be read whole.
  bool ReadLink(const char* link) {
    ssize_t n = readlink(link, text_, sizeof text_);
    Truncate(n > 0 && static_cast<std::size_t>(n) < sizeof text_
                 ? static_cast<std::size_t>(n)
                 : 0);
    return size_ > 0;
  }

 private:
  char text_[PATH_MAX];
  std::size_t size_ = 0;
};

// UTF-16 to UTF-8; false for a lone surrogate, which no file name can hold,
// and for a name too long for a path.
bool ToUtf8(const WCHAR* text, Path* out) {
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
    char bytes[4];
    std::size_t n;
    if (c < 0x80) {
      bytes[0] = static_cast<char>(c);
      n = 1;
    } else if (c < 0x800) {
      bytes[0] = static_cast<char>(0xC0 | c >> 6);
      bytes[1] = static_cast<char>(0x80 | (c & 0x3F));
      n = 2;
    } else if (c < 0x10000) {
      bytes[0] = static_cast<char>(0xE0 | c >> 12);
      bytes[1] = static_cast<char>(0x80 | (c >> 6 & 0x3F));
      bytes[2] = static_cast<char>(0x80 | (c & 0x3F));
      n = 3;
    } else {
      bytes[0] = static_cast<char>(0xF0 | c >> 18);
      bytes[1] = static_cast<char>(0x80 | (c >> 12 & 0x3F));
      bytes[2] = static_cast<char>(0x80 | (c >> 6 & 0x3F));
      bytes[3] = static_cast<char>(0x80 | (c & 0x3F));
      n = 4;
    }
    if (!out->Append(bytes, n)) return false;
  }
  return true;
}

bool EqualsIgnoringAsciiCase(const char* a, std::size_t length, const char* b) {
  if (std::strlen(b) != length) return false;
  for (std::size_t i = 0; i < length; ++i) {
    char c = a[i];
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (c != b[i]) return false;
  }
  return true;
}

// A file name that a module name stands for: prefix + stem + suffix, the
// stem being part of the name.
struct FileName {
  const char* prefix;
  const char* stem;
  std::size_t stemLength;
  const char* suffix;

  bool AppendTo(Path* path) const {
    return path->Append(prefix) && path->Append(stem, stemLength) &&
           path->Append(suffix);
  }
};

// The file names that `file` stands for, in the order they are tried; their
// count, 0 when the name can stand for no file.
std::size_t FileNames(const char* file, std::size_t length, FileName* names) {
  if (file[length - 1] == '.') {
    names[0] = {"", file, length - 1, ""};
    return length > 1 ? 1 : 0;
  }
  std::size_t stemLength = length;
  const char* dot = std::strrchr(file, '.');
  if (dot != nullptr && dot > file) {
    const std::size_t at = static_cast<std::size_t>(dot - file);
    if (!EqualsIgnoringAsciiCase(dot, length - at, ".dll")) {
      names[0] = {"", file, length, ""};
      return 1;
    }
    stemLength = at;
  }
  names[0] = {"lib", file, stemLength, ".so"};
  names[1] = {"", file, stemLength, ".so"};
  return 2;
}

// Length of the folder part of `path`, without the last '/'; 0 if none.
std::size_t DirectoryLength(const char* path) {
  const char* slash = std::strrchr(path, '/');
  return slash == nullptr ? 0 : static_cast<std::size_t>(slash - path);
}

// The executable's folder in place of `out`'s text; false if it cannot be
// read.
bool ReadExecutableDirectory(Path* out) {
  if (!out->ReadLink("/proc/self/exe")) return false;
  out->Truncate(DirectoryLength(out->c_str()));
  return out->size() > 0;
}

// The kzcommon library's folder in place of `out`'s text; false if it cannot
// be told.
bool ReadLibraryDirectory(Path* out) {
  out->Truncate(0);
  Dl_info info;
  if (dladdr(reinterpret_cast<void*>(&ReadLibraryDirectory), &info) == 0 ||
      info.dli_fname == nullptr) {
    return false;
  }
  std::size_t length = DirectoryLength(info.dli_fname);
  return length > 0 && out->Append(info.dli_fname, length);
}

void* Open(const char* path, int extraFlags = 0) {
  return dlopen(path, RTLD_NOW | RTLD_LOCAL | extraFlags);
}

// `text` without `part` in front of it, or null if it does not start so.
const char* After(const char* text, const char* part, std::size_t length) {
  return std::strncmp(text, part, length) == 0 ? text + length : nullptr;
}

// True if `loaded` (a file name) is `wanted` or `wanted` with a version
// behind it: "libx.so.1.2" for "libx.so".
bool IsLoadedAs(const char* loaded, const FileName& wanted) {
  const char* p = After(loaded, wanted.prefix, std::strlen(wanted.prefix));
  if (p != nullptr) p = After(p, wanted.stem, wanted.stemLength);
  if (p != nullptr) p = After(p, wanted.suffix, std::strlen(wanted.suffix));
  if (p == nullptr) return false;
  if (*p == 0) return true;
  if (*p != '.') return false;
  for (; *p != 0; ++p) {
    if (*p != '.' && (*p < '0' || *p > '9')) return false;
  }
  return true;
}

// A new dlopen reference on a loaded module that answers to `name`.
// `scratch` receives its path: dlopen may not be called while the loader's
// list is being walked.
void* OpenLoaded(const FileName& name, Path* scratch) {
  struct Search {
    const FileName* wanted;
    Path* path;
    bool found;
  } search{&name, scratch, false};
  scratch->Truncate(0);
  dl_iterate_phdr(
      [](dl_phdr_info* info, std::size_t, void* data) -> int {
        Search* s = static_cast<Search*>(data);
        const char* path = info->dlpi_name;
        if (path == nullptr || path[0] == 0) return 0;
        const char* slash = std::strrchr(path, '/');
        const char* file = slash == nullptr ? path : slash + 1;
        if (!IsLoadedAs(file, *s->wanted)) return 0;
        s->found = s->path->Append(path);
        return 1;
      },
      &search);
  return search.found ? Open(scratch->c_str(), RTLD_NOLOAD) : nullptr;
}

void* OpenByName(Path& path) {
  for (std::size_t i = 0; i < path.size(); ++i) {
    if (path[i] == '\\') path[i] = '/';
  }
  const char* text = path.c_str();
  const char* slash = std::strrchr(text, '/');
  const char* file = slash == nullptr ? text : slash + 1;
  const std::size_t fileLength =
      path.size() - static_cast<std::size_t>(file - text);
  if (fileLength == 0 || (fileLength == 1 && file[0] == '.')) return nullptr;
  FileName names[2];
  const std::size_t count = FileNames(file, fileLength, names);
  if (count == 0) return nullptr;

  Path candidate;
  if (slash != nullptr) {
    for (std::size_t i = 0; i < count; ++i) {
      candidate.Truncate(0);
      if (!candidate.Append(text, static_cast<std::size_t>(file - text)) ||
          !names[i].AppendTo(&candidate)) {
        continue;
      }
      if (void* dl = Open(candidate.c_str())) return dl;
    }
    return nullptr;
  }
  for (std::size_t i = 0; i < count; ++i) {
    if (void* dl = OpenLoaded(names[i], &candidate)) return dl;
  }
  for (bool (*read)(Path*) : {ReadExecutableDirectory, ReadLibraryDirectory}) {
    if (!read(&candidate) || !candidate.AppendByte('/')) continue;
    const std::size_t directory = candidate.size();
    for (std::size_t i = 0; i < count; ++i) {
      candidate.Truncate(directory);
      if (!names[i].AppendTo(&candidate)) continue;
      if (access(candidate.c_str(), F_OK) != 0) continue;
      if (void* dl = Open(candidate.c_str())) return dl;
    }
  }
  for (std::size_t i = 0; i < count; ++i) {
    candidate.Truncate(0);
    if (!names[i].AppendTo(&candidate)) continue;
    if (void* dl = Open(candidate.c_str())) return dl;
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
  RegistryLock lock;
  Module** link = Find(module);
  if (link == nullptr || (*link)->image == nullptr) return false;
  *image = (*link)->image;
  *size = (*link)->imageSize;
  return true;
}

}  // namespace platform

// LoadLibraryW
//
// PARAMS   name [I] module name, UTF-16; the name rules are at the top of
//          this file
// RETURNS  the module's handle with one more reference on it; the same handle
//          for every name of one module. Null for a null or empty name, a
//          lone surrogate, a name too long for a path, a module that cannot
//          be found or loaded, and exhausted memory (the module is then
//          released again and nothing is registered).
// NOTES    As on Windows, each call must be matched by one FreeLibrary. The
//          module is loaded with all its symbols bound (RTLD_NOW), and kept
//          local to it. Throws nothing. tests/platform/string_table_test.cpp,
//          tests/platform/posix_loader_test.cpp.
HMODULE LoadLibraryW(LPCWSTR name) {
  Path utf8;
  void* dl = nullptr;
  if (name == nullptr || name[0] == 0 || !ToUtf8(name, &utf8) ||
      (dl = OpenByName(utf8)) == nullptr) {
    g_lastError = ERROR_MOD_NOT_FOUND;
    return nullptr;
  }
  {
    RegistryLock lock;
    for (Module* module = g_registry.modules; module != nullptr;
         module = module->next) {
      if (module->dl == dl) {
        // dlopen counted this call too; FreeLibrary gives it back.
        ++module->references;
        return reinterpret_cast<HMODULE>(module);
      }
    }
    Module* module = new (std::nothrow) Module{nullptr, dl, nullptr, 0, 1};
    if (module != nullptr) {
      LocateImage(dl, &module->image, &module->imageSize);
      module->next = g_registry.modules;
      g_registry.modules = module;
      return reinterpret_cast<HMODULE>(module);
    }
  }
  // Out of memory: give the reference back, outside the lock, since the
  // module's destructors may call FreeLibrary.
  dlclose(dl);
  g_lastError = ERROR_NOT_ENOUGH_MEMORY;
  return nullptr;
}

// GetLastError, SetLastError
//
// PARAMS   code [I] the error to record for the calling thread
// RETURNS  the calling thread's last error
// NOTES    Per thread, as on Windows. Only LoadLibraryW records one here; the
//          catalog table reads it to tell exhausted memory from a missing
//          module. tests/catalogs/catalog_cache_test.cpp.
DWORD GetLastError() { return g_lastError; }
void SetLastError(DWORD code) { g_lastError = code; }

// FreeLibrary
//
// PARAMS   module [I] a handle from LoadLibraryW
// RETURNS  TRUE when a reference was dropped; FALSE for null, for a handle
//          that LoadLibraryW did not give, and for one already released.
// NOTES    The module is unloaded when its last reference goes, as on
//          Windows; the handle is invalid from then on.
//          tests/platform/string_table_test.cpp.
BOOL FreeLibrary(HMODULE module) {
  if (module == nullptr) return FALSE;
  void* dl = nullptr;
  {
    RegistryLock lock;
    Module** link = Find(module);
    if (link == nullptr) return FALSE;
    Module* record = *link;
    dl = record->dl;
    if (--record->references == 0) {
      *link = record->next;
      delete record;
    }
  }
  return dlclose(dl) == 0 ? TRUE : FALSE;
}
