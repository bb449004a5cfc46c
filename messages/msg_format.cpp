// The composite message text, written and read in one place:
//
//   message text, "_$S_", type digit, number ("%03ld"), ["-" CODE],
//   ["-" origin], "_$E_"
//
// The writer measures every field first and fills one block of exactly
// that length, so no field can run past it, whatever the number's width.
#include "messages/msg_format.h"

#include <cstring>

#include "platform/platform.h"

#include "strings/internal/wide_scan.h"
#include "strings/string_block.h"

namespace kzmsg {
namespace {

constexpr WCHAR kStartMarker[] = {'_', '$', 'S', '_', 0};
constexpr WCHAR kEndMarker[] = {'_', '$', 'E', '_', 0};
constexpr std::uint32_t kMarkerLength = 4;
// Between the section and the message text in the detail text.
constexpr WCHAR kDetailSeparator[] = {' ', '-', ' '};
constexpr std::uint32_t kDetailSeparatorLength = 3;
constexpr WCHAR kFieldSeparator = '-';
// The code field holds this many units of the code at most.
constexpr std::uint32_t kCodeUnits = 4;
// "%03ld" of any 32-bit long: a sign and ten digits.
constexpr int kNumberUnits = 11;

WCHAR TypeDigit(ULONG type) {
  switch (type) {
    case 1:
      return '1';
    case 2:
      return '2';
    case 4:
      return '3';
    case 8:
      return '4';
    case 16:
      return '5';
    default:
      return '?';
  }
}

// "%03ld": at least three units, the sign counted among them and zeros
// between it and the digits. Returns the count, at most kNumberUnits.
int FormatNumber(LONG number, WCHAR (&out)[kNumberUnits]) {
  // The magnitude of LONG_MIN doesn't fit a LONG: work in 64 bits.
  std::int64_t value = number;
  const bool negative = value < 0;
  if (negative) value = -value;
  WCHAR digits[kNumberUnits];
  int count = 0;
  do {
    digits[count++] = static_cast<WCHAR>('0' + value % 10);
    value /= 10;
  } while (value != 0);
  int n = 0;
  if (negative) out[n++] = '-';
  for (int pad = 3 - (negative ? 1 : 0) - count; pad > 0; --pad) out[n++] = '0';
  while (count > 0) out[n++] = digits[--count];
  return n;
}

std::uint32_t BoundedLength(const WCHAR* text) {
  return text == nullptr ? 0 : WideTextLength(text);
}

void Put(WCHAR*& out, const WCHAR* from, std::size_t count) {
  std::memcpy(out, from, count * sizeof(WCHAR));
  out += count;
}

}  // namespace

Composite WriteComposite(ULONG type, const WCHAR* text, const WCHAR* origin,
                         const WCHAR* originCode) {
  // The number is what stands before the first '$'. wcstol stops at the
  // '$' by itself, since it can't continue a number, so it reads the whole
  // text and no copy of the prefix is needed.
  const WCHAR* message = text;
  LONG number = 0;
  for (const WCHAR* p = text; *p != 0; ++p) {
    if (*p == '$') {
      number = platform::wcstol(text, nullptr, 10);
      message = p + 1;
      break;
    }
  }
  WCHAR numberText[kNumberUnits];
  const int numberLength = FormatNumber(number, numberText);

  const std::uint32_t messageLength = BoundedLength(message);
  const std::uint32_t originLength = BoundedLength(origin);
  WCHAR code[kCodeUnits];
  std::uint32_t codeLength = 0;
  if (originLength != 0 && originCode != nullptr) {
    for (; codeLength < kCodeUnits && originCode[codeLength] != 0;
         ++codeLength) {
      code[codeLength] = platform::towupper(originCode[codeLength]);
    }
  }

  const std::uint64_t length =
      std::uint64_t{messageLength} + kMarkerLength + 1 + numberLength +
      (codeLength != 0 ? 1 + codeLength : 0) +
      (originLength != 0 ? std::uint64_t{1} + originLength : 0) + kMarkerLength;
  const ULONG errorNum = type * 1000u + static_cast<ULONG>(number);
  if (length > kMaxBlockCapacity) return {nullptr, errorNum};
  CKZStringBlock* block =
      kzblock::CreateWide(nullptr, static_cast<std::uint32_t>(length));
  if (block == nullptr) return {nullptr, errorNum};

  WCHAR* out = block->wideBuffer;
  Put(out, message, messageLength);
  Put(out, kStartMarker, kMarkerLength);
  *out++ = TypeDigit(type);
  Put(out, numberText, static_cast<std::size_t>(numberLength));
  // The last argument's field stands first.
  if (codeLength != 0) {
    *out++ = kFieldSeparator;
    Put(out, code, codeLength);
  }
  if (originLength != 0) {
    *out++ = kFieldSeparator;
    Put(out, origin, originLength);
  }
  Put(out, kEndMarker, kMarkerLength);
  *out = 0;
  return {block, errorNum};
}

Layout ReadComposite(const WCHAR* text, std::uint32_t length) {
  Layout layout{false, length, length, length, length};
  const std::size_t start = kzscan::best::FindText(text, length, kStartMarker);
  if (start == kzscan::kNone) return layout;
  layout.marked = true;
  layout.start = static_cast<std::uint32_t>(start);
  // The section runs from behind the start marker; the end marker is looked
  // for there only, so the two never overlap.
  const std::uint32_t from = layout.start + kMarkerLength;
  const std::size_t end =
      kzscan::best::FindText(text + from, length - from, kEndMarker);
  if (end != kzscan::kNone) {
    layout.sectionEnd = from + static_cast<std::uint32_t>(end);
    layout.trailerFrom = layout.sectionEnd + kMarkerLength;
  }
  return layout;
}

CKZStringBlock* WriteDetail(const WCHAR* text, const Layout& layout) {
  const std::uint32_t from = layout.start + kMarkerLength;
  const std::uint32_t section = layout.sectionEnd - from;
  const std::uint32_t trailer = layout.length - layout.trailerFrom;
  // Every part lies in the text, so the sum stays below its length plus
  // the separator.
  const std::uint32_t length =
      section + kDetailSeparatorLength + layout.start + trailer;
  CKZStringBlock* block = kzblock::CreateWide(nullptr, length);
  if (block == nullptr) return nullptr;
  WCHAR* out = block->wideBuffer;
  Put(out, text + from, section);
  Put(out, kDetailSeparator, kDetailSeparatorLength);
  Put(out, text, layout.start);
  Put(out, text + layout.trailerFrom, trailer);
  *out = 0;
  return block;
}

}  // namespace kzmsg
