// Loads kzcommon by its full path, then the module that uses it, and runs the
// module's check. Arguments: the library's path, the module's path.
#include <cstdio>
#ifdef _WIN32
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace {

void* Load(const char* path, bool plugin) {
#ifdef _WIN32
  // The module's own folder for its dependencies: kzcommon.dll isn't there,
  // so the one loaded first must serve.
  void* module =
      plugin ? LoadLibraryExA(path, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH)
             : LoadLibraryA(path);
  if (module == nullptr) {
    std::fprintf(stderr, "cannot load %s: %lu\n", path, GetLastError());
  }
#else
  static_cast<void>(plugin);
  void* module = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) std::fprintf(stderr, "%s\n", dlerror());
#endif
  return module;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3 || Load(argv[1], false) == nullptr) return 2;
  void* plugin = Load(argv[2], true);
  if (plugin == nullptr) return 2;
  typedef int (*Check)();
#ifdef _WIN32
  Check check = reinterpret_cast<Check>(reinterpret_cast<void*>(
      GetProcAddress(static_cast<HMODULE>(plugin), "KzCheckBuiltinTexts")));
#else
  Check check = reinterpret_cast<Check>(dlsym(plugin, "KzCheckBuiltinTexts"));
#endif
  return check == nullptr ? 2 : check() == 0 ? 0 : 1;
}
