// The unit scans behind CKZString's search and comparison, in every flavour
// that the build has, at every length from 0 to 70 units and every position:
// that covers the four-unit words, the eight-unit vectors, the rounds of 32
// units and the partial last rounds of each. Every range is an allocation of
// exactly its size, so a load past either end is a heap over-read, which the
// sanitizer build reports even where it couldn't fault.
#include "strings/internal/wide_scan.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <string>

#include "strings/internal/unit_scan.h"

namespace {

using kzscan::kNone;

struct Flavour {
  const char* name;
  std::size_t (*firstOf)(const WCHAR*, std::size_t, WCHAR);
  std::size_t (*lastOf)(const WCHAR*, std::size_t, WCHAR);
  std::size_t (*firstMismatch)(const WCHAR*, const WCHAR*, std::size_t);
  bool (*sameUnits)(const WCHAR*, const WCHAR*, std::size_t);
  std::size_t (*findText)(const WCHAR*, std::size_t, const WCHAR*);
};

const Flavour kFlavours[] = {
    {"portable", kzscan::portable::FirstOf, kzscan::portable::LastOf,
     kzscan::portable::FirstMismatch, kzscan::portable::SameUnits,
     kzscan::portable::FindText},
#if defined(__SSE2__)
    {"sse2", kzscan::sse2::FirstOf, kzscan::sse2::LastOf,
     kzscan::sse2::FirstMismatch, kzscan::sse2::SameUnits,
     kzscan::sse2::FindText},
#endif
};

constexpr std::size_t kMaxLength = 70;

// The background unit holds 'x' in its high byte, so a scan that compared
// bytes instead of units would find 'x' in it.
constexpr WCHAR kFill = 0x7800;
// Units searched for: an ASCII letter and the largest unit.
const WCHAR kTargets[] = {static_cast<WCHAR>('x'), static_cast<WCHAR>(0xFFFF)};

// Exactly `size` units, all kFill.
class Range {
 public:
  explicit Range(std::size_t size) : units_(new WCHAR[size]) {
    for (std::size_t i = 0; i < size; ++i) units_[i] = kFill;
  }
  WCHAR& operator[](std::size_t i) { return units_[i]; }
  const WCHAR* get() const { return units_.get(); }

