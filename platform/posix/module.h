// What the module loader tells the string tables, on POSIX.
#ifndef KZCOMMON_PLATFORM_POSIX_MODULE_H_
#define KZCOMMON_PLATFORM_POSIX_MODULE_H_

#include <cstddef>

#include "platform/platform.h"

namespace platform {

// The name of the symbol under which a module carries its .res image: a
// 16-byte header ("KZRES001", the image's size as a 32-bit number in the
// module's byte order, 4 reserved bytes) and the image. kzcommon_add_catalog
// (cmake/KzcommonCatalog.cmake) writes it.
constexpr char kResourceImageSymbol[] = "kzcommon_string_resources";

// The .res image of `module`: a handle that LoadLibraryW gave and FreeLibrary
// has not yet released, or null for the main program. False for any other
// handle and for a module without string tables.
bool ModuleResourceImage(HMODULE module, const unsigned char** image,
                         std::size_t* size);

}  // namespace platform

#endif  // KZCOMMON_PLATFORM_POSIX_MODULE_H_
