// CKZStringToken: the token list. Its storage is raw memory holding
// CKZString values; moving a value into new storage takes its block
// pointer over, so growing costs no reference counting and no text.
#include <kzcommon/kzstringtoken.h>

#include <cstdlib>
#include <cstring>
#include <new>

#include "strings/internal/wide_scan.h"
#include "strings/string_block.h"

namespace {

constexpr ULONG kMaxRoom = 0xFFFFFFFFu / sizeof(CKZString);

// Storage for `room` values, not constructed; nullptr if memory ran out.
CKZString* Allocate(ULONG room) {
  return static_cast<CKZString*>(platform::malloc(sizeof(CKZString) * room));
}

// Destroys the values [from, to).
void Destroy(CKZString* tokens, ULONG from, ULONG to) {
  for (ULONG i = from; i < to; ++i) tokens[i].~CKZString();
}

// Moves `count` values into new storage for `room` and frees the old one.
// False if memory ran out; nothing has changed then.
bool Reallocate(CKZString*& tokens, ULONG count, ULONG room) {
  CKZString* moved = Allocate(room);
  if (moved == nullptr) return false;
  for (ULONG i = 0; i < count; ++i) {
    new (&moved[i]) CKZString(tokens[i]);
    tokens[i].~CKZString();
  }
  std::free(tokens);
  tokens = moved;
  return true;
}

// The units of a delimiter, as the splitter asks about them: is this unit a
// separator? Units below 256 are looked up in a table, the rest compared
// with the delimiter's units above 255, of which there are usually none.
class SeparatorSet {
 public:
  explicit SeparatorSet(const WCHAR* delimiter) : m_wide(delimiter) {
    std::memset(m_low, 0, sizeof m_low);
    if (delimiter == nullptr) return;
    for (const WCHAR* d = delimiter; *d != 0; ++d) {
      if (*d < 256) {
        m_low[*d] = true;
      } else {
        m_hasWide = true;
      }
    }
  }
  bool Contains(WCHAR unit) const {
    if (unit < 256) return m_low[unit];
    if (!m_hasWide) return false;
    for (const WCHAR* d = m_wide; *d != 0; ++d) {
      if (*d == unit) return true;
    }
    return false;
  }

 private:
  const WCHAR* m_wide;
  bool m_hasWide = false;
  bool m_low[256];
};

// Units looked at one by one before the scan goes over to vectors.
constexpr std::size_t kShortToken = 8;

// Splits s[0, length) (s[length] is its terminator) as wcstok would: every
// unit of the delimiter separates, runs of separators count as one, and the
// text ends at its first zero unit. Reads the text, never writes it.
class Splitter {
 public:
  Splitter(const WCHAR* s, std::size_t length, const WCHAR* delimiter)
      : m_text(s),
        m_length(length),
        m_single(delimiter != nullptr && delimiter[0] != 0 && delimiter[1] == 0
                     ? delimiter[0]
                     : 0),
        m_set(m_single != 0 ? nullptr : delimiter) {}

  // The next token as [begin, end); false when there is none.
  bool Next(std::size_t& begin, std::size_t& end) {
    const WCHAR* s = m_text;
    std::size_t i = m_at;
    if (m_single != 0) {
      while (s[i] == m_single) ++i;
      if (s[i] == 0) return false;
      // Most tokens are short: a unit at a time first, then whole vectors.
      // Either scan stops at the separator or at a zero unit, the
      // terminator at the latest.
      end = i + 1;
      const std::size_t shortEnd = i + kShortToken;
      while (end < shortEnd && s[end] != m_single && s[end] != 0) ++end;
      if (end == shortEnd) {
        end += kzscan::best::FirstOf(s + end, m_length - end + 1, m_single);
      }
    } else {
      while (s[i] != 0 && m_set.Contains(s[i])) ++i;
      if (s[i] == 0) return false;
      end = i;
      while (s[end] != 0 && !m_set.Contains(s[end])) ++end;
    }
    begin = i;
    m_at = end;
    return true;
  }
  void Restart() { m_at = 0; }

 private:
  const WCHAR* m_text;
  std::size_t m_length;
  std::size_t m_at = 0;
  WCHAR m_single;  // the one separator, or 0 for a set
  SeparatorSet m_set;
};

}  // namespace

CKZStringToken::CKZStringToken() : m_tokens(nullptr), m_count(0), m_room(0) {
  // A multibyte text of its own, like any text assigned from a literal.
  m_delimiter = ",";
}

CKZStringToken::CKZStringToken(const CKZStringToken& other)
    : m_delimiter(other.m_delimiter), m_tokens(nullptr), m_count(0), m_room(0) {
  if (other.m_count == 0) return;
  m_tokens = Allocate(other.m_count);
  if (m_tokens == nullptr) return;
  m_room = other.m_count;
  for (; m_count < other.m_count; ++m_count) {
    new (&m_tokens[m_count]) CKZString(other.m_tokens[m_count]);
  }
}

CKZStringToken::~CKZStringToken() {
  Destroy(m_tokens, 0, m_count);
  std::free(m_tokens);
}

