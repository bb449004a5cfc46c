// CKZSimpleMsgString and CKZDetailMsgString: one reader's result kept in a
// string of its own. The two classes differ only in the reader, so their
// FormatMsg and assignment share one body each.
#include <kzcommon/kzmsgstring.h>

namespace {

// Drops the view, then formats through the base without virtual dispatch.
// The view's block is held until the base is done, because `text` may
// point into it (a pointer that a conversion operator handed out); and it
// comes back if memory ran out, so that the object stays as it was.
HRESULT FormatDroppingView(CKZMsgString& message, CKZString& view, ULONG type,
                           const WCHAR* text, const WCHAR* origin,
                           const WCHAR* originCode) {
  const CKZString held(view);
  view.Empty();
  const HRESULT hr =
      message.CKZMsgString::FormatMsg(type, text, origin, originCode);
  if (hr == E_OUTOFMEMORY) view = held;
  return hr;
}

// Text block, error number, view: each a share, in this order.
void AssignWithView(CKZMsgString& message, CKZString& view,
                    const CKZMsgString& other, const CKZString& otherView) {
  message.CKZMsgString::operator=(other);
  view = otherView;
}

// The caching reader: a built view answers with S_FALSE; otherwise the
// base reader's answer, which the view keeps.
template <typename Reader>
HRESULT ReadThroughView(CKZString& view, CKZString& out, Reader baseReader) {
  if (view.Length() != 0) {
    out = view;
    return S_FALSE;
  }
  const HRESULT hr = baseReader(out);
  if (hr >= 0) view = out;
  return hr;
}

// The view's multibyte form. A view built for it goes again when that form
// can't be built, so that a null answer leaves the object as it was.
template <typename Reader>
const char* MbsOfView(CKZString& view, Reader reader) {
  const bool wasBuilt = view.Length() != 0;
  static_cast<void>(reader(view));
  const char* text = view;
  if (text == nullptr && !wasBuilt) view.Empty();
  return text;
}

}  // namespace

CKZSimpleMsgString::~CKZSimpleMsgString() = default;

CKZSimpleMsgString& CKZSimpleMsgString::operator=(
    const CKZSimpleMsgString& other) {
  AssignWithView(*this, m_cachedView, other, other.m_cachedView);
  return *this;
}

HRESULT CKZSimpleMsgString::FormatMsg(ULONG type, const WCHAR* text,
                                      const WCHAR* origin,
                                      const WCHAR* originCode) {
  return FormatDroppingView(*this, m_cachedView, type, text, origin,
                            originCode);
}

HRESULT CKZSimpleMsgString::BuildSimpleMessage(CKZString& out) {
  return ReadThroughView(m_cachedView, out, [this](CKZString& o) {
    return CKZMsgString::BuildSimpleMessage(o);
  });
}

CKZSimpleMsgString::operator const WCHAR*() {
  static_cast<void>(BuildSimpleMessage(m_cachedView));
  return m_cachedView;
}

CKZSimpleMsgString::operator const char*() {
  return MbsOfView(m_cachedView, [this](CKZString& view) {
    return BuildSimpleMessage(view);
  });
}

CKZDetailMsgString::~CKZDetailMsgString() = default;

CKZDetailMsgString& CKZDetailMsgString::operator=(
    const CKZDetailMsgString& other) {
  AssignWithView(*this, m_cachedView, other, other.m_cachedView);
  return *this;
}

HRESULT CKZDetailMsgString::FormatMsg(ULONG type, const WCHAR* text,
                                      const WCHAR* origin,
                                      const WCHAR* originCode) {
  return FormatDroppingView(*this, m_cachedView, type, text, origin,
                            originCode);
}

HRESULT CKZDetailMsgString::BuildDetailMessage(CKZString& out) {
  return ReadThroughView(m_cachedView, out, [this](CKZString& o) {
    return CKZMsgString::BuildDetailMessage(o);
  });
}

CKZDetailMsgString::operator const WCHAR*() {
  static_cast<void>(BuildDetailMessage(m_cachedView));
  return m_cachedView;
}

CKZDetailMsgString::operator const char*() {
  return MbsOfView(m_cachedView, [this](CKZString& view) {
    return BuildDetailMessage(view);
  });
}
