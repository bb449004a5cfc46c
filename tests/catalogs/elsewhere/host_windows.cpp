// Loads kzcommon.dll by its full path, then the module that uses it, and runs
// the module's check. Arguments: the library's path, the module's path.
#define WIN32_LEAN_AND_MEAN
#include <cstdio>
#include <windows.h>

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  HMODULE library = LoadLibraryA(argv[1]);
  if (library == nullptr) {
    std::fprintf(stderr, "cannot load %s: %lu\n", argv[1], GetLastError());
    return 2;
  }
  // The module's own folder for its dependencies: kzcommon.dll isn't there,
  // so the one loaded above must serve.
  HMODULE plugin =
      LoadLibraryExA(argv[2], nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  if (plugin == nullptr) {
    std::fprintf(stderr, "cannot load %s: %lu\n", argv[2], GetLastError());
    return 2;
  }
  typedef int (*Check)();
  Check check = reinterpret_cast<Check>(
      reinterpret_cast<void*>(GetProcAddress(plugin, "KzCheckBuiltinTexts")));
  if (check == nullptr) return 2;
  int failures = check();
  if (failures == 0) std::puts("built-in texts found");
  return failures == 0 ? 0 : 1;
}
