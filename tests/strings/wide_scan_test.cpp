// The unit scans in every flavour, every length to 70, every position; each
// range an exact allocation, so a load past it is an over-read asan reports.
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
  std::size_t (*foldedMismatch)(const WCHAR*, const WCHAR*, std::size_t);
  std::size_t (*findText)(const WCHAR*, std::size_t, const WCHAR*);
  std::size_t (*narrowAscii)(char*, const WCHAR*, std::size_t);
  std::size_t (*widenAscii)(WCHAR*, const char*, std::size_t);
};

const Flavour kFlavours[] = {
    {"portable", kzscan::portable::FirstOf, kzscan::portable::LastOf,
     kzscan::portable::FirstMismatch, kzscan::portable::SameUnits,
     kzscan::portable::FoldedMismatch, kzscan::portable::FindText,
     kzscan::portable::NarrowAsciiPrefix, kzscan::portable::WidenAsciiPrefix},
#if defined(__SSE2__)
    {"sse2", kzscan::sse2::FirstOf, kzscan::sse2::LastOf,
     kzscan::sse2::FirstMismatch, kzscan::sse2::SameUnits,
     kzscan::sse2::FoldedMismatch, kzscan::sse2::FindText,
     kzscan::sse2::NarrowAsciiPrefix, kzscan::sse2::WidenAsciiPrefix},
#endif
};

constexpr std::size_t kMaxLength = 70;

// A high byte of 'x', so a scan by bytes would find 'x'.
constexpr WCHAR kFill = 0x7800;
// Units searched for: an ASCII letter and the largest unit.
const WCHAR kTargets[] = {static_cast<WCHAR>('x'), static_cast<WCHAR>(0xFFFF)};

template <typename Unit>
class Exact {
 public:
  explicit Exact(std::size_t size, Unit fill) : units_(new Unit[size]) {
    for (std::size_t i = 0; i < size; ++i) units_[i] = fill;
  }
  Unit& operator[](std::size_t i) { return units_[i]; }
  Unit* get() const { return units_.get(); }

 private:
  std::unique_ptr<Unit[]> units_;
};

using Range = Exact<WCHAR>;
Range Fill(std::size_t size) { return Range(size, kFill); }

std::string Where(const Flavour& f, std::size_t n, std::size_t p) {
  return std::string(f.name) + ", length " + std::to_string(n) + ", position " +
         std::to_string(p);
}

