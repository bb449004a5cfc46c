// The composite message text: its writer and the reading that its readers
// share. msg_format.cpp is the one place that knows the markers and the
// layout of the section; the classes in msg_string.cpp and cached_views.cpp
// only move blocks.
#ifndef KZCOMMON_MESSAGES_MSG_FORMAT_H_
#define KZCOMMON_MESSAGES_MSG_FORMAT_H_

#include <kzcommon/kzstring.h>

#include <cstdint>

namespace kzmsg {

// A composite as FormatMsg writes it: a new wide-only block, and the error
// number that goes with it.
struct Composite {
  CKZStringBlock* block;  // nullptr when memory ran out
  ULONG errorNum;
};

// Writes the composite of `text` ("N$message" or a plain message, not null),
// with the origin and code fields where they are given. The arguments are
// read before anything is freed, so they may lie in any block.
Composite WriteComposite(ULONG type, const WCHAR* text, const WCHAR* origin,
                         const WCHAR* originCode);

// Where the parts of a composite lie in a wide text of `length` units. The
// markers are looked for up to the text's first zero unit, as Find does;
// the parts themselves run to `length`.
struct Layout {
  bool marked;                // a start marker was found
  std::uint32_t start;        // where it is: the length of the message text
  std::uint32_t sectionEnd;   // where the section ends: the end marker, or
                              // the text's end when it is missing
  std::uint32_t trailerFrom;  // what stands behind the end marker; the
                              // text's length when there is none
  std::uint32_t length;
};
Layout ReadComposite(const WCHAR* text, std::uint32_t length);

// The detail text of a marked composite as a new wide-only block: section,
// " - ", message text, trailer. nullptr when memory ran out.
CKZStringBlock* WriteDetail(const WCHAR* text, const Layout& layout);

}  // namespace kzmsg

#endif  // KZCOMMON_MESSAGES_MSG_FORMAT_H_
