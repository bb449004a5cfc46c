// Loads kzcommon by its full path, then the module that uses it, and runs the
// module's check. Arguments: the library's path, the module's path.
#include <cstdio>
#include <dlfcn.h>

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    std::fprintf(stderr, "%s\n", dlerror());
    return 2;
  }
  void* plugin = dlopen(argv[2], RTLD_NOW | RTLD_LOCAL);
  if (plugin == nullptr) {
    std::fprintf(stderr, "%s\n", dlerror());
    return 2;
  }
  typedef int (*Check)();
  Check check = reinterpret_cast<Check>(dlsym(plugin, "KzCheckBuiltinTexts"));
  if (check == nullptr) return 2;
  int failures = check();
  if (failures == 0) std::puts("built-in texts found");
  return failures == 0 ? 0 : 1;
}
