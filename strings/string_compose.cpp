// Composition and resource text: the producer writes straight into a new
// block, which is thrown away for a larger one while the text does not fit.
#include <climits>
#include <cstdarg>

#include "platform/platform.h"

#include "strings/string_block.h"

namespace {

// The formatters answer negative both for "no room" and for a format they
// reject; the counting formatter tells the two apart. Without this stop a
// rejected format would double the block until memory ran out.
template <typename Unit, typename Counter>
bool NeverFits(Counter count, const Unit* format, va_list args,
               std::uint32_t capacity) {
  va_list copy;
  va_copy(copy, args);
  int needed = count(format, copy);
  va_end(copy);
  return needed < 0 || static_cast<std::uint32_t>(needed) <= capacity;
}

// The formatters take an int-sized limit in practice; a capacity beyond it
// is offered as INT_MAX, which the text cannot exceed anyway.
std::size_t Limit(std::uint32_t capacity) {
  return capacity > INT_MAX ? INT_MAX : capacity;
}

// The block a producer writes into. A value that owns its block alone, with
// a buffer of the malloc kind in the form wanted and exactly the capacity a
// new block would get, hands that block over instead of freeing it and
// allocating the same again; what the value holds afterwards is the same.
CKZStringBlock* TakeBlock(CKZStringBlock*& held, bool wide,
                          std::uint32_t size) {
  CKZStringBlock* block = held;
  if (block != nullptr && block->refCount == 1 &&
      block->capacity == BlockCapacity(g_initialBlockSize, size) &&
      (wide ? block->wideBuffer != nullptr &&
                  block->wideAllocKind == CKZStringBlock::AllocCRT
            : block->mbsBuffer != nullptr &&
                  block->mbsAllocKind == CKZStringBlock::AllocCRT)) {
    held = nullptr;
    if (wide) {
      kzblock::DropMbs(*block);
    } else {
      kzblock::DropWide(*block);
    }
    return block;
  }
  return nullptr;
}

// What the formatting loop needs of each encoding.
struct MbsForm {
  using Unit = char;
  static CKZStringBlock* Create(std::uint32_t size) {
    return kzblock::CreateMbs(nullptr, size);
  }
  static Unit* Buffer(CKZStringBlock* block) { return block->mbsBuffer; }
  static int Format(Unit* buffer, std::size_t limit, const Unit* format,
                    va_list args) {
    return platform::_vsnprintf(buffer, limit, format, args);
  }
  static int Count(const Unit* format, va_list args) {
    return platform::_vscprintf(format, args);
  }
  static void SetLength(CKZStringBlock* block, std::uint32_t count) {
    block->mbsLength = count;
    block->wideLength = SingleByteLocale() ? count : 0;
  }
};

struct WideForm {
  using Unit = WCHAR;
  static CKZStringBlock* Create(std::uint32_t size) {
    return kzblock::CreateWide(nullptr, size);
  }
  static Unit* Buffer(CKZStringBlock* block) { return block->wideBuffer; }
  static int Format(Unit* buffer, std::size_t limit, const Unit* format,
                    va_list args) {
    return platform::_vsnwprintf(buffer, limit, format, args);
  }
  static int Count(const Unit* format, va_list args) {
    return platform::_vscwprintf(format, args);
  }
  static void SetLength(CKZStringBlock* block, std::uint32_t count) {
    block->wideLength = count;
    block->mbsLength = SingleByteLocale() ? count : 0;
  }
};

// Formats into a block of `size` (or into `reused`), doubling the capacity
// of the failed pass until the text fits. Gives the filled block, or nullptr
// when the formatter rejects the format, memory runs out or the text would
// pass the largest block.
template <typename Form>
CKZStringBlock* Produce(CKZStringBlock* reused, std::uint32_t size,
                        const typename Form::Unit* format, va_list args) {
  for (;;) {
    CKZStringBlock* block = reused != nullptr ? reused : Form::Create(size);
    reused = nullptr;
    if (block == nullptr) return nullptr;
    const std::uint32_t capacity = block->capacity;
    va_list pass;
    va_copy(pass, args);
    int count = capacity == 0 ? -1
                              : Form::Format(Form::Buffer(block),
                                             Limit(capacity), format, pass);
    va_end(pass);
    if (count >= 0) {
      Form::SetLength(block, static_cast<std::uint32_t>(count));
      Form::Buffer(block)[count] = 0;
      return block;
    }
    kzblock::Destroy(block);
    if (capacity != 0 && NeverFits(Form::Count, format, args, capacity)) {
      return nullptr;  // rejected: the value stays null
    }
    size = capacity == 0
               ? 1
               : (capacity > kMaxBlockCapacity / 2 ? kMaxBlockCapacity + 1
                                                   : capacity * 2);
  }
}

}  // namespace

void CKZString::Compose(const char* format, ...) {
  va_list args;
  va_start(args, format);
  VCompose(512, format, args);
  va_end(args);
}

void CKZString::Compose(const WCHAR* format, ...) {
  va_list args;
  va_start(args, format);
  VCompose(512, format, args);
  va_end(args);
}

void CKZString::VCompose(ULONG size, const char* format, va_list args) {
  // The former text goes before the formatter reads anything.
  CKZStringBlock* reused = TakeBlock(m_block, false, size);
  Release(m_block);
  m_block = Produce<MbsForm>(reused, size, format, args);
}

void CKZString::VCompose(ULONG size, const WCHAR* format, va_list args) {
  CKZStringBlock* reused = TakeBlock(m_block, true, size);
  Release(m_block);
  m_block = Produce<WideForm>(reused, size, format, args);
}

bool CKZString::LoadStringW(HINSTANCE module, UINT id, UINT size) {
  if (size == 0 || size == 0xFFFFFFFFu) size = 64;
  CKZStringBlock* reused = TakeBlock(m_block, true, size);
  Release(m_block);
  for (;;) {
    CKZStringBlock* block =
        reused != nullptr ? reused : kzblock::CreateWide(nullptr, size);
    reused = nullptr;
    // Out of memory: the value stays null.
    if (block == nullptr) return false;
    std::uint32_t capacity = block->capacity;
    // The platform reads a limit of 0 as a request for a pointer to the
    // resource itself; it never reaches it from here.
    int limit = capacity > INT_MAX
                    ? INT_MAX
                    : static_cast<int>(capacity == 0 ? 1 : capacity);
    int count = ::LoadStringW(module, id, block->wideBuffer, limit);
    if (count < 0) count = 0;
    if (capacity - static_cast<std::uint32_t>(count) < 2 &&
        capacity <= kMaxBlockCapacity / 2) {
      // The text filled the limit and may have been cut: again, larger.
      FreeBlock(block);
      size = capacity * 2;
      continue;
    }
    block->wideLength = static_cast<std::uint32_t>(count);
    block->mbsLength = SingleByteLocale() ? block->wideLength : 0;
    block->wideBuffer[count] = 0;
    m_block = block;
    return true;
  }
}
