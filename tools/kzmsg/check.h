// The catalog check: what in a catalog's texts will go wrong at run time.
#ifndef KZCOMMON_TOOLS_KZMSG_CHECK_H_
#define KZCOMMON_TOOLS_KZMSG_CHECK_H_

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "text.h"

namespace kzmsg {

struct Finding {
  std::string file;
  bool hasId = true;  // false: the file as a whole
  std::int64_t id = 0;
  std::string kind;     // a stable name, for --json
  std::string message;  // in the terminal's encoding
};

// The built-in table: id to text, for the texts a client's catalog shadows.
using BuiltinTable = std::map<std::uint32_t, WString>;

// The findings for one text of `file`, appended to `out`:
//   number-width      the N$ number does not print in three units
//   dollar-prefix     a '$' without a plain number in front
//   placeholder       a directive the formatter refuses or must not see (%n,
//                     a field too wide to lay out)
//   single-percent    in a text with arguments, a '%' that is no conversion
//   shadows-builtin   the id has a different text in the built-in table
//   id-range          an id outside the string tables' 0 to 65535
void CheckText(const std::string& file, std::int64_t id, const WString& text,
               const BuiltinTable& builtin, std::vector<Finding>* out);

}  // namespace kzmsg

#endif  // KZCOMMON_TOOLS_KZMSG_CHECK_H_
