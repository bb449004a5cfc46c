// CKZStringToken: an ordered list of string tokens with a delimiter.
//
// The list splits delimited text into tokens, keeps them in the order in
// which they came, finds and removes them, and joins them back into one
// text. Tokens are ordinary CKZString values: a token handed out shares its
// block with the list until one of the two is edited, so copying a list,
// reading a token and removing one move block pointers, never text.
//
// The delimiter plays two parts. For splitting it is a set of units, each of
// which separates tokens; for joining it is one whole text that goes behind
// each token. A new list has the delimiter ",".
//
// Duplicates are allowed and there is no index: every lookup walks the list
// from its first token.
//
// Threads: a list, like its strings, belongs to one thread at a time, and so
// do the values that share blocks with its tokens and its delimiter.
#ifndef KZCOMMON_KZSTRINGTOKEN_H_
#define KZCOMMON_KZSTRINGTOKEN_H_

#include <kzcommon/export.h>
#include <kzcommon/kzstring.h>
#include <kzcommon/wintypes.h>

struct CKZStringTokenTestAccess;

class KZCOMMON_API CKZStringToken {
 public:
  // An empty list with the delimiter "," (a multibyte text of its own).
  CKZStringToken();
  // Shares the delimiter and every token with `other`; the copy has room for
  // exactly `other`'s tokens. If that room cannot be allocated the copy is an
  // empty list with `other`'s delimiter.
  CKZStringToken(const CKZStringToken& other);
  virtual ~CKZStringToken();

  // Makes this list hold `other`'s delimiter and tokens, each sharing its
  // block with `other`'s at the same position; no text is copied. Room is
  // kept and reused when it suffices; when it doesn't, new room for exactly
  // `other`'s count is made, and if that fails this list stays as it was.
  // Assigning a list to itself changes nothing.
  CKZStringToken& operator=(const CKZStringToken& other);

  // The delimiter shares `delimiter`'s block. A null delimiter is allowed
  // and means the same as an empty one: AddTokens then has no separator, so
  // a non-empty text becomes one token, and GetTokensList joins the tokens
  // with nothing between them.
  void SetDelimiter(const CKZString& delimiter);
  // A share of the delimiter's block.
  CKZString GetDelimiter() const;

  ULONG GetCount() const { return m_count; }
  // A share of the token at `index`, counted from 0. An index at or past
  // GetCount() gives a null string (no token is ever null).
  CKZString GetNthToken(ULONG index) const;

  // Splits `text` as wcstok does and appends each token, in order, as a
  // wide-only value of its own; a token already in the list is added again.
  // Every unit of the delimiter separates; separators at the start and end
  // give nothing, a run of them counts as one, so no token is ever empty.
  // `text` and every value that shares its block read as before.
  // Returns S_OK in every case: a null or empty text, or one of separators
  // only, adds nothing. If memory runs out, nothing of this text is added
  // and the list keeps every token it had.
  // Cost: linear in the text, one allocation per token (a wide-only block
  // with room for exactly its text, which grows like any other once it is
  // edited); the room of the list doubles when full (from 1), grows once per
  // call, and never shrinks.
  HRESULT AddTokens(const CKZString& text);
  // Removes the first token equal to `token` (exact comparison, case
  // counts) and moves the ones behind it forward, keeping their order; a
  // later duplicate stays. S_OK if one was removed, S_FALSE if none matched
  // (always for a null `token`). Never allocates. Linear in the count.
  HRESULT RemoveToken(const CKZString& token);
  // True if a token equals `token` exactly. Linear in the count.
  bool IsInList(const CKZString& token) const;

  // The tokens in order, each followed by the delimiter, with the last unit
  // of the whole taken off: with a one-unit delimiter, the tokens with the
  // delimiter between them. A longer delimiter leaves all but its last unit
  // at the end ("a" and "b" with ";;" give "a;;b;"), which still splits back
  // into the same tokens. An empty list, or a result of nothing, gives a
  // null string; so does exhausted memory. The result is a wide-only value
  // of its own. Cost: linear in the result, one allocation.
  CKZString GetTokensList() const;

 private:
  friend struct CKZStringTokenTestAccess;

  CKZString m_delimiter;
  CKZString* m_tokens;  // m_count values in storage for m_room
  ULONG m_count;
  ULONG m_room;
};

#endif  // KZCOMMON_KZSTRINGTOKEN_H_
