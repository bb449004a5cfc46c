// The string tables of a resource script (.rc), read without a resource
// compiler, so that a catalog can be checked before it is built.
#ifndef KZCOMMON_TOOLS_KZMSG_RC_FILE_H_
#define KZCOMMON_TOOLS_KZMSG_RC_FILE_H_

#include <cstdint>
#include <string>
#include <vector>

#include "text.h"

namespace kzmsg {

struct RcString {
  std::int64_t id = 0;  // as written: may lie outside 0 to 65535
  int line = 0;
  WString text;
};

struct RcFile {
  std::vector<RcString> strings;    // in the order of the file
  std::vector<std::string> errors;  // "line N: what", for what can't be read
};

// Reads the STRINGTABLE blocks of a UTF-8 script. Ids are numbers or names
// that a #define gives a value, in the script or in a header it includes
// (looked for beside the script), joined by + and -. Everything outside the
// string tables is skipped, and preprocessor conditions are not evaluated.
// False if the file can't be read at all.
bool ReadRcFile(const std::string& path, RcFile* out);

}  // namespace kzmsg

#endif  // KZCOMMON_TOOLS_KZMSG_RC_FILE_H_
