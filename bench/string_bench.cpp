// kzcommon's string costs beside the types a component developer would pick
// instead: std::u16string, QString and icu::UnicodeString, on identical
// inputs. Every case is named Case/peer/size, so that bench/compare.py can
// set the peers side by side. Each case checks its result once before it is
// timed; a wrong result fails the run.
#include <benchmark/benchmark.h>
#include <kzcommon/kzcommon.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <list>
#include <map>
#include <string>
#include <vector>

#if KZ_BENCH_QT
#include <QString>
#include <QStringList>
#endif
#if KZ_BENCH_ICU
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#endif

namespace {

bool g_checkFailed = false;
std::string g_currentCase;

// Fails the case and the whole run when a result is wrong.
bool Check(benchmark::State& state, bool ok, const char* what) {
  if (!ok) {
    g_checkFailed = true;
    std::fprintf(stderr, "check failed in %s: %s\n", g_currentCase.c_str(),
                 what);
    state.SkipWithError(what);
  }
  return ok;
}

const WCHAR* AsW(const std::u16string& s) {
  return reinterpret_cast<const WCHAR*>(s.c_str());
}

// Lower-case letters and digits: the needles below never occur in it.
std::u16string Body(std::size_t n) {
  static const char16_t kAlphabet[] = u"abcdefghijklmnopqrstuvwxyz0123456789";
  std::u16string s;
  s.reserve(n);
  for (std::size_t i = 0; i < n; ++i) s.push_back(kAlphabet[i % 36]);
  return s;
}

const std::u16string kNeedle = u"QUARTZ.!";

// n units ending with the 8-unit needle.
std::u16string WithNeedleAtEnd(std::size_t n) {
  return Body(n - kNeedle.size()) + kNeedle;
}

std::u16string Upper(std::u16string s) {
  for (char16_t& c : s) {
    if (c >= u'a' && c <= u'z') c = static_cast<char16_t>(c - 32);
  }
  return s;
}

// Accented and non-Latin characters among ASCII.
std::u16string Mixed(std::size_t n) {
  static const std::u16string kPattern =
      u"h\u00e9llo w\u00f6rld \u041f\u0440\u0438\u0432\u0435\u0442 "
      u"\u65e5\u672c \u03b1\u03b2 ";
  std::u16string s;
  while (s.size() < n) s += kPattern;
  s.resize(n);
  return s;
}

std::string Utf8(const std::u16string& s) {
  std::string out;
  for (char16_t c : s) {
    if (c < 0x80) {
      out += static_cast<char>(c);
    } else if (c < 0x800) {
      out += static_cast<char>(0xC0 | c >> 6);
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
      out += static_cast<char>(0xE0 | c >> 12);
      out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return out;
}

#if KZ_BENCH_QT
QString Q(const std::u16string& s) {
  return QString::fromUtf16(s.data(), static_cast<int>(s.size()));
}
#endif
#if KZ_BENCH_ICU
icu::UnicodeString U(const std::u16string& s) {
  return icu::UnicodeString(s.data(), static_cast<int32_t>(s.size()));
}
#endif

using Case = std::function<void(benchmark::State&)>;

void Register(const std::string& name, const std::string& peer,
              std::int64_t arg, Case body) {
  std::string full = name + "/" + peer + "/" + std::to_string(arg);
  benchmark::RegisterBenchmark(full.c_str(), [body, full](benchmark::State& s) {
    g_currentCase = full;
    body(s);
  })->Arg(arg);
}

const std::int64_t kSizes[] = {16, 1024, 65536};

// ---------------------------------------------------------------- copies

void CopyCases() {
  for (std::int64_t n : kSizes) {
    const std::u16string text = Body(static_cast<std::size_t>(n));
    Register("Copy", "kzcommon", n, [text](benchmark::State& state) {
      CKZString a(AsW(text));
      {
        CKZString b(a);
        // Shared, not copied: both read the same buffer.
        if (!Check(state,
                   static_cast<const WCHAR*>(b) == static_cast<const WCHAR*>(a),
                   "copy must share"))
          return;
      }
      for (auto _ : state) {
        CKZString b(a);
        benchmark::DoNotOptimize(b);
      }
    });
    Register("Copy", "u16string", n, [text](benchmark::State& state) {
      std::u16string a(text);
      if (!Check(state, std::u16string(a) == text, "copy")) return;
      for (auto _ : state) {
        std::u16string b(a);
        benchmark::DoNotOptimize(b.data());
      }
    });
#if KZ_BENCH_QT
    Register("Copy", "QString", n, [text](benchmark::State& state) {
      QString a = Q(text);
      if (!Check(state, QString(a) == a, "copy")) return;
      for (auto _ : state) {
        QString b(a);
        benchmark::DoNotOptimize(b);
      }
    });
#endif
#if KZ_BENCH_ICU
    Register("Copy", "icu", n, [text](benchmark::State& state) {
      icu::UnicodeString a = U(text);
      if (!Check(state, icu::UnicodeString(a) == a, "copy")) return;
      for (auto _ : state) {
        icu::UnicodeString b(a);
        benchmark::DoNotOptimize(b);
      }
    });
#endif

    // Two assignments an iteration, from two different sources, so that
    // neither is a self-assignment.
    const std::u16string other = Upper(text);
    Register("Assign", "kzcommon", n, [text, other](benchmark::State& state) {
      CKZString a(AsW(text)), c(AsW(other)), b;
      b = a;
      if (!Check(state, b == a, "assign")) return;
      for (auto _ : state) {
        b = a;
        benchmark::DoNotOptimize(b);
        b = c;
        benchmark::DoNotOptimize(b);
      }
    });
    Register("Assign", "u16string", n, [text, other](benchmark::State& state) {
      std::u16string a(text), c(other), b;
      b = a;
      if (!Check(state, b == a, "assign")) return;
      for (auto _ : state) {
        b = a;
        benchmark::DoNotOptimize(b.data());
        b = c;
        benchmark::DoNotOptimize(b.data());
      }
    });
#if KZ_BENCH_QT
    Register("Assign", "QString", n, [text, other](benchmark::State& state) {
      QString a = Q(text), c = Q(other), b;
      b = a;
      if (!Check(state, b == a, "assign")) return;
      for (auto _ : state) {
        b = a;
        benchmark::DoNotOptimize(b);
        b = c;
        benchmark::DoNotOptimize(b);
      }
    });
#endif
#if KZ_BENCH_ICU
    Register("Assign", "icu", n, [text, other](benchmark::State& state) {
      icu::UnicodeString a = U(text), c = U(other), b;
      b = a;
      if (!Check(state, b == a, "assign")) return;
      for (auto _ : state) {
        b = a;
        benchmark::DoNotOptimize(b);
        b = c;
        benchmark::DoNotOptimize(b);
      }
    });
#endif
  }
}

// ---------------------------------------------------------------- appends

void AppendCases() {
  for (std::int64_t count : {std::int64_t{1000}, std::int64_t{1000000}}) {
    Register("AppendChar", "kzcommon", count, [count](benchmark::State& state) {
      for (auto _ : state) {
        CKZString s;
        for (std::int64_t i = 0; i < count; ++i) s += static_cast<WCHAR>('x');
        benchmark::DoNotOptimize(s);
        if (!Check(state, s.Length() == static_cast<ULONG>(count), "length"))
          return;
      }
    });
    Register(
        "AppendChar", "u16string", count, [count](benchmark::State& state) {
          for (auto _ : state) {
            std::u16string s;
            for (std::int64_t i = 0; i < count; ++i) s += u'x';
            benchmark::DoNotOptimize(s.data());
            if (!Check(state, s.size() == static_cast<size_t>(count), "length"))
              return;
          }
        });
#if KZ_BENCH_QT
    Register("AppendChar", "QString", count, [count](benchmark::State& state) {
      for (auto _ : state) {
        QString s;
        for (std::int64_t i = 0; i < count; ++i) s += QChar(u'x');
        benchmark::DoNotOptimize(s);
        if (!Check(state, s.size() == count, "length")) return;
      }
    });
#endif
#if KZ_BENCH_ICU
    Register("AppendChar", "icu", count, [count](benchmark::State& state) {
      for (auto _ : state) {
        icu::UnicodeString s;
        for (std::int64_t i = 0; i < count; ++i)
          s.append(static_cast<UChar>(u'x'));
        benchmark::DoNotOptimize(s);
        if (!Check(state, s.length() == count, "length")) return;
      }
    });
#endif
  }

  const std::u16string chunk = Body(64);
  for (std::int64_t count : {std::int64_t{1000}, std::int64_t{16384}}) {
    const std::size_t total = static_cast<std::size_t>(count) * 64;
    Register("AppendChunk", "kzcommon", count,
             [chunk, count, total](benchmark::State& state) {
               // Each peer appends a value of its own type, length known.
               const CKZString piece(AsW(chunk));
               for (auto _ : state) {
                 CKZString s;
                 for (std::int64_t i = 0; i < count; ++i) s += piece;
                 benchmark::DoNotOptimize(s);
                 if (!Check(state, s.Length() == total, "length")) return;
               }
             });
    Register("AppendChunk", "u16string", count,
             [chunk, count, total](benchmark::State& state) {
               for (auto _ : state) {
                 std::u16string s;
                 for (std::int64_t i = 0; i < count; ++i) s += chunk;
                 benchmark::DoNotOptimize(s.data());
                 if (!Check(state, s.size() == total, "length")) return;
               }
             });
#if KZ_BENCH_QT
    Register(
        "AppendChunk", "QString", count,
        [chunk, count, total](benchmark::State& state) {
          const QString q = Q(chunk);
          for (auto _ : state) {
            QString s;
            for (std::int64_t i = 0; i < count; ++i) s += q;
            benchmark::DoNotOptimize(s);
            if (!Check(state, static_cast<size_t>(s.size()) == total, "length"))
              return;
          }
        });
#endif
#if KZ_BENCH_ICU
    Register("AppendChunk", "icu", count,
             [chunk, count, total](benchmark::State& state) {
               const icu::UnicodeString u = U(chunk);
               for (auto _ : state) {
                 icu::UnicodeString s;
                 for (std::int64_t i = 0; i < count; ++i) s += u;
                 benchmark::DoNotOptimize(s);
                 if (!Check(state, static_cast<size_t>(s.length()) == total,
                            "length"))
                   return;
               }
             });
#endif
  }
}

// ---------------------------------------------------------------- search

void SearchCases() {
  for (std::int64_t n : kSizes) {
    const std::u16string text = WithNeedleAtEnd(static_cast<std::size_t>(n));
    const long needleAt = static_cast<long>(n) - 8;
    // A character only at the end, and one only at the start.
    std::u16string chars = Body(static_cast<std::size_t>(n));
    chars.back() = u'Z';
    chars.front() = u'Y';
    const long last = static_cast<long>(n) - 1;

    Register("FindNeedle", "kzcommon", n,
             [text, needleAt](benchmark::State& state) {
               CKZString s(AsW(text));
               const WCHAR* needle = AsW(kNeedle);
               if (!Check(state, s.Find(needle) == needleAt, "position"))
                 return;
               for (auto _ : state) benchmark::DoNotOptimize(s.Find(needle));
             });
    Register("FindNeedle", "u16string", n,
             [text, needleAt](benchmark::State& state) {
               const std::u16string& s = text;
               if (!Check(state, static_cast<long>(s.find(kNeedle)) == needleAt,
                          "position"))
                 return;
               for (auto _ : state) benchmark::DoNotOptimize(s.find(kNeedle));
             });
#if KZ_BENCH_QT
    Register("FindNeedle", "QString", n,
             [text, needleAt](benchmark::State& state) {
               QString s = Q(text), needle = Q(kNeedle);
               if (!Check(state, s.indexOf(needle) == needleAt, "position"))
                 return;
               for (auto _ : state) benchmark::DoNotOptimize(s.indexOf(needle));
             });
#endif
#if KZ_BENCH_ICU
    Register("FindNeedle", "icu", n, [text, needleAt](benchmark::State& state) {
      icu::UnicodeString s = U(text), needle = U(kNeedle);
      if (!Check(state, s.indexOf(needle) == needleAt, "position")) return;
      for (auto _ : state) benchmark::DoNotOptimize(s.indexOf(needle));
    });
#endif

    Register("FindChar", "kzcommon", n, [chars, last](benchmark::State& state) {
      CKZString s(AsW(chars));
      if (!Check(state, s.Find(static_cast<WCHAR>('Z')) == last, "position"))
        return;
      for (auto _ : state)
        benchmark::DoNotOptimize(s.Find(static_cast<WCHAR>('Z')));
    });
    Register("FindChar", "u16string", n,
             [chars, last](benchmark::State& state) {
               const std::u16string& s = chars;
               if (!Check(state, static_cast<long>(s.find(u'Z')) == last,
                          "position"))
                 return;
               for (auto _ : state) benchmark::DoNotOptimize(s.find(u'Z'));
             });
#if KZ_BENCH_QT
    Register("FindChar", "QString", n, [chars, last](benchmark::State& state) {
      QString s = Q(chars);
      if (!Check(state, s.indexOf(QChar(u'Z')) == last, "position")) return;
      for (auto _ : state) benchmark::DoNotOptimize(s.indexOf(QChar(u'Z')));
    });
#endif
#if KZ_BENCH_ICU
    Register("FindChar", "icu", n, [chars, last](benchmark::State& state) {
      icu::UnicodeString s = U(chars);
      if (!Check(state, s.indexOf(static_cast<UChar>(u'Z')) == last,
                 "position"))
        return;
      for (auto _ : state)
        benchmark::DoNotOptimize(s.indexOf(static_cast<UChar>(u'Z')));
    });
#endif

    Register(
        "ReverseFindChar", "kzcommon", n, [chars](benchmark::State& state) {
          CKZString s(AsW(chars));
          if (!Check(state, s.ReverseFind(static_cast<WCHAR>('Y')) == 0,
                     "position"))
            return;
          for (auto _ : state)
            benchmark::DoNotOptimize(s.ReverseFind(static_cast<WCHAR>('Y')));
        });
    Register("ReverseFindChar", "u16string", n,
             [chars](benchmark::State& state) {
               const std::u16string& s = chars;
               if (!Check(state, s.rfind(u'Y') == 0, "position")) return;
               for (auto _ : state) benchmark::DoNotOptimize(s.rfind(u'Y'));
             });
#if KZ_BENCH_QT
    Register("ReverseFindChar", "QString", n, [chars](benchmark::State& state) {
      QString s = Q(chars);
      if (!Check(state, s.lastIndexOf(QChar(u'Y')) == 0, "position")) return;
      for (auto _ : state) benchmark::DoNotOptimize(s.lastIndexOf(QChar(u'Y')));
    });
#endif
#if KZ_BENCH_ICU
    Register("ReverseFindChar", "icu", n, [chars](benchmark::State& state) {
      icu::UnicodeString s = U(chars);
      if (!Check(state, s.lastIndexOf(static_cast<UChar>(u'Y')) == 0,
                 "position"))
        return;
      for (auto _ : state)
        benchmark::DoNotOptimize(s.lastIndexOf(static_cast<UChar>(u'Y')));
    });
#endif
  }
}

// ---------------------------------------------------------------- compare

void CompareCases() {
  for (std::int64_t n : kSizes) {
    const std::u16string text = Body(static_cast<std::size_t>(n));
    const std::u16string upper = Upper(text);
    Register("CompareEqual", "kzcommon", n, [text](benchmark::State& state) {
      // Two blocks: equal texts that do not share.
      CKZString a(AsW(text)), b(AsW(text));
      if (!Check(state,
                 static_cast<const WCHAR*>(a) != static_cast<const WCHAR*>(b) &&
                     a == b,
                 "equal, unshared"))
        return;
      for (auto _ : state) benchmark::DoNotOptimize(a == b);
    });
    Register("CompareEqual", "u16string", n, [text](benchmark::State& state) {
      std::u16string a(text), b(text);
      if (!Check(state, a == b, "equal")) return;
      for (auto _ : state) benchmark::DoNotOptimize(a == b);
    });
#if KZ_BENCH_QT
    Register("CompareEqual", "QString", n, [text](benchmark::State& state) {
      QString a = Q(text), b = Q(text);
      if (!Check(state, a == b, "equal")) return;
      for (auto _ : state) benchmark::DoNotOptimize(a == b);
    });
#endif
#if KZ_BENCH_ICU
    Register("CompareEqual", "icu", n, [text](benchmark::State& state) {
      icu::UnicodeString a = U(text), b = U(text);
      if (!Check(state, a == b, "equal")) return;
      for (auto _ : state) benchmark::DoNotOptimize(a == b);
    });
#endif

    Register("CaseLessEqual", "kzcommon", n,
             [text, upper](benchmark::State& state) {
               CKZString a(AsW(text)), b(AsW(upper));
               if (!Check(state, a.CaseLessEqual(b) && a != b, "equal by case"))
                 return;
               for (auto _ : state)
                 benchmark::DoNotOptimize(a.CaseLessEqual(b));
             });
#if KZ_BENCH_QT
    Register(
        "CaseLessEqual", "QString", n, [text, upper](benchmark::State& state) {
          QString a = Q(text), b = Q(upper);
          if (!Check(state, a.compare(b, Qt::CaseInsensitive) == 0,
                     "equal by case"))
            return;
          for (auto _ : state)
            benchmark::DoNotOptimize(a.compare(b, Qt::CaseInsensitive) == 0);
        });
#endif
#if KZ_BENCH_ICU
    Register("CaseLessEqual", "icu", n, [text, upper](benchmark::State& state) {
      icu::UnicodeString a = U(text), b = U(upper);
      if (!Check(state, a.caseCompare(b, U_FOLD_CASE_DEFAULT) == 0,
                 "equal by case"))
        return;
      for (auto _ : state)
        benchmark::DoNotOptimize(a.caseCompare(b, U_FOLD_CASE_DEFAULT) == 0);
    });
#endif
  }
}

// ---------------------------------------------------------------- forms

// The multibyte form built from a wide-only value, in a UTF-8 locale: the
// value is made from the same wide text in each peer, then converted.
void FormCases() {
  struct Input {
    const char* name;
    std::u16string (*make)(std::size_t);
  };
  const Input inputs[] = {{"ToMbsAscii", Body}, {"ToMbsMixed", Mixed}};
  for (const Input& input : inputs) {
    for (std::int64_t n : kSizes) {
      const std::u16string text = input.make(static_cast<std::size_t>(n));
      const std::string utf8 = Utf8(text);
      Register(
          input.name, "kzcommon", n, [text, utf8](benchmark::State& state) {
            {
              CKZString s(AsW(text));
              if (!Check(state, utf8 == static_cast<const char*>(s), "UTF-8"))
                return;
            }
            for (auto _ : state) {
              CKZString s(AsW(text));
              benchmark::DoNotOptimize(static_cast<const char*>(s));
            }
          });
#if KZ_BENCH_QT
      Register(input.name, "QString", n, [text, utf8](benchmark::State& state) {
        if (!Check(state, Q(text).toUtf8().toStdString() == utf8, "UTF-8"))
          return;
        for (auto _ : state) {
          QString q = Q(text);
          QByteArray bytes = q.toUtf8();
          benchmark::DoNotOptimize(bytes.constData());
        }
      });
#endif
#if KZ_BENCH_ICU
      Register(input.name, "icu", n, [text, utf8](benchmark::State& state) {
        std::string check;
        U(text).toUTF8String(check);
        if (!Check(state, check == utf8, "UTF-8")) return;
        for (auto _ : state) {
          icu::UnicodeString u = U(text);
          std::string out;
          u.toUTF8String(out);
          benchmark::DoNotOptimize(out.data());
        }
      });
#endif
    }
  }

  for (std::int64_t n : kSizes) {
    const std::u16string text = Body(static_cast<std::size_t>(n));
    Register("RepeatedRead", "kzcommon", n, [text](benchmark::State& state) {
      CKZString s(AsW(text));
      const WCHAR* first = s;
      if (!Check(state, first == static_cast<const WCHAR*>(s), "same form"))
        return;
      for (auto _ : state)
        benchmark::DoNotOptimize(static_cast<const WCHAR*>(s));
    });
    Register("RepeatedRead", "u16string", n, [text](benchmark::State& state) {
      std::u16string s(text);
      if (!Check(state, s.c_str() == s.c_str(), "same form")) return;
      for (auto _ : state) benchmark::DoNotOptimize(s.c_str());
    });
  }
}

// ---------------------------------------------------------------- cuts

void CutCases() {
  const std::int64_t n = 1024;
  const std::u16string text = Body(static_cast<std::size_t>(n));
  const std::u16string left = text.substr(0, 512), right = text.substr(512),
                       middle = text.substr(256, 512);
  Register("Left", "kzcommon", n, [text, left](benchmark::State& state) {
    CKZString s(AsW(text));
    if (!Check(state, s.Left(512) == AsW(left), "left")) return;
    for (auto _ : state) benchmark::DoNotOptimize(s.Left(512));
  });
  Register("Right", "kzcommon", n, [text, right](benchmark::State& state) {
    CKZString s(AsW(text));
    if (!Check(state, s.Right(512) == AsW(right), "right")) return;
    for (auto _ : state) benchmark::DoNotOptimize(s.Right(512));
  });
  Register("SubString", "kzcommon", n, [text, middle](benchmark::State& state) {
    CKZString s(AsW(text));
    if (!Check(state, s.SubString(256, 512) == AsW(middle), "middle")) return;
    for (auto _ : state) benchmark::DoNotOptimize(s.SubString(256, 512));
  });
  Register("Left", "u16string", n, [text](benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(text.substr(0, 512));
  });
  Register("Right", "u16string", n, [text](benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(text.substr(512));
  });
  Register("SubString", "u16string", n, [text](benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(text.substr(256, 512));
  });
#if KZ_BENCH_QT
  Register("Left", "QString", n, [text](benchmark::State& state) {
    QString s = Q(text);
    for (auto _ : state) benchmark::DoNotOptimize(s.left(512));
  });
  Register("Right", "QString", n, [text](benchmark::State& state) {
    QString s = Q(text);
    for (auto _ : state) benchmark::DoNotOptimize(s.right(512));
  });
  Register("SubString", "QString", n, [text](benchmark::State& state) {
    QString s = Q(text);
    for (auto _ : state) benchmark::DoNotOptimize(s.mid(256, 512));
  });
#endif
#if KZ_BENCH_ICU
  Register("Left", "icu", n, [text](benchmark::State& state) {
    icu::UnicodeString s = U(text);
    for (auto _ : state)
      benchmark::DoNotOptimize(icu::UnicodeString(s, 0, 512));
  });
  Register("Right", "icu", n, [text](benchmark::State& state) {
    icu::UnicodeString s = U(text);
    for (auto _ : state) benchmark::DoNotOptimize(icu::UnicodeString(s, 512));
  });
  Register("SubString", "icu", n, [text](benchmark::State& state) {
    icu::UnicodeString s = U(text);
    for (auto _ : state)
      benchmark::DoNotOptimize(icu::UnicodeString(s, 256, 512));
  });
#endif
}

// ---------------------------------------------------------------- compose

void ComposeCases() {
  Register("ComposeMbs", "kzcommon", 0, [](benchmark::State& state) {
    CKZString s;
    s.Compose("%s: %d items at %s", "orders", 42, "10:15");
    if (!Check(state, s == "orders: 42 items at 10:15", "text")) return;
    for (auto _ : state) {
      s.Compose("%s: %d items at %s", "orders", 42, "10:15");
      benchmark::DoNotOptimize(s);
    }
  });
  Register("ComposeMbs", "snprintf", 0, [](benchmark::State& state) {
    char buffer[576];
    std::snprintf(buffer, sizeof buffer, "%s: %d items at %s", "orders", 42,
                  "10:15");
    if (!Check(state, std::strcmp(buffer, "orders: 42 items at 10:15") == 0,
               "text"))
      return;
    for (auto _ : state) {
      std::snprintf(buffer, sizeof buffer, "%s: %d items at %s", "orders", 42,
                    "10:15");
      benchmark::DoNotOptimize(buffer);
    }
  });
  Register("ComposeWide", "kzcommon", 0, [](benchmark::State& state) {
    CKZString s;
    s.Compose(OLESTR("%s: %d items at %s"), OLESTR("orders"), 42,
              OLESTR("10:15"));
    if (!Check(state, s == OLESTR("orders: 42 items at 10:15"), "text")) return;
    for (auto _ : state) {
      s.Compose(OLESTR("%s: %d items at %s"), OLESTR("orders"), 42,
                OLESTR("10:15"));
      benchmark::DoNotOptimize(s);
    }
  });
#if KZ_BENCH_QT
// QString::asprintf reads %ls as UTF-16, which the printf format check
// cannot know.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"
  Register("ComposeWide", "QString", 0, [](benchmark::State& state) {
    QString s =
        QString::asprintf("%ls: %d items at %ls", u"orders", 42, u"10:15");
    if (!Check(state, s == QStringLiteral("orders: 42 items at 10:15"), "text"))
      return;
    for (auto _ : state) {
      s = QString::asprintf("%ls: %d items at %ls", u"orders", 42, u"10:15");
      benchmark::DoNotOptimize(s);
    }
  });
#pragma GCC diagnostic pop
#endif
}

// ---------------------------------------------------------------- resources

void ResourceCases() {
  HMODULE module = LoadLibraryW(OLESTR("kzcommon_bench_messages"));
  static const WCHAR kExpected[] =
      OLESTR("5$The operation ended without a problem.");
  Register("LoadString", "kzcommon", 40, [module](benchmark::State& state) {
    CKZString s;
    s.LoadStringW(module, 1);
    if (!Check(state, module != nullptr && s == kExpected, "text")) return;
    for (auto _ : state) {
      s.LoadStringW(module, 1);
      benchmark::DoNotOptimize(s);
    }
  });
  Register("LoadString", "platform", 40, [module](benchmark::State& state) {
    WCHAR buffer[256];
    int n = LoadStringW(module, 1, buffer, 256);
    if (!Check(state, n == 40 && CKZString(buffer) == kExpected, "text"))
      return;
    for (auto _ : state) {
      benchmark::DoNotOptimize(LoadStringW(module, 1, buffer, 256));
    }
  });

  // A catalog fetch without arguments against what a caller of the platform
  // would write: LoadStringW into a stack buffer, then a string of the text.
  // CatalogFetch goes through an object that holds its module; in
  // CatalogFirstFetch each fetch is the first of a new object, which finds
  // the table's entry under the lock.
  static const WCHAR kCatalog[] = OLESTR("kzcommon_bench_messages");
  auto platformFetch = [module](benchmark::State& state) {
    WCHAR buffer[256];
    auto fetch = [&] {
      int n = LoadStringW(module, 1, buffer, 256);
      return std::u16string(reinterpret_cast<const char16_t*>(buffer),
                            static_cast<std::size_t>(n > 0 ? n : 0));
    };
    if (!Check(state, CKZString(AsW(fetch())) == kExpected, "text")) return;
    for (auto _ : state) {
      std::u16string text = fetch();
      benchmark::DoNotOptimize(text);
    }
  };
  Register("CatalogFetch", "kzcommon", 40, [](benchmark::State& state) {
    CKZCatalog catalog(kCatalog);
    CKZString out;
    HRESULT hr = catalog.GetMsgEx(out, 1, nullptr);
    if (!Check(state, hr == S_OK && out == kExpected, "text")) return;
    for (auto _ : state) {
      benchmark::DoNotOptimize(catalog.GetMsgEx(out, 1, nullptr));
    }
  });
  Register("CatalogFetch", "platform", 40, platformFetch);
  Register("CatalogFirstFetch", "kzcommon", 40, [](benchmark::State& state) {
    CKZCatalog holder(kCatalog);
    CKZString out;
    HRESULT hr = holder.GetMsgEx(out, 1, nullptr);
    if (!Check(state, hr == S_OK && out == kExpected, "text")) return;
    for (auto _ : state) {
      CKZCatalog catalog(kCatalog);
      benchmark::DoNotOptimize(catalog.GetMsgEx(out, 1, nullptr));
    }
  });
  Register("CatalogFirstFetch", "platform", 40, platformFetch);
}

// ---------------------------------------------------------------- tokens

// 164 tokens of five or six units with a comma behind each but the last:
// 1,024 units in all.
std::u16string CommaList() {
  const std::u16string units = Body(6 * 164);
  std::u16string s;
  std::size_t from = 0;
  for (int i = 0; i < 164; ++i) {
    const std::size_t n = i % 4 == 0 ? 6 : 5;
    if (i != 0) s += u',';
    s += units.substr(from, n);
    from += n;
  }
  return s;
}

void TokenCases() {
  const std::u16string text = CommaList();
  const std::int64_t n = static_cast<std::int64_t>(text.size());
  Register("AddTokens", "kzcommon", n, [text](benchmark::State& state) {
    const CKZString s(AsW(text));
    {
      CKZStringToken list;
      list.AddTokens(s);
      if (!Check(state,
                 list.GetCount() == 164 &&
                     list.GetNthToken(163) == AsW(text.substr(1019)),
                 "tokens"))
        return;
    }
    for (auto _ : state) {
      CKZStringToken list;
      list.AddTokens(s);
      benchmark::DoNotOptimize(list);
    }
  });
  Register("GetTokensList", "kzcommon", n, [text](benchmark::State& state) {
    CKZStringToken list;
    list.AddTokens(AsW(text));
    if (!Check(state, list.GetTokensList() == AsW(text), "joined")) return;
    for (auto _ : state) {
      CKZString joined = list.GetTokensList();
      benchmark::DoNotOptimize(joined);
    }
  });
#if KZ_BENCH_QT
  Register("AddTokens", "QString", n, [text](benchmark::State& state) {
    const QString s = Q(text);
    {
      const QStringList parts = s.split(QLatin1Char(','), Qt::SkipEmptyParts);
      if (!Check(state,
                 parts.size() == 164 && parts.last() == Q(text.substr(1019)),
                 "tokens"))
        return;
    }
    for (auto _ : state) {
      QStringList parts = s.split(QLatin1Char(','), Qt::SkipEmptyParts);
      benchmark::DoNotOptimize(parts);
    }
  });
  Register("GetTokensList", "QString", n, [text](benchmark::State& state) {
    const QStringList parts =
        Q(text).split(QLatin1Char(','), Qt::SkipEmptyParts);
    if (!Check(state, parts.join(QLatin1Char(',')) == Q(text), "joined"))
      return;
    for (auto _ : state) {
      QString joined = parts.join(QLatin1Char(','));
      benchmark::DoNotOptimize(joined);
    }
  });
#endif
}

// ---------------------------------------------------------------- messages

// A short message with origin and code, written as a composite; the peer
// prints the same composite from its parts with snprintf.
void MessageCases() {
  static const WCHAR kExpected[] =
      OLESTR("Unexpected failure._$S_2006-PARS-Backup_$E_");
  Register("FormatMsg", "kzcommon", 0, [](benchmark::State& state) {
    CKZMsgString m;
    m.FormatMsg(2, OLESTR("6$Unexpected failure."), OLESTR("Backup"),
                OLESTR("parser"));
    if (!Check(state, m == kExpected && m.GetErrorNum() == 2006, "text"))
      return;
    for (auto _ : state) {
      m.FormatMsg(2, OLESTR("6$Unexpected failure."), OLESTR("Backup"),
                  OLESTR("parser"));
      benchmark::DoNotOptimize(m);
    }
  });
  Register("FormatMsg", "snprintf", 0, [](benchmark::State& state) {
    char buffer[128];
    const auto print = [&buffer] {
      return std::snprintf(buffer, sizeof buffer, "%s_$S_%c%03ld-%.*s-%s_$E_",
                           "Unexpected failure.", '2', 6L, 4, "PARS", "Backup");
    };
    print();
    if (!Check(state, CKZString(buffer) == kExpected, "text")) return;
    for (auto _ : state) {
      benchmark::DoNotOptimize(print());
      benchmark::DoNotOptimize(buffer);
    }
  });
}

// ---------------------------------------------------------------- errors

// A client whose catalog is the benchmarks' module, or none (empty name).
class BenchClient : public CKZErrorHandling {
 public:
  explicit BenchClient(const WCHAR* catalog) : catalog_(catalog) {}

 protected:
  const WCHAR* GetCatalogName() override { return catalog_; }
  HRESULT OnMessage(CKZMsgString&) override { return S_OK; }

 private:
  const WCHAR* catalog_;
};

// The queued text after one Raise(E_FAIL), cleared again.
std::u16string RaisedText(BenchClient& client) {
  CKZErrorHandling::ClearMessageQueue();
  if (client.Raise(E_FAIL) != S_OK) return u"(not raised)";
  CKZErrorHandling::MessageList list;
  CKZErrorHandling::GetMessageQueue(list);
  CKZErrorHandling::ClearMessageQueue();
  if (list.Size() != 1) return u"(not queued)";
  const WCHAR* text = list.begin()->messageText;
  std::u16string out;
  for (; *text != 0; ++text) out.push_back(static_cast<char16_t>(*text));
  return out;
}

// What a component would write by hand instead: a map from result code to
// message, the text from memory, a list of messages pushed and cleared.
struct HandWritten {
  struct Entry {
    unsigned long msgId;
    unsigned long type;
  };
  struct Message {
    HRESULT code;
    unsigned long type;
    std::u16string text;
  };
  std::map<HRESULT, Entry> map = {{E_FAIL, {1, 2}},
                                  {E_INVALIDARG, {29, 2}},
                                  {E_OUTOFMEMORY, {4, 2}},
                                  {E_POINTER, {6, 2}}};
  std::map<unsigned long, std::u16string> texts = {
      {1, u"5$The operation ended without a problem."},
      {4, u"2$Out of memory"},
      {6, u"4$Invalid pointer"},
      {29, u"28$Invalid argument specified."}};
  std::list<Message> queue;

  void Raise(HRESULT hr) {
    const auto entry = map.find(hr);
    if (entry == map.end()) return;
    const auto text = texts.find(entry->second.msgId);
    if (text == texts.end()) return;
    queue.push_back({hr, entry->second.type, text->second});
  }
};

// Raise(E_FAIL) and ClearMessageQueue: the gate, the default map, the
// client's catalog (a new CKZCatalog each time, as each raise makes one),
// the queue entry and its removal. RaiseLibraryText names no catalog, so the
// library's own table answers after the client's empty name fails.
void ErrorCases() {
  static const WCHAR kCatalog[] = OLESTR("kzcommon_bench_messages");
  const struct {
    const char* name;
    const WCHAR* catalog;
    const char16_t* text;
  } cases[] = {
      {"RaiseClientText", kCatalog,
       u"5$The operation ended without a problem."},
      {"RaiseLibraryText", OLESTR(""), u"0$Unspecified failure"},
  };
  for (const auto& c : cases) {
    const WCHAR* catalog = c.catalog;
    const std::u16string expected = c.text;
    Register(c.name, "kzcommon", 0,
             [catalog, expected](benchmark::State& state) {
               BenchClient client(catalog);
               if (!Check(state, RaisedText(client) == expected, "text"))
                 return;
               for (auto _ : state) {
                 benchmark::DoNotOptimize(client.Raise(E_FAIL));
                 CKZErrorHandling::ClearMessageQueue();
               }
             });
    Register(c.name, "stdmap", 0, [](benchmark::State& state) {
      HandWritten peer;
      peer.Raise(E_FAIL);
      if (!Check(state,
                 peer.queue.size() == 1 &&
                     peer.queue.front().text ==
                         u"5$The operation ended without a problem.",
                 "text")) {
        return;
      }
      peer.queue.clear();
      for (auto _ : state) {
        peer.Raise(E_FAIL);
        benchmark::DoNotOptimize(peer.queue.back());
        peer.queue.clear();
      }
    });
  }
}

}  // namespace

int main(int argc, char** argv) {
  // The form cases convert in a UTF-8 locale.
  if (std::setlocale(LC_ALL, "C.UTF-8") == nullptr) {
    std::fprintf(stderr, "no C.UTF-8 locale\n");
    return 2;
  }
  CopyCases();
  AppendCases();
  SearchCases();
  CompareCases();
  FormCases();
  CutCases();
  ComposeCases();
  ResourceCases();
  TokenCases();
  MessageCases();
  ErrorCases();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return g_checkFailed ? 1 : 0;
}
