// A plain model of the composite message readers for the fuzz targets: the
// texts that BuildSimpleMessage and BuildDetailMessage must give, worked out
// with std::u16string, and a check of a message string against it.
#ifndef KZCOMMON_FUZZ_COMPOSITE_MODEL_H_
#define KZCOMMON_FUZZ_COMPOSITE_MODEL_H_

#include <kzcommon/kzcommon.h>

#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

#include "fuzz/model_sequence.h"

namespace model {

using Text = std::u16string;
using Value = std::optional<Text>;  // nullopt: a null string

using kzfuzz::Check;

// The first place of `needle` that lies before the text's first zero unit.
inline std::size_t Find(const Text& text, const Text& needle,
                        std::size_t from = 0) {
  const Text head = text.substr(0, text.find(u'\0'));
  return from > head.size() ? Text::npos : head.find(needle, from);
}

struct Readings {
  bool marked;
  Value simple;
  Value detail;
};

inline Readings Read(const Value& value) {
  if (!value) return {false, std::nullopt, std::nullopt};
  const Text& t = *value;
  const std::size_t start = Find(t, u"_$S_");
  if (start == Text::npos) return {false, t, t};
  // The end marker is looked for behind the start marker only.
  const Text rest = t.substr(start + 4);
  const std::size_t end = Find(rest, u"_$E_");
  const Text section = end == Text::npos ? rest : rest.substr(0, end);
  const Text trailer = end == Text::npos ? Text() : rest.substr(end + 4);
  const Text message = t.substr(0, start);
  return {true, message.empty() ? Value() : Value(message),
          Value(section + u" - " + message + trailer)};
}

// The value holds exactly the model's text, zero units included.
inline void Verify(const CKZString& s, const Value& m) {
  const WCHAR* wide = s;
  if (!m) {
    Check(wide == nullptr);
    return;
  }
  Check(wide != nullptr && s.Length() == m->size());
  Check(std::memcmp(wide, m->c_str(), (m->size() + 1) * sizeof(WCHAR)) == 0);
}

// A view's text pointer against the model, up to the model's first zero
// unit: the pointer alone tells no length.
template <typename View>
void VerifyView(View& view, const Value& m) {
  const WCHAR* wide = view;
  if (!m) {
    Check(wide == nullptr);
    return;
  }
  Check(wide != nullptr);
  std::size_t i = 0;
  for (; i < m->size() && (*m)[i] != 0; ++i) Check(wide[i] == (*m)[i]);
  Check(wide[i] == 0);
}

// Both readers, GetMsg and both views of `m`, against the model of `text`.
inline void CheckReaders(CKZMsgString& m, const Value& text) {
  const Readings expected = Read(text);
  const HRESULT hr = expected.marked ? S_OK : S_FALSE;
  CKZString out(OLESTR("x"));
  Check(m.BuildSimpleMessage(out) == hr);
  Verify(out, expected.simple);
  Check(m.BuildDetailMessage(out) == hr);
  Verify(out, expected.detail);
  const bool empty = !text || text->empty();
  for (ULONG kind = 0; kind < 4; ++kind) {
    CKZString got(OLESTR("kept"));
    const HRESULT result = m.GetMsg(kind, got);
    if (empty) {
      Check(result == E_FAIL);
      Verify(got, Text(u"kept"));
      continue;
    }
    Check(result == S_OK);
    Verify(got, kind == 0   ? expected.simple
                : kind == 1 ? expected.detail
                : kind == 2 ? text
                            : std::nullopt);
  }

  CKZSimpleMsgString simple;
  static_cast<CKZMsgString&>(simple) = m;
  CKZDetailMsgString detail;
  static_cast<CKZMsgString&>(detail) = m;
  for (int pass = 0; pass < 2; ++pass) {
    VerifyView(simple, expected.simple);
    VerifyView(detail, expected.detail);
  }
  // A built view answers from itself.
  if (expected.simple && !expected.simple->empty()) {
    Check(simple.BuildSimpleMessage(out) == S_FALSE);
    Verify(out, expected.simple);
  }
  if (expected.detail && !expected.detail->empty()) {
    Check(detail.BuildDetailMessage(out) == S_FALSE);
    Verify(out, expected.detail);
  }
}

}  // namespace model

#endif  // KZCOMMON_FUZZ_COMPOSITE_MODEL_H_
