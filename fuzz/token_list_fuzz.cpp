// Runs sequences of token-list operations on a few lists that share blocks
// with each other, against a model that is a vector of texts and a
// delimiter: a split that loses or invents a token, a removal that takes
// the wrong duplicate, an assignment that leaves a surplus token or a copy
// that shares storage all make a list disagree with its model. Texts come
// from a small alphabet of letters, separators and two units above 255.
//
// Input: the first byte picks the locale ("C" or "C.UTF-8"), then each
// operation is an opcode byte and its operand bytes.
#include <kzcommon/kzcommon.h>

#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/model_sequence.h"

namespace {

struct Model {
  std::vector<std::u16string> tokens;
  std::optional<std::u16string> delimiter = std::u16string(u",");
};

constexpr int kSlots = 3;
// Lists that would pass this many tokens take no more.
constexpr std::size_t kMaxTokens = 2048;

using kzfuzz::Check;

// Units 0-6 are ASCII, so a text of them has a multibyte form in any locale.
const char16_t kAlphabet[] = {u'a', u'b', u'A',      u',',     u';',
                              u' ', u'c', u'\u3001', u'\u65e5'};
constexpr unsigned kAsciiUnits = 7;

class Input : public kzfuzz::ByteReader {
 public:
  using ByteReader::ByteReader;
  int Slot() { return static_cast<int>(Byte() % kSlots); }
  std::u16string Text(bool ascii) {
    const unsigned n = Byte() % 12;
    std::u16string t;
    const unsigned units = ascii ? kAsciiUnits : sizeof kAlphabet / 2;
    for (unsigned i = 0; i < n; ++i) t.push_back(kAlphabet[Byte() % units]);
    return t;
  }
};

const WCHAR* W(const std::u16string& t) {
  return reinterpret_cast<const WCHAR*>(t.c_str());
}

std::string Narrow(const std::u16string& t) {
  return std::string(t.begin(), t.end());
}

std::u16string Read(const CKZString& s) {
  const WCHAR* w = s;
  Check(w != nullptr);
  return std::u16string(reinterpret_cast<const char16_t*>(w));
}

// wcstok: every unit of the delimiter separates, runs count as one.
std::vector<std::u16string> Split(const std::u16string& text,
                                  const std::u16string& delimiter) {
  std::vector<std::u16string> out;
  std::u16string token;
  for (char16_t c : text) {
    if (delimiter.find(c) != std::u16string::npos) {
      if (!token.empty()) out.push_back(token);
      token.clear();
    } else {
      token.push_back(c);
    }
  }
  if (!token.empty()) out.push_back(token);
  return out;
}

void Verify(const CKZStringToken& list, const Model& m) {
  Check(list.GetCount() == m.tokens.size());
  for (std::size_t i = 0; i < m.tokens.size(); ++i) {
    Check(Read(list.GetNthToken(static_cast<ULONG>(i))) == m.tokens[i]);
  }
  const WCHAR* none = list.GetNthToken(static_cast<ULONG>(m.tokens.size()));
  Check(none == nullptr);
  const CKZString delimiter = list.GetDelimiter();
  if (m.delimiter) {
    Check(Read(delimiter) == *m.delimiter);
  } else {
    Check(static_cast<const WCHAR*>(delimiter) == nullptr);
  }
}

void Step(Input& in, CKZStringToken (&s)[kSlots], Model (&m)[kSlots]) {
  const unsigned op = in.Byte() % 10;
  const int i = in.Slot();
  const int j = in.Slot();
  switch (op) {
    case 0:
    case 1: {
      // Wide or multibyte text; the split goes by the wide form either way.
      const bool mbs = op == 1;
      const std::u16string t = in.Text(mbs);
      const std::vector<std::u16string> parts =
          Split(t, m[i].delimiter.value_or(u""));
      if (m[i].tokens.size() + parts.size() > kMaxTokens) break;
      const HRESULT hr =
          mbs ? s[i].AddTokens(Narrow(t).c_str()) : s[i].AddTokens(W(t));
      Check(hr == S_OK);
      m[i].tokens.insert(m[i].tokens.end(), parts.begin(), parts.end());
      break;
    }
    case 2: {
      const std::u16string t = in.Text(false);
      const HRESULT hr = s[i].RemoveToken(W(t));
      auto& tokens = m[i].tokens;
      auto at = tokens.begin();
      while (at != tokens.end() && *at != t) ++at;
      Check(hr == (at == tokens.end() ? S_FALSE : S_OK));
      if (at != tokens.end()) tokens.erase(at);
      break;
    }
    case 3: {
      // Look up a token that is there, or any text.
      std::u16string t = in.Text(false);
      if (!m[i].tokens.empty() && in.Byte() % 2 == 0) {
        t = m[i].tokens[in.Byte() % m[i].tokens.size()];
      }
      bool found = false;
      for (const std::u16string& token : m[i].tokens) found |= token == t;
      Check(s[i].IsInList(W(t)) == found);
      break;
    }
    case 4: {
      const unsigned kind = in.Byte() % 3;
      const std::u16string t = in.Text(kind == 1);
      if (kind == 0) {
        s[i].SetDelimiter(W(t));
        m[i].delimiter = t;
      } else if (kind == 1) {
        s[i].SetDelimiter(Narrow(t).c_str());
        m[i].delimiter = t;
      } else {
        s[i].SetDelimiter(CKZString());
        m[i].delimiter = std::nullopt;
      }
      break;
    }
    case 5:
      s[i] = s[j];
      m[i] = m[j];
      break;
    case 6: {
      // Through a copy, which has room for exactly its count.
      const CKZStringToken copy(s[j]);
      Verify(copy, m[j]);
      s[i] = copy;
      m[i] = m[j];
      break;
    }
    case 7: {
      std::u16string joined;
      for (const std::u16string& token : m[i].tokens) {
        joined += token + m[i].delimiter.value_or(u"");
      }
      if (!joined.empty()) joined.pop_back();
      const CKZString result = s[i].GetTokensList();
      if (joined.empty()) {
        Check(static_cast<const WCHAR*>(result) == nullptr);
      } else {
        Check(Read(result) == joined);
      }
      break;
    }
    case 8: {
      // A token handed out and edited leaves the list alone.
      if (m[i].tokens.empty()) break;
      CKZString token =
          s[i].GetNthToken(static_cast<ULONG>(in.Byte() % m[i].tokens.size()));
      token += OLESTR("#");
      token.MakeUpperCase();
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
  return kzfuzz::RunSequence<Input, CKZStringToken, Model, kSlots>(
      data, size, Step, Verify);
}
