// CKZString: construction, assignment, buffers taken over, and reading.
#include <kzcommon/kzstring.h>

#include <cstring>

#include "platform/platform.h"

#include "strings/string_block.h"

namespace {

// 38 units and the terminator always fit.
constexpr int kGuidBufferUnits = 80;

}  // namespace

CKZString::CKZString(const char* text)
    : m_block(text == nullptr
                  ? nullptr
                  : CKZStringBlock::CreateMbs(text, MbsTextLength(text))) {}

CKZString::CKZString(const char* text, ULONG count)
    : m_block(text == nullptr ? nullptr
                              : CKZStringBlock::CreateMbs(text, count)) {}

CKZString::CKZString(const WCHAR* text)
    : m_block(text == nullptr
                  ? nullptr
                  : CKZStringBlock::CreateWide(text, WideTextLength(text))) {}

CKZString::CKZString(const WCHAR* text, ULONG count)
    : m_block(text == nullptr ? nullptr
                              : CKZStringBlock::CreateWide(text, count)) {}

CKZString::CKZString(const GUID& guid) : m_block(nullptr) { *this = guid; }

CKZString& CKZString::operator=(const char* text) {
  if (text != nullptr && m_block != nullptr && text == m_block->mbsBuffer) {
    return *this;
  }
  Release(m_block);
  if (text != nullptr)
    m_block = CKZStringBlock::CreateMbs(text, MbsTextLength(text));
  return *this;
}

CKZString& CKZString::operator=(const WCHAR* text) {
  if (text != nullptr && m_block != nullptr && text == m_block->wideBuffer) {
    return *this;
  }
  Release(m_block);
  if (text != nullptr) {
    m_block = CKZStringBlock::CreateWide(text, WideTextLength(text));
  }
  return *this;
}

CKZString& CKZString::operator=(const GUID& guid) {
  WCHAR text[kGuidBufferUnits];
  StringFromGUID2(guid, reinterpret_cast<LPOLESTR>(text), kGuidBufferUnits);
  // Only now that the text stands does the old block go.
  Release(m_block);
  m_block = CKZStringBlock::CreateWide(text, WideTextLength(text));
  return *this;
}

void CKZString::AttachBlock(const void* text, bool wide,
                            std::uint8_t allocKind) {
  Release(m_block);
  if (text == nullptr) return;
  // The buffer is the caller's allocation, handed over: the block writes to
  // it from now on, so constness ends here.
  m_block = wide ? CKZStringBlock::AttachWide(
                       static_cast<WCHAR*>(const_cast<void*>(text)), allocKind)
                 : CKZStringBlock::AttachMbs(
                       static_cast<char*>(const_cast<void*>(text)), allocKind);
}

void CKZString::Attach_CRT(const char* text) {
  AttachBlock(text, false, CKZStringBlock::AllocCRT);
}
void CKZString::Attach_CRT(const WCHAR* text) {
  AttachBlock(text, true, CKZStringBlock::AllocCRT);
}
void CKZString::Attach_OLE(const char* text) {
  AttachBlock(text, false, CKZStringBlock::AllocOLE);
}
void CKZString::Attach_OLE(const WCHAR* text) {
  AttachBlock(text, true, CKZStringBlock::AllocOLE);
}
void CKZString::Attach_BSTR(BSTR text) {
  AttachBlock(text, true, CKZStringBlock::AllocBSTR);
}

ULONG CKZString::LengthWithoutWide() const {
  if (m_block == nullptr) return 0;
  if (m_block->wideBuffer != nullptr) return m_block->wideLength;
  if (SingleByteLocale()) return m_block->mbsLength;
  m_block->EnsureWide();
  return m_block->wideLength;
}

ULONG CKZString::MbsLength() const {
  if (m_block == nullptr) return 0;
  if (m_block->mbsBuffer != nullptr) return m_block->mbsLength;
  if (SingleByteLocale()) return m_block->mbsLength;
  m_block->EnsureMbs();
  return m_block->mbsLength;
}

bool CKZString::HasWide() const {
  return m_block != nullptr && m_block->wideBuffer != nullptr;
}

bool CKZString::HasMbs() const {
  return m_block != nullptr && m_block->mbsBuffer != nullptr;
}

const char* CKZString::BuildMbs() const {
  if (m_block == nullptr) return nullptr;
  m_block->EnsureMbs();
  return m_block->mbsBuffer;
}

const WCHAR* CKZString::BuildWide() const {
  if (m_block == nullptr) return nullptr;
  m_block->EnsureWide();
  return m_block->wideBuffer;
}

WCHAR* CKZString::GetWideBuffer() {
  if (m_block == nullptr) return nullptr;
  m_block->EnsureWide();
  return m_block->wideBuffer;
}

CKZString::operator GUID() const {
  if (m_block == nullptr) return GUID_NULL;
  m_block->EnsureWide();
  GUID guid;
  if (CLSIDFromString(reinterpret_cast<LPCOLESTR>(m_block->wideBuffer), &guid) <
      0) {
    return GUID_NULL;
  }
  return guid;
}

BSTR CKZString::AllocBSTR() const {
  if (m_block == nullptr) return nullptr;
  m_block->EnsureWide();
  return SysAllocString(reinterpret_cast<const OLECHAR*>(m_block->wideBuffer));
}

void CKZString::GetBufferCopy(WCHAR** out) {
  if (out == nullptr) return;
  *out = nullptr;
  if (m_block == nullptr) return;
  std::size_t bytes = (static_cast<std::size_t>(Length()) + 1) * sizeof(WCHAR);
  WCHAR* copy = static_cast<WCHAR*>(CoTaskMemAlloc(bytes));
  *out = copy;
  if (copy == nullptr) return;
  m_block->EnsureWide();
  // Up to and including the first zero unit, and never more than was
  // allocated: Length() may count past a zero inside the text.
  const WCHAR* text = m_block->wideBuffer;
  std::size_t room = bytes / sizeof(WCHAR) - 1;
  std::size_t i = 0;
  for (; i < room && text[i] != 0; ++i) copy[i] = text[i];
  copy[i] = 0;
}

void CKZString::GetBufferCopy(char** out) {
  if (out == nullptr) return;
  *out = nullptr;
  if (m_block == nullptr) return;
  std::size_t bytes = static_cast<std::size_t>(MbsLength()) + 1;
  char* copy = static_cast<char*>(CoTaskMemAlloc(bytes));
  *out = copy;
  if (copy == nullptr) return;
  m_block->EnsureMbs();
  const char* text = m_block->mbsBuffer;
  std::size_t length = std::strlen(text);
  // In a single-byte locale MbsLength() may be a length that the multibyte
  // form, built afterwards, does not reach; never copy more than was
  // allocated.
  if (length >= bytes) length = bytes - 1;
  std::memcpy(copy, text, length);
  copy[length] = 0;
}
