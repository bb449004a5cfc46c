// CKZString: one text in a wide (16-bit) and a multibyte encoding side by
// side, shared between copies by reference counting.
//
// A value is a pointer to a block or null. Copies share the block until one
// of them is edited; the edit first gives the edited value a block of its own,
// so another sharer never sees a change. Either form of the text is built
// from the other on first use and kept in the block, which is a cache behind
// a const value: const operations may build a form.
//
// Null and empty are different values. A null string has no block: its text
// conversions give nullptr, and a null text argument anywhere gives or keeps a
// null string; it is never an error. An empty string has a block of length 0.
//
// Nothing here throws. Lengths and positions are 16-bit units unless the name
// says Mbs, in which case they are bytes of the multibyte form.
//
// Exhausted memory, or a text beyond the largest block (2^31 - 2 characters),
// never aborts. An edit that can't get its memory (assignment from text or a
// GUID, Attach, case mapping, truncation, SetAt, operator+=, Insert) leaves
// this value and every sharer as they were: same block, same text, no form
// lost; SetAt then returns false, Insert the unchanged length, and Attach
// frees the buffer it was given. A new value (constructors, operator+, Left,
// Right, SubString) is a null string, and so is the value after Compose or
// LoadStringW, which drop the former text first (LoadStringW returns false).
// A conversion that can't build its form gives nullptr (GUID_NULL, a null
// BSTR, a null GetBufferCopy) and leaves the block as it was. Length and
// MbsLength count such a form instead of building it: the answer is exact.
// Comparisons and searches that can't build a form answer as if that value
// sorted before everything and held nothing: not equal, -1 from Find.
//
// Threads: values that share a block belong to one thread at a time, for
// reading as well as for writing, because reads can build a form. The count
// is a plain integer.
#ifndef KZCOMMON_KZSTRING_H_
#define KZCOMMON_KZSTRING_H_

#include <kzcommon/export.h>
#include <kzcommon/wintypes.h>

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>

struct CKZStringTestAccess;

// The storage behind CKZString: one text in up to two forms, with one
// capacity for the buffer that grows, and for each buffer the allocator that
// owns it. Only the library touches a block, through operations that it
// keeps to itself (strings/string_block.h). The layout stands here because
// copies, reads of an existing form, lengths and one-character and chunk
// appends are inline, and they are the calls that a client makes most.
struct CKZStringBlock {
  enum AllocKind : std::uint8_t { AllocCRT = 1, AllocOLE = 2, AllocBSTR = 3 };

  // The two lengths are kept apart: a compiler joins stores to adjacent
  // fields into one wide store, and a later load of one of them from that
  // store stalls on some processors, which the next append pays for.
  std::uint32_t refCount;  // first field: CKZString's inline copy reads it
  std::uint32_t wideLength;
  std::uint32_t capacity;
  std::uint32_t mbsLength;
  WCHAR* wideBuffer;
  char* mbsBuffer;
  std::uint8_t mbsAllocKind;
  std::uint8_t wideAllocKind;
  // Non-zero while a buffer is still the one an Attach operation took over:
  // the caller's allocation, which may reach past the text and the capacity.
  std::uint8_t wideTakenOver;
  std::uint8_t mbsTakenOver;
};
class CKZCatalog;
class CKZMsgString;
class CKZErrorHandling;
class CKZSimpleMsgString;
class CKZDetailMsgString;
class CKZStringToken;

class KZCOMMON_API CKZString {
 public:
  // Construction. A null text gives a null string. The counted forms copy
  // exactly `count` units (bytes): a text shorter than the count is padded
  // with zeros up to it, and a count of 0 gives an empty, not a null, string.
  // Cost: one block allocation and one copy; a copy of a CKZString costs a
  // pointer and a counter, no text.
  CKZString() : m_block(nullptr) {}
  CKZString(const CKZString& other) : m_block(Acquire(other.m_block)) {}
  CKZString(const char* text);  // NOLINT(runtime/explicit): a string type
  CKZString(const char* text, ULONG count);
  CKZString(const WCHAR* text);  // NOLINT(runtime/explicit)
  CKZString(const WCHAR* text, ULONG count);
  // The GUID as its 38-unit text "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}".
  CKZString(const GUID& guid);  // NOLINT(runtime/explicit)
  virtual ~CKZString() { Release(m_block); }

