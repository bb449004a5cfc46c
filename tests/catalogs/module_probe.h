// What the catalog tests ask of the platform beyond kzcommon's names: whether
// a catalog module beside the test binary is loaded, and copies of catalog
// module files there. Catalog modules are named as kzcommon_add_catalog names
// them ("kz_test_catalog").
#ifndef KZCOMMON_TESTS_CATALOGS_MODULE_PROBE_H_
#define KZCOMMON_TESTS_CATALOGS_MODULE_PROBE_H_

#include <kzcommon/kzcommon.h>

#include <cstdio>
#include <fstream>
#include <string>
#ifndef _WIN32
#include <dlfcn.h>
#include <unistd.h>
#endif

namespace kztest {

inline std::string CatalogPath(const std::string& name) {
#ifdef _WIN32
  char path[MAX_PATH];
  const std::string exe(path, GetModuleFileNameA(nullptr, path, MAX_PATH));
  return exe.substr(0, exe.find_last_of("\\/")) + "\\" + name + ".dll";
#else
  char path[4096];
  const ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
  const std::string exe(path, n > 0 ? static_cast<std::size_t>(n) : 0);
  return exe.substr(0, exe.rfind('/')) + "/lib" + name + ".so";
#endif
}

// True while that catalog module is loaded in this process. Takes no
// reference of its own.
inline bool CatalogModuleLoaded(const std::string& name) {
#ifdef _WIN32
  return GetModuleHandleA(CatalogPath(name).c_str()) != nullptr;
#else
  void* dl = dlopen(CatalogPath(name).c_str(), RTLD_LAZY | RTLD_NOLOAD);
  if (dl != nullptr) dlclose(dl);
  return dl != nullptr;
#endif
}

// `base` and a number no other running process has: a file name of its own.
inline std::string OwnName(const std::string& base) {
#ifdef _WIN32
  return base + std::to_string(GetCurrentProcessId());
#else
  return base + std::to_string(getpid());
#endif
}

// Copies the file of catalog module `from` to one for the name `to`.
inline bool CopyCatalogModule(const std::string& from, const std::string& to) {
  std::ifstream in(CatalogPath(from), std::ios::binary);
  std::ofstream out(CatalogPath(to), std::ios::binary);
  out << in.rdbuf();
  return in.good() && out.good();
}

}  // namespace kztest

#endif  // KZCOMMON_TESTS_CATALOGS_MODULE_PROBE_H_
