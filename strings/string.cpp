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
    : m_block(text == nullptr ? nullptr
                              : kzblock::CreateMbs(text, MbsTextLength(text))) {
}

CKZString::CKZString(const char* text, ULONG count)
    : m_block(text == nullptr ? nullptr : kzblock::CreateMbs(text, count)) {}

CKZString::CKZString(const WCHAR* text)
    : m_block(text == nullptr
                  ? nullptr
                  : kzblock::CreateWide(text, WideTextLength(text))) {}

CKZString::CKZString(const WCHAR* text, ULONG count)
    : m_block(text == nullptr ? nullptr : kzblock::CreateWide(text, count)) {}

CKZString::CKZString(const GUID& guid) : m_block(nullptr) { *this = guid; }

// The assignments from text fill the new block before the old one goes: the
// value stays as it was when memory runs out, and a text that lies in the
// value's own buffers is read before they are freed.
CKZString& CKZString::operator=(const char* text) {
  if (text != nullptr && m_block != nullptr && text == m_block->mbsBuffer) {
    return *this;
  }
  Replace(
      text == nullptr ? nullptr : kzblock::CreateMbs(text, MbsTextLength(text)),
      text == nullptr);
  return *this;
}

CKZString& CKZString::operator=(const WCHAR* text) {
  if (text != nullptr && m_block != nullptr && text == m_block->wideBuffer) {
    return *this;
  }
  Replace(text == nullptr ? nullptr
                          : kzblock::CreateWide(text, WideTextLength(text)),
          text == nullptr);
  return *this;
}

CKZString& CKZString::operator=(const GUID& guid) {
  WCHAR text[kGuidBufferUnits];
  StringFromGUID2(guid, reinterpret_cast<LPOLESTR>(text), kGuidBufferUnits);
  Replace(kzblock::CreateWide(text, WideTextLength(text)), false);
  return *this;
}

void CKZString::Replace(CKZStringBlock* block, bool toNull) {
  if (block == nullptr && !toNull) return;  // out of memory: no change
  Release(m_block);
  m_block = block;
}

void CKZString::AttachBlock(const void* text, bool wide,
                            std::uint8_t allocKind) {
  if (text == nullptr) {
    Release(m_block);
    return;
  }
  // The buffer is the caller's allocation, handed over: the block writes to
  // it from now on, so constness ends here. Without memory for the block the
  // buffer is freed and the value stays.
  Replace(wide ? kzblock::AttachWide(
                     static_cast<WCHAR*>(const_cast<void*>(text)), allocKind)
               : kzblock::AttachMbs(static_cast<char*>(const_cast<void*>(text)),
                                    allocKind),
          false);
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

// Without the memory for a missing form a length is counted instead: the
// answer is the same, only not kept.
ULONG CKZString::LengthWithoutWide() const {
  if (m_block == nullptr) return 0;
  if (m_block->wideBuffer != nullptr) return m_block->wideLength;
  if (SingleByteLocale()) return m_block->mbsLength;
  if (kzblock::EnsureWide(*m_block)) return m_block->wideLength;
  return kzblock::CountWide(*m_block);
}

ULONG CKZString::MbsLength() const {
  if (m_block == nullptr) return 0;
  if (m_block->mbsBuffer != nullptr) return m_block->mbsLength;
  if (SingleByteLocale()) return m_block->mbsLength;
  if (kzblock::EnsureMbs(*m_block)) return m_block->mbsLength;
  return kzblock::CountMbs(*m_block);
}

bool CKZString::HasWide() const {
  return m_block != nullptr && m_block->wideBuffer != nullptr;
}

bool CKZString::HasMbs() const {
  return m_block != nullptr && m_block->mbsBuffer != nullptr;
}

const char* CKZString::BuildMbs() const {
  if (m_block == nullptr || !kzblock::EnsureMbs(*m_block)) return nullptr;
  return m_block->mbsBuffer;
}

const WCHAR* CKZString::BuildWide() const {
  if (m_block == nullptr || !kzblock::EnsureWide(*m_block)) return nullptr;
  return m_block->wideBuffer;
}

WCHAR* CKZString::GetWideBuffer() {
  if (m_block == nullptr || !kzblock::EnsureWide(*m_block)) return nullptr;
  return m_block->wideBuffer;
}

CKZString::operator GUID() const {
  if (m_block == nullptr || !kzblock::EnsureWide(*m_block)) return GUID_NULL;
  GUID guid;
  if (CLSIDFromString(reinterpret_cast<LPCOLESTR>(m_block->wideBuffer), &guid) <
      0) {
    return GUID_NULL;
  }
  return guid;
}

BSTR CKZString::AllocBSTR() const {
  if (m_block == nullptr || !kzblock::EnsureWide(*m_block)) return nullptr;
  return SysAllocString(reinterpret_cast<const OLECHAR*>(m_block->wideBuffer));
}

// The copies store their result last: nullptr stands in `*out` until the
// copy is complete, and stays there when memory runs out.
void CKZString::GetBufferCopy(WCHAR** out) {
  if (out == nullptr) return;
  *out = nullptr;
  if (m_block == nullptr) return;
  const std::size_t bytes =
      (static_cast<std::size_t>(Length()) + 1) * sizeof(WCHAR);
  if (!kzblock::EnsureWide(*m_block)) return;
  WCHAR* copy = static_cast<WCHAR*>(CoTaskMemAlloc(bytes));
  if (copy == nullptr) return;
  // Up to and including the first zero unit, and never more than was
  // allocated: Length() may count past a zero inside the text.
  const WCHAR* text = m_block->wideBuffer;
  const std::size_t room = bytes / sizeof(WCHAR) - 1;
  std::size_t i = 0;
  for (; i < room && text[i] != 0; ++i) copy[i] = text[i];
  copy[i] = 0;
  *out = copy;
}

void CKZString::GetBufferCopy(char** out) {
  if (out == nullptr) return;
  *out = nullptr;
  if (m_block == nullptr) return;
  const std::size_t bytes = static_cast<std::size_t>(MbsLength()) + 1;
  if (!kzblock::EnsureMbs(*m_block)) return;
  char* copy = static_cast<char*>(CoTaskMemAlloc(bytes));
  if (copy == nullptr) return;
  const char* text = m_block->mbsBuffer;
  std::size_t length = std::strlen(text);
  // In a single-byte locale MbsLength() may be a length that the multibyte
  // form, built afterwards, does not reach; never copy more than was
  // allocated.
  if (length >= bytes) length = bytes - 1;
  std::memcpy(copy, text, length);
  copy[length] = 0;
  *out = copy;
}