  // Assignment from another string shares its block; a string that already
  // shares it, or itself, is left as it is.
  CKZString& operator=(const CKZString& other) {
    Assign(other.m_block);
    return *this;
  }
  // Assignment from text copies the text into a new block, then lets the
  // old one go, so the text may lie in this value's own buffers:
  //   s = static_cast<const WCHAR*>(s);        // no change
  //   s = static_cast<const WCHAR*>(s) + 1;    // the text from its second unit
  CKZString& operator=(const char* text);
  CKZString& operator=(const WCHAR* text);
  // The GUID's 38-unit text, wide form only.
  CKZString& operator=(const GUID& guid);

  // Taking over a buffer. The string becomes the owner of `text`, copying
  // nothing; from then on the string grows and frees it with the allocator
  // named: malloc (Attach_CRT), the COM task allocator (Attach_OLE), the BSTR
  // functions (Attach_BSTR). The caller must not free it again. The length is
  // measured up to the first zero (also for a BSTR), and the buffer is taken
  // to have no spare room. A null text releases the old text and leaves the
  // string null. The buffer must not belong to this string already.
  void Attach_CRT(const char* text);
  void Attach_CRT(const WCHAR* text);
  void Attach_OLE(const char* text);
  void Attach_OLE(const WCHAR* text);
  void Attach_BSTR(BSTR text);

  // Makes the string null (not empty); other sharers keep the text.
  void Empty() { Release(m_block); }

  // Length in 16-bit units; 0 for null. In a multibyte locale this builds the
  // wide form if it is missing; in a single-byte locale it never converts.
  ULONG Length() const {
    if (m_block != nullptr && m_block->wideBuffer != nullptr) {
      return m_block->wideLength;
    }
    return LengthWithoutWide();
  }
  // Length of the multibyte form in bytes; 0 for null. Builds the multibyte
  // form in a multibyte locale if it is missing.
  ULONG MbsLength() const;
  // True for null and for empty strings.
  bool IsEmpty() const { return Length() == 0; }

  // Conversions. Return the form, building it from the other on first use.
  // A null string gives nullptr, an empty one an empty text. The pointer
  // belongs to the block and stays valid until this value is edited,
  // assigned, given a new buffer or destroyed; edits of other sharers do not
  // affect it. Cost: constant once the form exists, linear the first time.
  operator const char*() const {
    if (m_block == nullptr) return nullptr;
    if (m_block->mbsBuffer != nullptr) return m_block->mbsBuffer;
    return BuildMbs();
  }
  operator const WCHAR*() const {
    if (m_block == nullptr) return nullptr;
    if (m_block->wideBuffer != nullptr) return m_block->wideBuffer;
    return BuildWide();
  }
  // The GUID that the text spells; GUID_NULL for null or unparsable text
  // (the wide form is built either way).
  operator GUID() const;

  // A new BSTR of the text for the caller to free with SysFreeString; nullptr
  // for a null string or when the allocation fails; length 0 for empty.
  BSTR AllocBSTR() const;
  // Stores a fresh CoTaskMemAlloc copy of the text through `out`, or nullptr
  // for a null string or a failed allocation. A null `out` does nothing. The
  // caller frees the copy with CoTaskMemFree.
  void GetBufferCopy(WCHAR** out);
  void GetBufferCopy(char** out);

  // Editing. Each edit first makes this value the sole owner of a block that
  // holds the wide form only; other sharers never change. Positions and
  // counts are 16-bit units.
  void MakeLowerCase();
  void MakeUpperCase();
  // Removes `count` units from the start (end). Removing everything gives a
  // null string; a count of 0 changes nothing. No memory is given back.
  void TruncateLeft(ULONG count);
  void TruncateRight(ULONG count);
  // The first (last) n units as a new value. n of 0 or an empty text gives
  // null; n at or past the length gives the whole text, sharing the block.
  CKZString Left(ULONG n) const;
  CKZString Right(ULONG n) const;
  // Up to `count` units from `start`; count 0xFFFFFFFF means to the end.
  // A start at or past the length gives null; count 0 gives an empty string;
  // the whole text shares the block; anything less is a new wide block.
  CKZString SubString(ULONG start, ULONG count = 0xFFFFFFFFu) const;
  // Stores `unit` at `position`; false, and no change, if the position is
  // not below Length(). A zero unit is stored like any other.
  bool SetAt(ULONG position, WCHAR unit);

