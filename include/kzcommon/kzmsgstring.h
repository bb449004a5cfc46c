// CKZMsgString: a string whose text is a composite message, and two classes
// that keep one reading of it at hand.
//
// A composite is one plain text: the readable message, then a marked
// section that identifies it, then whatever a caller put behind it:
//
//   <message text>_$S_<type digit><number>[-<CODE>][-<origin>]_$E_
//
// FormatMsg writes it; BuildSimpleMessage gives the message text back and
// BuildDetailMessage a text that leads with the coded part:
//
//   FormatMsg(1, "12$Type mismatch", "Reader", "parser")
//     composite  "Type mismatch_$S_1012-PARS-Reader_$E_"
//     simple     "Type mismatch"
//     detail     "1012-PARS-Reader - Type mismatch"
//     errorNum   1012
//
// The readers work on the text alone, so a CKZMsgString that was only
// assigned such a text reads it as well as the one that wrote it, and a
// text without markers is a legal value that the readers give back whole.
//
// Every output is a share of a block: nothing is copied that already
// exists. Nothing here throws. A value belongs to one thread at a time.
#ifndef KZCOMMON_KZMSGSTRING_H_
#define KZCOMMON_KZMSGSTRING_H_

#include <kzcommon/export.h>
#include <kzcommon/kzstring.h>
#include <kzcommon/wintypes.h>

class CKZCatalog;

class KZCOMMON_API CKZMsgString : public CKZString {
 public:
  // A null string with error number 0.
  CKZMsgString() : m_errorNum(0) {}
  // Shares the other's text block and takes its error number.
  CKZMsgString(const CKZMsgString& other)
      : CKZString(other), m_errorNum(other.m_errorNum) {}
  ~CKZMsgString() override;

  // Shares the other's text block and takes its error number.
  CKZMsgString& operator=(const CKZMsgString& other) {
    CKZString::operator=(other);
    m_errorNum = other.m_errorNum;
    return *this;
  }
  // Text assignment replaces the text only: the error number stays, and
  // GetErrorNum then speaks of the message formatted before. The text rules
  // of CKZString apply (a CKZString is shared, text is copied; the same
  // WARNING on text that lies in this value's own buffers).
  CKZMsgString& operator=(const CKZString& text) {
    CKZString::operator=(text);
    return *this;
  }
  CKZMsgString& operator=(const WCHAR* text) {
    CKZString::operator=(text);
    return *this;
  }
  CKZMsgString& operator=(const char* text) {
    CKZString::operator=(text);
    return *this;
  }

  // Writes the composite of `text` and sets the error number.
  //
  // `text` is a message in the form "N$message": the number is what stands
  // before its first '$', read as the Windows run-time's wcstol reads a
  // base-10 number (leading white space and a sign accepted, reading stops
  // at the first unit that can't continue it, no number reads as 0), and the
  // message is what stands behind that '$'. A text without '$' is all
  // message, with the number 0. The number is written as "%03ld" prints
  // it: "007", "-05". A number that takes more than three units there
  // (1000 and up, -100 and down) is written in full, never cut: "1234",
  // "-100", up to the eleven units of -2147483648; the readers take such a
  // composite apart like any other.
  //
  // The type digit is "1", "2", "3", "4", "5" for the types 1, 2, 4, 8, 16,
  // and "?" for any other type. If `origin` is neither null nor empty it is
  // written as "-origin" at the end of the section, and then, if
  // `originCode` is neither null nor empty, its first four units in upper
  // case (by the current locale) are written as "-CODE" before it; a code
  // without an origin is dropped. The error number is type * 1000 + number
  // in unsigned 32-bit arithmetic, wrapping for very large numbers.
  //
  // Returns S_OK; E_POINTER for a null `text`; E_OUTOFMEMORY when the
  // composite can't be allocated. On failure the text and the error number
  // stay as they were. The arguments may lie in this value's own text.
  // The result is a new wide-only block; cost linear in the composite.
  virtual HRESULT FormatMsg(ULONG type, const WCHAR* text,
                            const WCHAR* origin = nullptr,
                            const WCHAR* originCode = nullptr);

  // Fetches text `msgId` from `catalog`, formats it with the arguments that
  // follow (as CKZCatalog::GetMsg does: always, also without arguments, so
  // "%%" gives "%"), and writes its composite through the virtual FormatMsg
  // with `type`, `origin` and `originCode`:
  //   msg.Format(1, OLESTR("Reader"), nullptr, catalog, id, OLESTR("x"));
  // Returns S_OK (a success of FormatMsg other than S_OK too); the failure of
  // the fetch (E_FAIL: no module or no text under that id; E_INVALIDARG: the
  // text and the arguments don't belong together; E_OUTOFMEMORY) or of
  // FormatMsg. On failure the text and the error number stay as they were.
  // `origin` and `originCode` may lie in this value's own text.
  HRESULT Format(ULONG type, const WCHAR* origin, const WCHAR* originCode,
                 CKZCatalog& catalog, ULONG msgId, ...);