// Faults: a hit missed or the wrong one of a vector, a zero that doesn't stop
// FirstOf or stops LastOf, a compare by bytes.
TEST(WideScan, FirstOfAndLastOf) {
  for (const Flavour& f : kFlavours) {
    for (std::size_t n = 0; n <= kMaxLength; ++n) {
      for (WCHAR unit : kTargets) {
        EXPECT_EQ(n, f.firstOf(Fill(n).get(), n, unit)) << Where(f, n, n);
        EXPECT_EQ(kNone, f.lastOf(Fill(n).get(), n, unit)) << Where(f, n, n);
        for (std::size_t p = 0; p < n; ++p) {
          Range unitFirst = Fill(n);
          unitFirst[p] = unit;
          unitFirst[n - 1] = p + 1 < n ? 0 : unit;
          EXPECT_EQ(p, f.firstOf(unitFirst.get(), n, unit))
              << "unit before a zero, " << Where(f, n, p);
          Range zeroFirst = Fill(n);
          zeroFirst[p] = 0;
          zeroFirst[n - 1] = p + 1 < n ? unit : 0;
          EXPECT_EQ(p, f.firstOf(zeroFirst.get(), n, unit))
              << "zero before the unit, " << Where(f, n, p);
          EXPECT_EQ(p, f.firstOf(zeroFirst.get(), n, 0))
              << "searching for zero, " << Where(f, n, p);
          Range s = Fill(n);
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

// Faults: a difference in one byte missed, a zero not ending the walk, the fold
// by bit 0x20 alone or applied beyond ASCII.
TEST(WideScan, PairScansStopAtTheFirstPairTheyCantPass) {
  enum Scan { kMismatch, kFolded, kSame };
  struct Row {
    const char* name;
    Scan scan;
    WCHAR a, b;  // at the position
    bool stops;
  } rows[] = {
      {"high byte differs", kMismatch, kFill, kFill ^ 0x0100, true},
      {"low byte differs", kMismatch, kFill, kFill ^ 0x0001, true},
      {"largest unit", kMismatch, 0xFFFF, kFill, true},
      {"zero in both", kMismatch, 0, 0, true},
      {"zero in the first", kMismatch, 0, kFill, true},
      {"zero in the second", kMismatch, kFill, 0, true},
      {"A and a", kFolded, 'A', 'a', false},
      {"z and Z", kFolded, 'z', 'Z', false},
      {"M and M", kFolded, 'M', 'M', false},
      {"@ and `", kFolded, '@', '`', true},
      {"[ and {", kFolded, '[', '{', true},
      {"a and b", kFolded, 'a', 'b', true},
      {"zero in both", kFolded, 0, 0, true},
      {"zero and a letter", kFolded, 0, 'a', true},
      {"a letter and zero", kFolded, 'a', 0, true},
      {"the same unit, not ASCII", kFolded, 0xE9, 0xE9, true},
      {"A and a with a high byte", kFolded, 0x0141, 0x0161, true},
      {"A and a with the top bit", kFolded, 0x8041, 0x8061, true},
      {"a letter and one of 0x80 above", kFolded, 'a', 0x80 + 'a', true},
      {"zero in both", kSame, 0, 0, false},
      {"high byte differs", kSame, kFill, kFill ^ 0x0100, true},
      {"low byte differs", kSame, kFill, kFill ^ 0x0001, true},
  };
  // Background pairs that each scan passes.
  const WCHAR background[][2] = {{kFill, kFill}, {'q', 'Q'}, {kFill, kFill}};
  for (const Flavour& f : kFlavours) {
    for (std::size_t n = 0; n <= kMaxLength; ++n) {
      for (Scan scan : {kMismatch, kFolded, kSame}) {
        Exact<WCHAR> a(n, background[scan][0]), b(n, background[scan][1]);
        if (scan == kSame) {
          EXPECT_TRUE(f.sameUnits(a.get(), b.get(), n)) << Where(f, n, n);
        } else {
          EXPECT_EQ(n, (scan == kMismatch ? f.firstMismatch : f.foldedMismatch)(
                           a.get(), b.get(), n))
              << "nothing to stop, scan " << scan << ", " << Where(f, n, n);
        }
      }
      for (std::size_t p = 0; p < n; ++p) {
        for (const Row& row : rows) {
          Exact<WCHAR> a(n, background[row.scan][0]);
          Exact<WCHAR> b(n, background[row.scan][1]);
          a[p] = row.a;
          b[p] = row.b;
          // After the position the texts differ: only SameUnits may see it.
          if (row.scan != kSame) {
            for (std::size_t q = p + 1; q < n; ++q) b[q] = 1;
          }
          const std::string where =
              std::string(row.name) + ", " + Where(f, n, p);
          if (row.scan == kSame) {
            EXPECT_EQ(!row.stops, f.sameUnits(a.get(), b.get(), n)) << where;
            continue;
          }
          const auto scan =
              row.scan == kMismatch ? f.firstMismatch : f.foldedMismatch;
          const std::size_t expected = row.stops ? p : (p + 1 < n ? p + 1 : n);
          EXPECT_EQ(expected, scan(a.get(), b.get(), n)) << where;
        }
      }
    }
  }
}

Range Text(std::size_t n) {
  Range s = Fill(n + 1);
  s[n] = 0;
  return s;
}

void Put(Range& s, std::size_t at, const std::u16string& needle,
         std::size_t count) {
  for (std::size_t k = 0; k < count; ++k) s[at + k] = needle[k];
}

// Faults: a match missed in any lane, found across a zero, hidden by a failed
// candidate, or a needle read past its end.
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

// An ASCII prefix copied from `From` units to `To` units, with each of `stops`
// at every position.
template <typename From, typename To, std::size_t kStops>
void ExpectAsciiPrefixes(const Flavour& f,
                         std::size_t (*scan)(To*, const From*, std::size_t),
                         const From (&stops)[kStops]) {
  for (std::size_t n = 0; n <= kMaxLength; ++n) {
    for (std::size_t p = 0; p <= n; ++p) {
      for (From stop : stops) {
        Exact<From> text(n, 'a');
        if (p < n) text[p] = stop;
        Exact<To> out(n, '-');
        ASSERT_EQ(p, scan(out.get(), text.get(), n))
            << "unit " << static_cast<unsigned>(stop) << ", " << Where(f, n, p);
        for (std::size_t i = 0; i < n; ++i) {
          ASSERT_EQ(i < p ? 'a' : '-', out[i]) << Where(f, n, i);
        }
      }
    }
  }
}

// Faults: a unit above 0x7F narrowed or a byte widened, a zero passed, a lane
// late, a read past the limit, units after a zero copied, no terminator.
TEST(UnitScan, AsciiPrefixesLengthAndFormCopy) {
  const WCHAR wideStops[] = {0, 0x80, 0x0100, 0x0141, 0xFFFF};
  const char byteStops[] = {0, '\x80', '\xFF'};
  for (const Flavour& f : kFlavours) {
    ExpectAsciiPrefixes(f, f.narrowAscii, wideStops);
    ExpectAsciiPrefixes(f, f.widenAscii, byteStops);
  }
  for (std::size_t n = 0; n <= kMaxLength; ++n) {
    for (std::size_t limit :
         {std::size_t{0}, n / 2, n, n + 1, std::size_t{0x7FFFFFFF}}) {
      EXPECT_EQ(n < limit ? n : limit,
                kzscan::BoundedLength(Text(n).get(), limit))
          << "length " << n << ", limit " << limit;
    }
    for (std::size_t zero : {n, n / 2}) {
      Range form = Text(n);
      if (zero < n) form[zero] = 0;
      for (std::size_t length : {n / 3, n, n + 9}) {
        Range out = Fill(length + 1);
        kzscan::CopyFormUpToZero(out.get(), form.get(), n, length);
        for (std::size_t i = 0; i <= length; ++i) {
          ASSERT_EQ(i < zero && i < length ? kFill : 0, out[i])
              << "form " << n << ", zero at " << zero << ", length " << length
              << ", unit " << i;
        }
      }
    }
  }
}

}  // namespace