  // Concatenation. operator+ leaves both operands alone and gives a new value
  // whose block already fits the result; a null right text, or an empty or
  // null CKZString operand, gives a share of the other block. The character
  // 0 is an empty text. `s + s` gives the text twice.
  CKZString operator+(const CKZString& right) const;
  CKZString operator+(const WCHAR* right) const;
  CKZString operator+(const char* right) const;
  CKZString operator+(WCHAR right) const;
  CKZString operator+(char right) const;
  // operator+= extends the value in place (after unsharing), growing the
  // buffer by doubling through its own allocator: amortised constant time a
  // character. A null right operand changes nothing.
  // A text or value that lies in this value's own buffers is accepted: it is
  // copied before the buffer can move, so `s += s` gives the text twice.
  CKZString& operator+=(const CKZString& right) {
    // The common case in place: sole owner of a wide-only text with room,
    // and a right value with a wide form. `s += s` may take it too: the copy
    // goes from the text to the room behind it, which it doesn't overlap.
    CKZStringBlock* b = m_block;
    const CKZStringBlock* r = right.m_block;
    if (b != nullptr && r != nullptr && b->refCount == 1 &&
        b->mbsBuffer == nullptr && r->wideBuffer != nullptr &&
        b->wideLength - 1u < b->capacity) {
      const std::uint32_t length = b->wideLength;
      const std::uint32_t count = r->wideLength;
      if (count <= b->capacity - length) {
        // A value's wide form always ends in a zero: writing it here rather
        // than copying it keeps the copy at whole vectors.
        std::memcpy(b->wideBuffer + length, r->wideBuffer,
                    static_cast<std::size_t>(count) * sizeof(WCHAR));
        b->wideBuffer[length + count] = 0;
        b->wideLength = length + count;
        b->mbsLength = length + count;
        return *this;
      }
    }
    return AppendString(right);
  }
  CKZString& operator+=(const WCHAR* right);
  CKZString& operator+=(const char* right);
  CKZString& operator+=(WCHAR right) {
    // The common case in place: sole owner of a wide-only text with room.
    CKZStringBlock* b = m_block;
    // wideLength - 1 < capacity - 1: some text, and room for one more.
    if (b != nullptr && right != 0 && b->refCount == 1 &&
        b->mbsBuffer == nullptr && b->wideLength - 1u < b->capacity - 1u) {
      b->wideBuffer[b->wideLength] = right;
      b->wideBuffer[++b->wideLength] = 0;
      // Without a multibyte form this field is read only in a single-byte
      // locale, where it equals the wide length.
      b->mbsLength = b->wideLength;
      return *this;
    }
    return AppendUnit(right);
  }
  CKZString& operator+=(char right) {
    // The same for a multibyte-only text. A first byte of 0 is no text in a
    // multibyte locale, whatever the length says: the slow path then gives
    // the character alone.
    CKZStringBlock* b = m_block;
    if (b != nullptr && right != 0 && b->refCount == 1 &&
        b->wideBuffer == nullptr && b->mbsLength - 1u < b->capacity - 1u &&
        b->mbsBuffer[0] != 0) {
      b->mbsBuffer[b->mbsLength] = right;
      b->mbsBuffer[++b->mbsLength] = 0;
      b->wideLength = b->mbsLength;
      return *this;
    }
    return AppendByte(right);
  }
  // Inserts the text so that its first unit lands at `position` (wide units
  // in every overload); past the end, or on a null or empty value, it appends.
  // Returns the new length. A null text changes nothing. A text that lies in
  // this value's own buffers is copied first, as for operator+=.
  ULONG Insert(ULONG position, const WCHAR* text);
  ULONG Insert(ULONG position, WCHAR unit);
  ULONG Insert(ULONG position, char byte);
  ULONG Insert(ULONG position, const char* text);

  // Comparison. CaseLessEqual ignores case, by the current locale; the
  // operators compare exactly. A null string sorts before everything else,
  // an empty string included; a null string equals a null text. The encoding
  // is chosen by the forms present: wide if both have a wide form, else
  // multibyte if both have a multibyte form, else wide.
  bool CaseLessEqual(const CKZString& other) const;
  bool CaseLessEqual(const WCHAR* text) const;
  bool CaseLessEqual(const char* text) const;

