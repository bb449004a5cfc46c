// What the catalog tests ask of the platform beyond kzcommon's names: whether
// a catalog module is loaded, and catalog module files beside the test
// binary. Catalog modules are named as kzcommon_add_catalog names them
// ("kz_test_catalog").
#ifndef KZCOMMON_TESTS_CATALOGS_MODULE_PROBE_H_
#define KZCOMMON_TESTS_CATALOGS_MODULE_PROBE_H_

#include <string>

namespace kztest {

// True while the catalog module of that name, beside the test binary, is
// loaded in this process. Takes no reference of its own.
bool CatalogModuleLoaded(const std::string& name);
// Copies the file of catalog module `from` to one for the name `to`, beside
// the test binary; false if that fails. RemoveCatalogModule deletes it.
bool CopyCatalogModule(const std::string& from, const std::string& to);
bool RemoveCatalogModule(const std::string& name);
// A number no other running process has, for file names of its own.
unsigned long ProcessNumber();

}  // namespace kztest

#endif  // KZCOMMON_TESTS_CATALOGS_MODULE_PROBE_H_
