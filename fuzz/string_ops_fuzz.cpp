// Runs sequences of CKZString operations on a few values that share blocks
// with each other, against a model that knows only texts: an edit of one
// value that shows through another sharer, an in-place append that misses a
// case, a lost form or a wrong length all make the value disagree with its
// model. Texts are ASCII letters, so every form and locale agree on them.
//
// Input: the first byte picks the locale ("C" or "C.UTF-8"), then each
// operation is an opcode byte and its operand bytes.
#include <kzcommon/kzcommon.h>

#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

#include "fuzz/model_sequence.h"

namespace {

using Model = std::optional<std::u16string>;  // nullopt: a null string

constexpr int kSlots = 4;
// Joins that would pass this many units are skipped: `s += s` doubles.
constexpr std::size_t kMaxText = 4096;

using kzfuzz::Check;

class Input : public kzfuzz::ByteReader {
 public:
  using ByteReader::ByteReader;
  int Slot() { return static_cast<int>(Byte() % kSlots); }
  // Up to 15 letters; "" is a text too.
  std::u16string Text() {
    const unsigned n = Byte() % 16;
    std::u16string t;
    for (unsigned i = 0; i < n; ++i) t.push_back(Letter());
    return t;
  }
  char16_t Letter() {
    const unsigned b = Byte() % 52;
    return static_cast<char16_t>(b < 26 ? 'a' + b : 'A' + (b - 26));
  }
};

std::string Narrow(const std::u16string& t) {
  return std::string(t.begin(), t.end());
}

const WCHAR* W(const std::u16string& t) {
  return reinterpret_cast<const WCHAR*>(t.c_str());
}

std::u16string Mapped(std::u16string t, bool upper) {
  for (char16_t& c : t) {
    if (upper && c >= 'a' && c <= 'z') c = static_cast<char16_t>(c - 32);
    if (!upper && c >= 'A' && c <= 'Z') c = static_cast<char16_t>(c + 32);
  }
  return t;
}

bool IsEmpty(const Model& m) { return !m || m->empty(); }

// The value holds exactly the model's text, in both forms.
void Verify(const CKZString& s, const Model& m) {
  const WCHAR* wide = s;
  if (!m) {
    Check(wide == nullptr && static_cast<const char*>(s) == nullptr);
    Check(s.Length() == 0 && s.MbsLength() == 0);
    return;
  }
  Check(wide != nullptr);
  Check(s.Length() == m->size());
  Check(std::memcmp(wide, m->c_str(), (m->size() + 1) * sizeof(WCHAR)) == 0);
  const char* mbs = s;
  Check(mbs != nullptr && s.MbsLength() == m->size());
  Check(Narrow(*m) == mbs);
}

void Step(Input& in, CKZString (&s)[kSlots], Model (&m)[kSlots]) {
  const unsigned op = in.Byte() % 22;
  const int i = in.Slot();
  const int j = in.Slot();
  switch (op) {
    case 0: {
      const std::u16string t = in.Text();
      s[i] = W(t);
      m[i] = t;
      break;
    }
    case 1: {
      const std::u16string t = in.Text();
      s[i] = Narrow(t).c_str();
      m[i] = t;
      break;
    }
    case 2:
      s[i] = s[j];
      m[i] = m[j];
      break;
    case 3: {
      // Null or empty on the right changes nothing; on the left the value
      // takes the right one's text (and block). `s += s` doubles.
      const Model right = m[j];
      if (m[i] && right && m[i]->size() + right->size() > kMaxText) break;
      s[i] += s[j];
      if (!IsEmpty(right)) m[i] = IsEmpty(m[i]) ? right : *m[i] + *right;
      break;
    }
    case 4:
    case 5: {
      const std::u16string t = in.Text();
      if (op == 4) {
        s[i] += W(t);
      } else {
        s[i] += Narrow(t).c_str();
      }
      m[i] = IsEmpty(m[i]) ? t : *m[i] + t;
      break;
    }
    case 6:
    case 7: {
      const char16_t c = in.Letter();
      if (op == 6) {
        s[i] += static_cast<WCHAR>(c);
      } else {
        s[i] += static_cast<char>(c);
      }
      m[i] = IsEmpty(m[i]) ? std::u16string(1, c) : *m[i] + c;
      break;
    }
    case 8: {
      const int k = in.Slot();
      const Model left = m[j];
      const Model right = m[k];
      if (left && right && left->size() + right->size() > kMaxText) break;
      s[i] = s[j] + s[k];
      m[i] = IsEmpty(left)    ? right
             : IsEmpty(right) ? left
                              : Model(*left + *right);
      break;
    }
    case 9: {
      const std::u16string t = in.Text();
      const unsigned position = in.Byte() % 20;
      const ULONG length = s[i].Insert(position, W(t));
      if (IsEmpty(m[i]) || position > m[i]->size()) {
        m[i] = IsEmpty(m[i]) ? t : *m[i] + t;
      } else {
        m[i]->insert(position, t);
      }
      Check(length == m[i]->size());
      break;
    }
    case 10:
    case 11: {
      const unsigned n = in.Byte() % 20;
      const Model whole = m[j];
      s[i] = op == 10 ? s[j].Left(n) : s[j].Right(n);
      if (n == 0 || IsEmpty(whole)) {
        m[i] = std::nullopt;
      } else if (n >= whole->size()) {
        m[i] = whole;
      } else {
        m[i] =
            op == 10 ? whole->substr(0, n) : whole->substr(whole->size() - n);
      }
      break;
    }
    case 12: {
      const unsigned start = in.Byte() % 20;
      const unsigned pick = in.Byte() % 21;
      const ULONG count = pick == 20 ? 0xFFFFFFFFu : pick;
      const Model whole = m[j];
      s[i] = s[j].SubString(start, count);
      if (!whole || start >= whole->size()) {
        m[i] = std::nullopt;
      } else {
        m[i] = whole->substr(start, count);
      }
      break;
    }
    case 13:
    case 14: {
      const unsigned n = in.Byte() % 20;
      if (op == 13) {
        s[i].TruncateLeft(n);
      } else {
        s[i].TruncateRight(n);
      }
      if (n == 0 || !m[i]) break;
      if (m[i]->size() <= n) {
        m[i] = std::nullopt;
      } else if (op == 13) {
        m[i] = m[i]->substr(n);
      } else {
        m[i]->resize(m[i]->size() - n);
      }
      break;
    }
    case 15: {
      const bool upper = in.Byte() % 2 == 0;
      if (upper) {
        s[i].MakeUpperCase();
      } else {
        s[i].MakeLowerCase();
      }
      if (m[i]) m[i] = Mapped(*m[i], upper);
      break;
    }
    case 16: {
      const unsigned position = in.Byte() % 20;
      const char16_t c = in.Letter();
      const bool inside = m[i] && position < m[i]->size();
      Check(s[i].SetAt(position, static_cast<WCHAR>(c)) == inside);
      if (inside) (*m[i])[position] = c;
      break;
    }
    case 17:
      s[i].Empty();
      m[i] = std::nullopt;
      break;
    case 18: {
      // Order and equality, exact and without case, and search.
      const bool equal = (!m[i] && !m[j]) || (m[i] && m[j] && *m[i] == *m[j]);
      Check((s[i] == s[j]) == equal);
      const bool caseless =
          (!m[i] && !m[j]) ||
          (m[i] && m[j] && Mapped(*m[i], true) == Mapped(*m[j], true));
      Check(s[i].CaseLessEqual(s[j]) == caseless);
      const char16_t c = in.Letter();
      const LONG found = s[i].Find(static_cast<WCHAR>(c));
      const std::size_t at = m[i] ? m[i]->find(c) : std::u16string::npos;
      Check(found == (at == std::u16string::npos ? -1 : static_cast<LONG>(at)));
      break;
    }
    case 19: {
      const std::u16string t = in.Text();
      const int number = static_cast<int>(in.Byte());
      s[i].Compose(OLESTR("%s-%d"), W(t), number);
      std::u16string expected = t + u"-";
      for (char c : std::to_string(number))
        expected.push_back(static_cast<char16_t>(c));
      m[i] = expected;
      break;
    }
    case 20: {
      // A taken-over buffer, grown and freed by its own allocator later.
      const std::u16string t = in.Text();
      WCHAR* buffer =
          static_cast<WCHAR*>(std::malloc((t.size() + 1) * sizeof(WCHAR)));
      Check(buffer != nullptr);
      std::memcpy(buffer, t.c_str(), (t.size() + 1) * sizeof(WCHAR));
      s[i].Attach_CRT(buffer);
      m[i] = t;
      break;
    }
    default:
      Verify(s[i], m[i]);
      break;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  return kzfuzz::RunSequence<Input, CKZString, Model, kSlots>(data, size, Step,
                                                              Verify);
}