  bool operator==(const CKZString& o) const { return Compare(o) == 0; }
  bool operator!=(const CKZString& o) const { return Compare(o) != 0; }
  bool operator<(const CKZString& o) const { return Compare(o) < 0; }
  bool operator>(const CKZString& o) const { return Compare(o) > 0; }
  bool operator<=(const CKZString& o) const { return Compare(o) <= 0; }
  bool operator>=(const CKZString& o) const { return Compare(o) >= 0; }
  bool operator==(const WCHAR* t) const { return Compare(t, false) == 0; }
  bool operator!=(const WCHAR* t) const { return Compare(t, false) != 0; }
  bool operator<(const WCHAR* t) const { return Compare(t, false) < 0; }
  bool operator>(const WCHAR* t) const { return Compare(t, false) > 0; }
  bool operator<=(const WCHAR* t) const { return Compare(t, false) <= 0; }
  bool operator>=(const WCHAR* t) const { return Compare(t, false) >= 0; }
  bool operator==(const char* t) const { return Compare(t, false) == 0; }
  bool operator!=(const char* t) const { return Compare(t, false) != 0; }
  bool operator<(const char* t) const { return Compare(t, false) < 0; }
  bool operator>(const char* t) const { return Compare(t, false) > 0; }
  bool operator<=(const char* t) const { return Compare(t, false) <= 0; }
  bool operator>=(const char* t) const { return Compare(t, false) >= 0; }

  // Search: a position from 0, or -1 (not found, null string, null needle,
  // empty wide needle). The wide overloads count 16-bit units; the multibyte
  // ones count bytes of the multibyte form and match bytes, not characters.
  // The character 0 finds the terminator, at the length of that form.
  LONG Find(WCHAR unit) const;
  LONG Find(const WCHAR* text) const;
  LONG Find(char byte) const;
  LONG Find(const char* text) const;
  LONG ReverseFind(WCHAR unit) const;
  LONG ReverseFind(char byte) const;

  // Composition. Replaces the text with the formatted one, written straight
  // into a new block, retried with a larger block while it does not fit.
  // The result holds only the format's encoding. In a multibyte format %s
  // takes multibyte text and %S wide text; in a wide format the reverse.
  // A format the formatter rejects leaves the value null.
  // WARNING: neither the format nor an argument may point into this value's
  // own text, which is released before the formatter runs:
  //   s.Compose("%s!", static_cast<const char*>(other));  // allowed
  //   s.Compose("%s!", static_cast<const char*>(s));      // forbidden
  void Compose(const char* format, ...);
  void Compose(const WCHAR* format, ...);

  // Loads string `id` of `module`'s string table; `size` is the first buffer
  // size to try (0 and 0xFFFFFFFF mean 64). True but for exhausted memory: a
  // missing string gives an empty value, not null. The former text is gone
  // in every case.
  bool LoadStringW(HINSTANCE module, UINT id, UINT size = 0);

 protected:
  bool IsNull() const { return m_block == nullptr; }
  bool HasWide() const;
  bool HasMbs() const;

  // Order of this value against the argument: negative, 0 or positive; only
  // the sign means anything.
  int Compare(const char* text, bool ignoreCase) const;
  int Compare(const WCHAR* text, bool ignoreCase) const;
  int Compare(const CKZString& other) const;

  // Formats into a new block, starting with room for `size` characters and
  // doubling the block's capacity while the text does not fit. `args` is
  // copied for every pass. A first capacity of 0 (size 0 with an initial
  // block size of 0) is treated as 1.
  void VCompose(ULONG size, const char* format, va_list args);
  void VCompose(ULONG size, const WCHAR* format, va_list args);

 private:
  friend class CKZCatalog;
  friend class CKZMsgString;
  friend class CKZErrorHandling;
  friend class CKZSimpleMsgString;
  friend class CKZDetailMsgString;
  friend class CKZStringToken;
  friend struct CKZStringTestAccess;
  friend bool operator==(const WCHAR*, const CKZString&);
  friend bool operator!=(const WCHAR*, const CKZString&);
  friend bool operator<(const WCHAR*, const CKZString&);
  friend bool operator>(const WCHAR*, const CKZString&);
  friend bool operator<=(const WCHAR*, const CKZString&);
  friend bool operator>=(const WCHAR*, const CKZString&);
  friend bool operator==(const char*, const CKZString&);
  friend bool operator!=(const char*, const CKZString&);
  friend bool operator<(const char*, const CKZString&);
  friend bool operator>(const char*, const CKZString&);
  friend bool operator<=(const char*, const CKZString&);
  friend bool operator>=(const char*, const CKZString&);