  // The message text: what stands before the first "_$S_". `out` receives
  // it and S_OK is returned; a composite that starts with the marker has
  // none, and `out` is then a null string. A text without the marker goes
  // to `out` whole (a share of this value's block) with S_FALSE.
  // E_OUTOFMEMORY, with `out` as it was, when the part can't be allocated.
  // `out` may be this value itself.
  virtual HRESULT BuildSimpleMessage(CKZString& out);
  // The detail text: the section behind the first "_$S_" up to the first
  // "_$E_" behind it (or to the end when that is missing), then " - ", the
  // message text, and whatever stood behind "_$E_". "hello_$S_2005_$E_ world"
  // gives "2005 - hello world". S_OK, or S_FALSE with the whole text when
  // there is no "_$S_"; E_OUTOFMEMORY with `out` as it was when the result
  // can't be allocated. `out` may be this value itself.
  virtual HRESULT BuildDetailMessage(CKZString& out);

  // One reading of the text, by kind: 0 the simple text and 1 the detail
  // text (through the virtual readers above, whose S_FALSE doesn't reach
  // the caller), 2 the composite itself; kinds 3 to 65534 give a null
  // string. Returns S_OK; E_INVALIDARG for a kind of 65535 or more (checked
  // first); E_FAIL for a null or empty text; E_OUTOFMEMORY when a reader
  // ran out of memory. `out` changes only on S_OK.
  HRESULT GetMsg(ULONG kind, CKZString& out);

  // type * 1000 + message number of the last successful FormatMsg; 0 in a
  // new value. Text assignment leaves it alone.
  ULONG GetErrorNum() const { return m_errorNum; }

 protected:
  // The reading of GetMsg as a new value: null for an empty text or a kind
  // other than 0, 1 and 2, or when a reader ran out of memory.
  CKZString ExtractMessage(ULONG kind);

 private:
  ULONG m_errorNum;
};

// The two views: a CKZMsgString that keeps one reader's result in a string
// of its own, so that it can hand out a plain text pointer to it and find it
// again on the next request. CKZSimpleMsgString keeps the simple text,
// CKZDetailMsgString the detail text.
//
// The view is built by the class's own reader (or a conversion operator)
// the first time it gives a non-empty text, and dropped only by FormatMsg:
// text assigned through a CKZMsgString reference changes the composite but
// not the view, which goes on giving the earlier reading until the next
// FormatMsg. An empty reading counts as not built and is read again each
// time. The other reader (BuildDetailMessage of a simple view, and the
// reverse) never touches the view. Copies and assignments carry the view.
class KZCOMMON_API CKZSimpleMsgString : public CKZMsgString {
 public:
  CKZSimpleMsgString() = default;
  // Shares the other's text and view blocks, takes its error number.
  CKZSimpleMsgString(const CKZSimpleMsgString& other)
      : CKZMsgString(other), m_cachedView(other.m_cachedView) {}
  ~CKZSimpleMsgString() override;
  // The same three shares in the same order; self-assignment changes
  // nothing. Text is assigned through a CKZMsgString reference.
  CKZSimpleMsgString& operator=(const CKZSimpleMsgString& other);

  // Drops the view, then formats as CKZMsgString::FormatMsg does. The view
  // is gone also when that returns E_POINTER; with E_OUTOFMEMORY the object
  // stays as it was, view included. `text` may point into the view.
  HRESULT FormatMsg(ULONG type, const WCHAR* text,
                    const WCHAR* origin = nullptr,
                    const WCHAR* originCode = nullptr) override;
  // A built view goes to `out` (a share of its block) with S_FALSE, even
  // where the composite has its markers: S_FALSE also means "from the view".
  // Otherwise the base reader's result and code, and the view keeps a share
  // of `out`.
  HRESULT BuildSimpleMessage(CKZString& out) override;

  // The simple text, building the view first if need be; nullptr when it is
  // null (a new object, a composite without message text) or when memory ran
  // out, and the object then stays as it was. Not const: it may build the
  // view. The pointer stays valid until the next FormatMsg,
  // assignment or destruction of this object.
  operator const WCHAR*();
  operator const char*();

 private:
  CKZString m_cachedView;
};

class KZCOMMON_API CKZDetailMsgString : public CKZMsgString {
 public:
  CKZDetailMsgString() = default;
  CKZDetailMsgString(const CKZDetailMsgString& other)
      : CKZMsgString(other), m_cachedView(other.m_cachedView) {}
  ~CKZDetailMsgString() override;
  CKZDetailMsgString& operator=(const CKZDetailMsgString& other);

  // As CKZSimpleMsgString's, for the detail text.
  HRESULT FormatMsg(ULONG type, const WCHAR* text,
                    const WCHAR* origin = nullptr,
                    const WCHAR* originCode = nullptr) override;
  HRESULT BuildDetailMessage(CKZString& out) override;

  operator const WCHAR*();
  operator const char*();

 private:
  CKZString m_cachedView;
};

#endif  // KZCOMMON_KZMSGSTRING_H_
