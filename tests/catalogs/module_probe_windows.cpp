#include <kzcommon/kzcommon.h>

#include "catalogs/module_probe.h"

namespace kztest {
namespace {

std::string CatalogPath(const std::string& name) {
  char path[MAX_PATH];
  DWORD n = GetModuleFileNameA(nullptr, path, MAX_PATH);
  std::string exe(path, n);
  return exe.substr(0, exe.find_last_of("\\/")) + "\\" + name + ".dll";
}

}  // namespace

bool CatalogModuleLoaded(const std::string& name) {
  return GetModuleHandleA(CatalogPath(name).c_str()) != nullptr;
}

bool CopyCatalogModule(const std::string& from, const std::string& to) {
  return CopyFileA(CatalogPath(from).c_str(), CatalogPath(to).c_str(), FALSE) !=
         0;
}

bool RemoveCatalogModule(const std::string& name) {
  return DeleteFileA(CatalogPath(name).c_str()) != 0;
}

unsigned long ProcessNumber() { return GetCurrentProcessId(); }

}  // namespace kztest