  // Takes over the caller's reference on `block`.
  explicit CKZString(CKZStringBlock* block) : m_block(block) {}

  // The count is the block's first field, so a copy needs no call into the
  // module: a pointer store and a plain increment.
  static std::uint32_t& RefCount(CKZStringBlock* block) {
    return *reinterpret_cast<std::uint32_t*>(block);
  }
  static CKZStringBlock* Acquire(const CKZStringBlock* const& block) {
    CKZStringBlock* b = const_cast<CKZStringBlock*>(block);
    if (b != nullptr) ++RefCount(b);
    return b;
  }
  static void Release(CKZStringBlock*& block) {
    if (block != nullptr) {
      if (--RefCount(block) == 0) FreeBlock(block);
      block = nullptr;
    }
  }
  // Frees the buffers, each by its allocator, then the record.
  static void FreeBlock(CKZStringBlock* block);
  void Assign(CKZStringBlock* block) {
    CKZStringBlock* old = m_block;
    if (block != old) {
      m_block = Acquire(block);
      Release(old);
    }
  }

  // The slow halves of the inline operations above.
  ULONG LengthWithoutWide() const;
  const WCHAR* BuildWide() const;
  const char* BuildMbs() const;
  CKZString& AppendUnit(WCHAR unit);
  CKZString& AppendString(const CKZString& right);
  CKZString& AppendByte(char character);

  WCHAR* GetWideBuffer();
  // Make this value the sole owner of a block that holds the one form, with
  // room for `room` more characters behind the text. False when memory runs
  // out, and then nothing has changed.
  bool UnshareWide(std::uint32_t room = 0);
  bool UnshareMbs(std::uint32_t room = 0);
  CKZString CopyPart(std::uint32_t length, std::uint32_t from,
                     std::uint32_t n) const;
  // Extend the one form in place; false, and no change, when the buffer
  // can't grow.
  bool AppendWide(const WCHAR* text, ULONG count);
  bool AppendMbs(const char* text, ULONG count);
  bool HasNoTextToEdit() const;
  // Takes `block` in place of the current one; a null block is taken only
  // when `toNull` says so, and otherwise (memory ran out) changes nothing.
  void Replace(CKZStringBlock* block, bool toNull);
  void AttachBlock(const void* text, bool wide, std::uint8_t allocKind);

  CKZStringBlock* m_block;
};

// Text on the left: the same order as the member operators, read left to
// right, so `t < s` agrees with `s > t`.
inline bool operator==(const WCHAR* t, const CKZString& s) {
  return s.Compare(t, false) == 0;
}
inline bool operator!=(const WCHAR* t, const CKZString& s) {
  return s.Compare(t, false) != 0;
}
inline bool operator<(const WCHAR* t, const CKZString& s) {
  return s.Compare(t, false) > 0;
}
inline bool operator>(const WCHAR* t, const CKZString& s) {
  return s.Compare(t, false) < 0;
}
inline bool operator<=(const WCHAR* t, const CKZString& s) {
  return s.Compare(t, false) >= 0;
}
inline bool operator>=(const WCHAR* t, const CKZString& s) {
  return s.Compare(t, false) <= 0;
}
inline bool operator==(const char* t, const CKZString& s) {
  return s.Compare(t, false) == 0;
}
inline bool operator!=(const char* t, const CKZString& s) {
  return s.Compare(t, false) != 0;
}
inline bool operator<(const char* t, const CKZString& s) {
  return s.Compare(t, false) > 0;
}
inline bool operator>(const char* t, const CKZString& s) {
  return s.Compare(t, false) < 0;
}
inline bool operator<=(const char* t, const CKZString& s) {
  return s.Compare(t, false) >= 0;
}
inline bool operator>=(const char* t, const CKZString& s) {
  return s.Compare(t, false) <= 0;
}

#endif  // KZCOMMON_KZSTRING_H_