CKZStringToken& CKZStringToken::operator=(const CKZStringToken& other) {
  if (&other == this) return *this;
  if (other.m_count > m_room) {
    // Filled before the present tokens go, so a failure changes nothing.
    CKZString* tokens = Allocate(other.m_count);
    if (tokens == nullptr) return *this;
    for (ULONG i = 0; i < other.m_count; ++i) {
      new (&tokens[i]) CKZString(other.m_tokens[i]);
    }
    Destroy(m_tokens, 0, m_count);
    std::free(m_tokens);
    m_tokens = tokens;
    m_count = other.m_count;
    m_room = other.m_count;
    m_delimiter = other.m_delimiter;
    return *this;
  }
  m_delimiter = other.m_delimiter;
  const ULONG shared = m_count < other.m_count ? m_count : other.m_count;
  for (ULONG i = 0; i < shared; ++i) m_tokens[i] = other.m_tokens[i];
  for (; m_count < other.m_count; ++m_count) {
    new (&m_tokens[m_count]) CKZString(other.m_tokens[m_count]);
  }
  if (other.m_count < m_count) {
    Destroy(m_tokens, other.m_count, m_count);
    m_count = other.m_count;
  }
  return *this;
}

void CKZStringToken::SetDelimiter(const CKZString& delimiter) {
  m_delimiter = delimiter;
}

CKZString CKZStringToken::GetDelimiter() const { return m_delimiter; }

CKZString CKZStringToken::GetNthToken(ULONG index) const {
  if (index >= m_count) return CKZString();
  return m_tokens[index];
}

HRESULT CKZStringToken::AddTokens(const CKZString& text) {
  // Held for the whole call: the scan reads this block's wide form in
  // place and writes nothing to it, so neither `text` nor any other sharer
  // sees a change, and the tokens get blocks of their own.
  const CKZString source(text);
  const CKZString delimiter(m_delimiter);
  const WCHAR* s = source;
  const WCHAR* d = delimiter;
  // Null where a block exists means memory ran out building a wide form.
  if (s == nullptr || (d == nullptr && delimiter.m_block != nullptr)) {
    return S_OK;
  }
  Splitter split(s, source.m_block->wideLength, d);
  // Counted first, so that the storage grows once, to the room that adding
  // the tokens one by one would reach.
  ULONG added = 0;
  std::size_t begin;
  std::size_t end;
  while (split.Next(begin, end)) ++added;
  if (added == 0) return S_OK;
  if (added > kMaxRoom - m_count) return S_OK;
  const ULONG needed = m_count + added;
  if (needed > m_room) {
    ULONG room = m_room == 0 ? 1 : m_room;
    while (room < needed) {
      if (room > kMaxRoom / 2) return S_OK;
      room *= 2;
    }
    if (!Reallocate(m_tokens, m_count, room)) return S_OK;
    m_room = room;
  }
  split.Restart();
  const ULONG before = m_count;
  while (split.Next(begin, end)) {
    CKZStringBlock* block = kzblock::CreateWideInRecord(
        s + begin, static_cast<std::uint32_t>(end - begin));
    if (block == nullptr) {
      // All or nothing: the tokens of this text that were already added go.
      Destroy(m_tokens, before, m_count);
      m_count = before;
      return S_OK;
    }
    new (&m_tokens[m_count]) CKZString(block);
    ++m_count;
  }
  return S_OK;
}

HRESULT CKZStringToken::RemoveToken(const CKZString& token) {
  ULONG i = 0;
  while (i < m_count && !(m_tokens[i] == token)) ++i;
  if (i == m_count) return S_FALSE;
  for (; i + 1 < m_count; ++i) m_tokens[i] = m_tokens[i + 1];
  --m_count;
  m_tokens[m_count].~CKZString();
  return S_OK;
}

bool CKZStringToken::IsInList(const CKZString& token) const {
  for (ULONG i = 0; i < m_count; ++i) {
    if (m_tokens[i] == token) return true;
  }
  return false;
}

CKZString CKZStringToken::GetTokensList() const {
  if (m_count == 0) return CKZString();
  // Null where a block exists means memory ran out building a wide form:
  // the result is then null, never a part of the list.
  const WCHAR* d = m_delimiter;
  if (d == nullptr && m_delimiter.m_block != nullptr) return CKZString();
  const std::uint32_t dLength =
      d == nullptr ? 0 : m_delimiter.m_block->wideLength;
  std::uint64_t total = 0;
  for (ULONG i = 0; i < m_count; ++i) {
    if (static_cast<const WCHAR*>(m_tokens[i]) == nullptr) return CKZString();
    total += m_tokens[i].m_block->wideLength + std::uint64_t{dLength};
  }
  // The last unit of the joined text goes: one unit, whatever the delimiter.
  if (total <= 1) return CKZString();
  const std::uint64_t length = total - 1;
  if (length > kMaxBlockCapacity) return CKZString();
  CKZStringBlock* block =
      kzblock::CreateWide(nullptr, static_cast<std::uint32_t>(length));
  if (block == nullptr) return CKZString();
  WCHAR* out = block->wideBuffer;
  std::uint64_t left = length;
  const auto put = [&](const WCHAR* from, std::uint32_t count) {
    const std::uint64_t n = count < left ? count : left;
    std::memcpy(out, from, static_cast<std::size_t>(n) * sizeof(WCHAR));
    out += n;
    left -= n;
  };
  for (ULONG i = 0; i < m_count; ++i) {
    const CKZStringBlock* token = m_tokens[i].m_block;
    put(token->wideBuffer, token->wideLength);
    if (dLength != 0) put(d, dLength);
  }
  *out = 0;
  return CKZString(block);
}