 private:
  std::unique_ptr<WCHAR[]> units_;
};

std::string Where(const Flavour& f, std::size_t n, std::size_t p) {
  return std::string(f.name) + ", length " + std::to_string(n) + ", position " +
         std::to_string(p);
}

// Faults caught: the first hit of a vector or word missed or taken for a
// later one, a zero that doesn't stop the scan, a compare by bytes, the tail
// that reloads the last units reporting a hit before the range or none, a
// load past the range.
TEST(WideScan, FirstOfFindsTheFirstUnitOrZero) {
  for (const Flavour& f : kFlavours) {
    for (std::size_t n = 0; n <= kMaxLength; ++n) {
      for (WCHAR unit : kTargets) {
        EXPECT_EQ(n, f.firstOf(Range(n).get(), n, unit)) << Where(f, n, n);
        for (std::size_t p = 0; p < n; ++p) {
          Range unitFirst(n);
          unitFirst[p] = unit;
          unitFirst[n - 1] = p + 1 < n ? 0 : unit;
          EXPECT_EQ(p, f.firstOf(unitFirst.get(), n, unit))
              << "unit before a zero, " << Where(f, n, p);
          Range zeroFirst(n);
          zeroFirst[p] = 0;
          zeroFirst[n - 1] = p + 1 < n ? unit : 0;
          EXPECT_EQ(p, f.firstOf(zeroFirst.get(), n, unit))
              << "zero before the unit, " << Where(f, n, p);
          EXPECT_EQ(p, f.firstOf(zeroFirst.get(), n, 0))
              << "searching for zero, " << Where(f, n, p);
        }
      }
    }
  }
}

// Faults caught: the first occurrence of a vector or word returned instead
// of the last, a zero taken for the end (LastOf looks past zeros: its caller
// checks them), the first partial vector reporting a unit that lies above
// the range, a load before the range.
TEST(WideScan, LastOfFindsTheLastUnitPastZeros) {
  for (const Flavour& f : kFlavours) {
    for (std::size_t n = 0; n <= kMaxLength; ++n) {
      for (WCHAR unit : kTargets) {
        EXPECT_EQ(kNone, f.lastOf(Range(n).get(), n, unit)) << Where(f, n, n);
        for (std::size_t p = 0; p < n; ++p) {
          Range s(n);
          s[0] = unit;
          if (p >= 2) s[p - 1] = 0;
          s[p] = unit;
          if (p + 1 < n) s[p + 1] = 0;
          EXPECT_EQ(p, f.lastOf(s.get(), n, unit)) << Where(f, n, p);
          // Searched in the first p units only: the unit at p is beyond.
          EXPECT_EQ(p == 0 ? kNone : 0, f.lastOf(s.get(), p, unit))
              << "shorter range, " << Where(f, n, p);
        }
      }
    }
  }
}

// Faults caught: a difference in the high or the low byte alone missed, a
// common zero not ending the walk (units after it must not count), a zero in
// one text only not stopping it, a load past either range.
TEST(WideScan, FirstMismatchStopsAtADifferenceOrAZero) {
  struct Row {
    const char* name;
    WCHAR a, b;  // at the position; after it the texts differ
  } rows[] = {
      {"high byte differs", kFill, static_cast<WCHAR>(kFill ^ 0x0100)},
      {"low byte differs", kFill, static_cast<WCHAR>(kFill ^ 0x0001)},
      {"largest unit", 0xFFFF, kFill},
      {"zero in both", 0, 0},
      {"zero in the first", 0, kFill},
      {"zero in the second", kFill, 0},
  };
  for (const Flavour& f : kFlavours) {
    for (std::size_t n = 0; n <= kMaxLength; ++n) {
      EXPECT_EQ(n, f.firstMismatch(Range(n).get(), Range(n).get(), n))
          << "equal, " << Where(f, n, n);
      for (std::size_t p = 0; p < n; ++p) {
        for (const Row& row : rows) {
          Range a(n), b(n);
          a[p] = row.a;
          b[p] = row.b;
          for (std::size_t q = p + 1; q < n; ++q) b[q] = 1;
          EXPECT_EQ(p, f.firstMismatch(a.get(), b.get(), n))
              << row.name << ", " << Where(f, n, p);
        }
      }
    }
  }
}

// Faults caught: a difference in one byte or in the last, partial vector
// missed; zeros taken for an end (equal ranges are equal whatever they hold).
TEST(WideScan, SameUnitsSeesEveryUnit) {
  for (const Flavour& f : kFlavours) {
    for (std::size_t n = 0; n <= kMaxLength; ++n) {
      EXPECT_TRUE(f.sameUnits(Range(n).get(), Range(n).get(), n))
          << Where(f, n, n);
      for (std::size_t p = 0; p < n; ++p) {
        Range a(n), b(n);
        a[p] = b[p] = 0;
        EXPECT_TRUE(f.sameUnits(a.get(), b.get(), n))
            << "zero in both, " << Where(f, n, p);
        for (WCHAR flip : {WCHAR{0x0100}, WCHAR{0x0001}}) {
          b[p] = static_cast<WCHAR>(kFill ^ flip);
          a[p] = kFill;
          EXPECT_FALSE(f.sameUnits(a.get(), b.get(), n))
              << "flip " << static_cast<unsigned>(flip) << ", "
              << Where(f, n, p);
        }
      }
    }
  }
}

// A text of n units before its terminator, all kFill, in n + 1 units.
Range Text(std::size_t n) {
  Range s(n + 1);
  s[n] = 0;
  return s;
}

void Put(Range& s, std::size_t at, const std::u16string& needle,
         std::size_t count) {
  for (std::size_t k = 0; k < count; ++k) s[at + k] = needle[k];
}

// Faults caught: a match missed in any lane or in the last, partial round; a
// match found across a zero or after the text's end; a candidate that fails
// hiding a later one of the same vector; a needle's start at the very end
// read on past the terminator; a needle read past its own terminator.
TEST(WideScan, FindTextFindsTheFirstMatchBeforeAnyZero) {
  const std::u16string needles[] = {u"x", u"xy", u"xyz", u"xyzwvuts"};
  for (const Flavour& f : kFlavours) {
    for (const std::u16string& text : needles) {
      const std::size_t m = text.size();
      std::unique_ptr<WCHAR[]> needle(new WCHAR[m + 1]);
      for (std::size_t k = 0; k <= m; ++k) needle[k] = text.c_str()[k];
      const std::string name = "needle of " + std::to_string(m) + ", ";
      for (std::size_t n = 0; n <= kMaxLength; ++n) {
        EXPECT_EQ(kNone, f.findText(Text(n).get(), n, needle.get()))
            << name << "absent, " << Where(f, n, n);
        if (m >= 2 && n >= m - 1) {
          Range s = Text(n);
          Put(s, n - (m - 1), text, m - 1);
          EXPECT_EQ(kNone, f.findText(s.get(), n, needle.get()))
              << name << "all but its last unit at the end, " << Where(f, n, n);
        }
        for (std::size_t p = 0; p + m <= n; ++p) {
          Range s = Text(n);
          Put(s, p, text, m);
          if (p + 2 * m <= n) Put(s, n - m, text, m);
          EXPECT_EQ(p, f.findText(s.get(), n, needle.get()))
              << name << "first of two, " << Where(f, n, p);
          // Starts that match in their first units only, before the match.
          Range misses = Text(n);
          for (std::size_t q = 0; m >= 2 && q + 1 < p; q += 2) {
            Put(misses, q, text, 1);
          }
          for (std::size_t q = 0; m >= 2 && q + m - 1 < p; q += m) {
            Put(misses, q, text, m - 1);
          }
          Put(misses, p, text, m);
          EXPECT_EQ(p, f.findText(misses.get(), n, needle.get()))
              << name << "after near misses, " << Where(f, n, p);
          Range cut = Text(n);
          Put(cut, p, text, m);
          for (std::size_t z = 0; z < n; ++z) {
            const WCHAR kept = cut[z];
            cut[z] = 0;
            EXPECT_EQ(z >= p + m ? p : kNone,
                      f.findText(cut.get(), n, needle.get()))
                << name << "zero at " << z << ", " << Where(f, n, p);
            cut[z] = kept;
          }
        }
      }
    }
  }
}

// Faults caught in the length scan of text of unknown size: the masked
// first line, the rounds of four lines and the single lines after them each
// miss a zero, report one of a later line, or run past the limit. Every
// start offset within 64 bytes, every length up to three times that, limits
// around the length. The scan reads past the terminator within its aligned
// line by design, so the buffer is aligned and this test checks results,
// not where the loads go.
TEST(UnitScan, BoundedLengthStopsAtTheZeroOrTheLimit) {
  constexpr std::size_t kUnits = 256;
  alignas(64) WCHAR buffer[kUnits];
  for (std::size_t offset = 0; offset < 32; ++offset) {
    for (std::size_t length = 0; offset + length < kUnits - 1; ++length) {
      for (WCHAR& unit : buffer) unit = kFill;
      WCHAR* text = buffer + offset;
      text[length] = 0;
      const std::size_t limits[] = {0, length / 2, length, length + 1,
                                    kUnits * 4};
      for (std::size_t limit : limits) {
        const std::size_t expected = length < limit ? length : limit;
        ASSERT_EQ(expected, kzscan::BoundedLength(text, limit))
            << "offset " << offset << ", length " << length << ", limit "
            << limit;
      }
    }
  }
}

}  // namespace
