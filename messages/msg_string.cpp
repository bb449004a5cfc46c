// CKZMsgString: the composite's writer and readers on the string's block.
// What the composite looks like is messages/msg_format.cpp's business; here
// blocks are only made, shared and swapped.
#include <kzcommon/kzcatalog.h>
#include <kzcommon/kzmsgstring.h>

#include <cstdarg>

#include "messages/msg_format.h"
#include "strings/string_block.h"

namespace {

// The largest kind that GetMsg accepts.
constexpr ULONG kLastKind = 65534;

// The reading of `kind`, and the code of the reader that gave it; `result`
// stays null where the kind gives nothing.
HRESULT Extract(CKZMsgString& message, ULONG kind, CKZString& result) {
  if (message.IsEmpty()) return S_OK;
  switch (kind) {
    case 0:
      return message.BuildSimpleMessage(result);
    case 1:
      return message.BuildDetailMessage(result);
    case 2:
      result = message;
      return S_OK;
    default:
      return S_OK;
  }
}

// A reader on a value without wide text: a null string reads as itself,
// unmarked; a block without a wide form means memory ran out building it.
HRESULT ReadNothing(const CKZStringBlock* block, CKZString& out) {
  if (block != nullptr) return E_OUTOFMEMORY;
  out.Empty();
  return S_FALSE;
}

}  // namespace

CKZMsgString::~CKZMsgString() = default;

HRESULT CKZMsgString::FormatMsg(ULONG type, const WCHAR* text,
                                const WCHAR* origin, const WCHAR* originCode) {
  if (text == nullptr) return E_POINTER;
  // Written into a new block before the old one goes: the arguments may lie
  // in it, and a failure leaves the object as it was.
  const kzmsg::Composite composite =
      kzmsg::WriteComposite(type, text, origin, originCode);
  if (composite.block == nullptr) return E_OUTOFMEMORY;
  Release(m_block);
  m_block = composite.block;
  m_errorNum = composite.errorNum;
  return S_OK;
}

HRESULT CKZMsgString::Format(ULONG type, const WCHAR* origin,
                             const WCHAR* originCode, CKZCatalog& catalog,
                             ULONG msgId, ...) {
  // The fetched text is a value of its own, so this object is untouched
  // until FormatMsg swaps in the composite.
  CKZString text;
  va_list args;
  va_start(args, msgId);
  const HRESULT fetched = catalog.GetMsgEx(text, msgId, &args);
  va_end(args);
  if (FAILED(fetched)) return fetched;
  const HRESULT formatted = FormatMsg(type, text, origin, originCode);
  return FAILED(formatted) ? formatted : S_OK;
}

HRESULT CKZMsgString::BuildSimpleMessage(CKZString& out) {
  const WCHAR* text = *this;
  if (text == nullptr) return ReadNothing(m_block, out);
  const kzmsg::Layout layout = kzmsg::ReadComposite(text, m_block->wideLength);
  if (!layout.marked) {
    out.Assign(m_block);
    return S_FALSE;
  }
  CKZStringBlock* part = nullptr;
  if (layout.start != 0) {
    part = kzblock::CreateWide(text, layout.start);
    if (part == nullptr) return E_OUTOFMEMORY;
  }
  // Through a value: `out` may be this object, whose block goes last.
  out = CKZString(part);
  return S_OK;
}

HRESULT CKZMsgString::BuildDetailMessage(CKZString& out) {
  const WCHAR* text = *this;
  if (text == nullptr) return ReadNothing(m_block, out);
  const kzmsg::Layout layout = kzmsg::ReadComposite(text, m_block->wideLength);
  if (!layout.marked) {
    out.Assign(m_block);
    return S_FALSE;
  }
  CKZStringBlock* detail = kzmsg::WriteDetail(text, layout);
  if (detail == nullptr) return E_OUTOFMEMORY;
  out = CKZString(detail);
  return S_OK;
}

CKZString CKZMsgString::ExtractMessage(ULONG kind) {
  CKZString result;
  static_cast<void>(Extract(*this, kind, result));
  return result;
}

HRESULT CKZMsgString::GetMsg(ULONG kind, CKZString& out) {
  if (kind > kLastKind) return E_INVALIDARG;
  if (IsEmpty()) return E_FAIL;
  CKZString result;
  if (Extract(*this, kind, result) == E_OUTOFMEMORY) return E_OUTOFMEMORY;
  out = result;
  return S_OK;
}
