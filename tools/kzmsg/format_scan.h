// How the catalog formatter reads a message text: its directives, in the
// Windows run-time's grammar, which is what CKZCatalog::GetMsg formats with.
#ifndef KZCOMMON_TOOLS_KZMSG_FORMAT_SCAN_H_
#define KZCOMMON_TOOLS_KZMSG_FORMAT_SCAN_H_

#include <cstddef>
#include <vector>

#include "text.h"

namespace kzmsg {

struct FormatPiece {
  enum Kind {
    kLiteral,    // plain text
    kPercent,    // "%%", which prints one '%'
    kDirective,  // '%', flags, width, precision, sizes and a conversion
  };
  Kind kind = kLiteral;
  // [begin, end) in the text. A directive with a conversion it knows ends
  // behind the letter; an unknown one ends before it, since the formatter
  // prints that letter as plain text (and a '%' there starts a new
  // directive).
  std::size_t begin = 0;
  std::size_t end = 0;

  // Directives only.
  WCHAR conversion = 0;     // 0 when the text ends inside the directive
  bool known = false;       // one of d i o u x X c C s S e E f g G a A p n
  int stars = 0;            // '*' width and precision: each takes an int
  bool blankFirst = false;  // "% ...": a blank right behind the '%'
  bool is64 = false;        // ll, I64, j (and I, z, t on 64-bit)
  bool wideText = false;    // %s/%c take 16-bit text (in a wide format)
  // Width or precision beyond what the formatter lays out for a number.
  bool tooWide = false;

  bool TakesArgument() const { return kind == kDirective && known; }
};

// The text's pieces in order; together they cover it.
std::vector<FormatPiece> ScanFormat(const WString& text);

}  // namespace kzmsg

#endif  // KZCOMMON_TOOLS_KZMSG_FORMAT_SCAN_H_
