#include <cstdio>
#include <dlfcn.h>
#include <fstream>
#include <unistd.h>

#include "catalogs/module_probe.h"

namespace kztest {
namespace {

std::string CatalogPath(const std::string& name) {
  char path[4096];
  ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
  std::string exe(path, n > 0 ? static_cast<std::size_t>(n) : 0);
  return exe.substr(0, exe.rfind('/')) + "/lib" + name + ".so";
}

}  // namespace

bool CatalogModuleLoaded(const std::string& name) {
  void* dl = dlopen(CatalogPath(name).c_str(), RTLD_LAZY | RTLD_NOLOAD);
  if (dl == nullptr) return false;
  dlclose(dl);
  return true;
}

bool CopyCatalogModule(const std::string& from, const std::string& to) {
  std::ifstream in(CatalogPath(from), std::ios::binary);
  std::ofstream out(CatalogPath(to), std::ios::binary);
  out << in.rdbuf();
  return in.good() && out.good();
}

bool RemoveCatalogModule(const std::string& name) {
  return std::remove(CatalogPath(name).c_str()) == 0;
}

unsigned long ProcessNumber() { return static_cast<unsigned long>(getpid()); }

}  // namespace kztest
