// CKZErrorHandling: the base class of every component object that reports
// through kzcommon, and KZRaiseError, which puts a message on the calling
// thread's error object.
//
// A client class derives from CKZErrorHandling, names its message catalog
// and receives the messages that aren't errors:
//
//   class CReader : public CKZErrorHandling {
//    protected:
//     const WCHAR* GetCatalogName() override { return OLESTR("reader_msgs"); }
//     HRESULT OnMessage(CKZMsgString& message) override { ...; return S_OK; }
//   };
//
//   HRESULT CReader::Open(const WCHAR* path) {
//     if (path == nullptr) {
//       Raise(E_POINTER);                    // "Invalid pointer", via the map
//       return E_POINTER;
//     }
//     if (!Exists(path)) {
//       Raise(E_FAIL, 2, kIdNoFile, path);  // the client's text, formatted
//       return E_FAIL;
//     }
//     ...
//   }
//
// The road of one message. Raise(hr) turns a failure code into a message id
// and a type through the object's own message map, then the library's default
// map of the common codes; Raise(hr, type, id, ...) and Log(type, id, ...)
// give the id themselves. The text comes from the client's catalog (a
// CKZCatalog of GetCatalogName()), or from the library's own catalog
// "kzcommon" when the client's answers E_FAIL (no module, an empty name, no
// text under the id). Then:
//   - queue on (the default): the message joins the process-wide queue,
//     oldest first, where the client reads it (GetMessageQueue) and clears it
//     (ClearMessageQueue). A message of type 1 or 2 there stops every further
//     Raise of the process until the queue is cleared.
//   - queue off (DisableMessageQueue): a message of type 1 or 2 is published
//     at once on the calling thread's error object (KZRaiseError); any other
//     type is formatted as a composite (CKZMsgString) and given to OnMessage.
// A raise that fails on this road ends in one fallback: the message with id 8
// ("Unexpected failure.") under E_UNEXPECTED, type 2, by the same road.
//
// Message types: 1 and 2 are the error types; the composite format also
// knows 4, 8 and 16; any other number travels as it is.
//
// Threads: nothing here takes a lock. The queue, the message maps and the
// error lock are process-wide and unguarded: a program that raises, logs or
// reads the queue from several threads serialises those calls itself.
// KZRaiseError alone touches no shared state; the error object is the
// platform's, one per thread. An object belongs to one thread at a time.
//
// Results are HRESULTs; compare them with zero, since S_FALSE is a success
// ("nothing was done" from Raise). Nothing throws. Exhausted memory: a queue
// entry or a map entry that can't be made leaves the queue and the maps as
// they were, and the operation gives E_OUTOFMEMORY; a raise then runs the
// fallback as for any other failure.
#ifndef KZCOMMON_KZERRORHANDLING_H_
#define KZCOMMON_KZERRORHANDLING_H_

#include <kzcommon/export.h>
#include <kzcommon/kzmsgstring.h>
#include <kzcommon/kzstring.h>
#include <kzcommon/wintypes.h>

#include <cstdarg>

// The library's message map: opaque to clients, who reach it only through
// AddMsgMapEntry.
class MsgMap;
struct CKZErrorHandlingTestAccess;

class KZCOMMON_API CKZErrorHandling {
 public:
  // The bits of the object's switches. Both are set in a new object.
  enum : ULONG {
    ErrorHandlingOn = 1,  // raises are accepted
    MessageQueueOn = 2,   // messages go to the queue, else straight out
  };

  // One queued message. Copying shares the text's block (no allocation).
  struct MessageInfo {
    HRESULT resultCode;  // the code raised; 0 for a logged message
    ULONG messageType;
    // The text as the catalog gave it, "N$text" prefix included: not a
    // composite. CKZMsgString::FormatMsg(messageType, messageText) makes one.
    CKZString messageText;
  };

  // A doubly linked list of MessageInfo, oldest first: the type of the
  // process-wide queue and of the list that GetMessageQueue fills. The
  // library allocates and frees its nodes, so a list may cross module
  // boundaries. Not copyable (a copy could fail); read it with a range-for:
  //
  //   CKZErrorHandling::MessageList messages;
  //   CKZErrorHandling::GetMessageQueue(messages);
  //   for (const CKZErrorHandling::MessageInfo& m : messages) { ... }
  //   CKZErrorHandling::ClearMessageQueue();
  class KZCOMMON_API MessageList {
    struct Link {
      Link* prev;
      Link* next;
    };
    struct Node : Link {
      MessageInfo info;
    };

   public:
    class const_iterator {
     public:
      const MessageInfo& operator*() const {
        return static_cast<const Node*>(at)->info;
      }
      const MessageInfo* operator->() const { return &**this; }
      const_iterator& operator++() {
        at = at->next;
        return *this;
      }
      const_iterator& operator--() {
        at = at->prev;
        return *this;
      }
      bool operator==(const const_iterator& o) const { return at == o.at; }
      bool operator!=(const const_iterator& o) const { return at != o.at; }

     private:
      friend class MessageList;
      explicit const_iterator(const Link* link) : at(link) {}
      const Link* at;
    };

    MessageList() { head.prev = head.next = &head; }
    // Destroys the entries that remain.
    ~MessageList() { Clear(); }
    MessageList(const MessageList&) = delete;
    MessageList& operator=(const MessageList&) = delete;

    // Appends a copy of `info` (the text's block is shared): true, or false
    // with the list unchanged when the entry can't be allocated.
    bool PushBack(const MessageInfo& info);
    // Destroys every entry. Linear.
    void Clear();
    // The number of entries, counted: linear.
    ULONG Size() const;
    bool IsEmpty() const { return head.next == &head; }

    // Entries in order, oldest first; end() steps back to the newest. Valid
    // until that entry is removed (Clear) or the list destroyed.
    const_iterator begin() const { return const_iterator(head.next); }
    const_iterator end() const { return const_iterator(&head); }

   private:
    friend class CKZErrorHandling;
    // Moves every entry of `other` behind this list's, allocating nothing.
    void SpliceBack(MessageList& other);
    Link head;  // the sentinel: head.next is the oldest, head.prev the newest
  };

  // A scoped right to raise alone. While a lock on object A lives, Raise on
  // every other object returns S_FALSE; A raises normally, and Log is never
  // stopped. It is no lock between threads: nobody waits.
  //
  //   {
  //     CKZErrorHandling::CKZErrorLock lock(this);
  //     helper.Work();  // helper's raises are dropped; ours go through
  //   }
  //
  // There is one right in the process and no count: a lock constructed while
  // another object holds the right takes nothing (and its destructor gives
  // nothing back), and the first lock on the owner to be destroyed ends the
  // right, even while a second lock on the owner lives. The pointer is only
  // compared, never followed, so the object may be gone.
  class KZCOMMON_API CKZErrorLock {
   public:
    // Takes the right for `object` if nobody holds it; null takes nothing.
    explicit CKZErrorLock(const CKZErrorHandling* object);
    // Ends the right if this lock's object holds it.
    ~CKZErrorLock();
    // A guard is tied to its scope: no copies.
    CKZErrorLock(const CKZErrorLock&) = delete;
    // Takes the other lock's object and nothing else: the right moves
    // neither way. A lock that held the right and is assigned a lock on
    // another object no longer ends it; only a lock on the owner does.
    CKZErrorLock& operator=(const CKZErrorLock& other);

   private:
    const CKZErrorHandling* lockedObject;
  };

  // Both switches on, no message map yet.
  CKZErrorHandling()
      : flags(ErrorHandlingOn | MessageQueueOn), msgMap(nullptr) {}
  // Copy and assignment take the switches and the message map: a copy keeps
  // using the other object's map whatever its own class's key.
  CKZErrorHandling(const CKZErrorHandling& other) = default;
  CKZErrorHandling& operator=(const CKZErrorHandling& other) = default;
  // Changes nothing of the queue, the maps or the error lock.
  virtual ~CKZErrorHandling();

  // Called once, on the object whose AddMsgMapEntry or Raise created the map
  // of its key, right after the creation: the place to fill the map with
  // AddMsgMapEntry. A negative result fails that call, and the map stays as
  // the failed call left it: it is never called again, for any object.
  // Default: S_OK.
  virtual HRESULT OnCreateMsgMap();

  // Raises a failure code through the message maps.
  //   S_FALSE  stopped at the gate, nothing done: error handling suspended, a
  //            message of type 1 or 2 queued (by any object), hr not a
  //            failure (S_OK, S_FALSE), or another object holds the error
  //            lock; checked in that order. No map or catalog is touched.
  //   S_OK     the message was delivered.
  //   failure  after the fallback: E_UNEXPECTED for a code that no map
  //            holds, E_FAIL when no catalog has the mapped id's text, the
  //            failure of OnCreateMsgMap or of OnMessage, E_OUTOFMEMORY.
  // The mapped text is taken as it stands, unformatted.
  HRESULT Raise(HRESULT hr);
  // Raises message `msgId` of type `type`, formatted with the arguments that
  // follow (%s takes wide text), which must match the text's placeholders.
  // The text is formatted even with no arguments: "%%" gives "%". Gate and
  // S_FALSE as above; S_OK when delivered; on any failure the fallback runs
  // and the result is E_UNEXPECTED.
  HRESULT Raise(HRESULT hr, ULONG type, ULONG msgId, ...);
  // Raises `text` as it stands, without a catalog. E_POINTER for a null
  // text, checked before the gate. Then the gate (S_FALSE), then S_OK or the
  // failure of the delivery (OnMessage's, E_OUTOFMEMORY); no fallback.
  // WARNING: a literal 0 as third argument is ambiguous with the overload
  // above: write nullptr or 0u.
  HRESULT Raise(HRESULT hr, ULONG type, const WCHAR* text);

  // Logs message `msgId`, formatted as Raise formats it, under result code 0.
  // No gate: neither suspension, nor a queued error, nor the lock stops it.
  // Types 1 and 2 count as errors here too: in the queue they close the
  // gate, with the queue off they are published. S_OK, or the failure of the
  // catalogs (E_FAIL: no text under msgId) or of the delivery; no fallback.
  HRESULT Log(ULONG type, ULONG msgId, ...);
  // Logs `text` as it stands: S_OK, E_POINTER for a null text, or the
  // failure of the delivery.
  HRESULT Log(ULONG type, const WCHAR* text);

  // Maps `code` to message `msgId` of type `msgType` in the map of this
  // object's key (GetMsgMapKey), which every object of that key shares and
  // which Raise(code) asks before the default map. The first entry for a
  // code stays: a second call for it changes nothing and gives S_OK too.
  // The first call for a key creates its map and calls OnCreateMsgMap first.
  //   S_OK, E_UNEXPECTED with the all-zero key (the default map takes no
  //   entries), OnCreateMsgMap's failure (the entry isn't added), or
  //   E_OUTOFMEMORY (the map is as it was).
  HRESULT AddMsgMapEntry(HRESULT code, ULONG msgId, ULONG msgType);

  // Raises are dropped (S_FALSE) until ResumeErrorHandling. They don't nest:
  // one Resume undoes any number of Suspends. Log is not affected.
  void SuspendErrorHandling() { flags &= ~static_cast<ULONG>(ErrorHandlingOn); }
  void ResumeErrorHandling() { flags |= ErrorHandlingOn; }
  // From now on this object's messages go straight out: errors to the
  // thread's error object, others to OnMessage. Only assignment from an
  // object with its queue on turns it on again.
  void DisableMessageQueue() { flags &= ~static_cast<ULONG>(MessageQueueOn); }

  // Appends a copy of every queued message, oldest first, behind what `out`
  // holds; the queue doesn't change (reading doesn't reopen the gate).
  // S_FALSE, always, with or without entries; E_OUTOFMEMORY with `out`
  // unchanged when a copy can't be made. Linear in the queue.
  static HRESULT GetMessageQueue(MessageList& out);
  // Empties the queue, which reopens the gate: S_OK, always.
  static HRESULT ClearMessageQueue();
  // The number of queued messages; linear.
  static ULONG GetMessageQueueSize();

 protected:
  // The module name of the client's catalog, as CKZCatalog takes it; asked
  // once by each raise or log that fetches a text. Null or empty: the
  // library's own catalog answers. The text is copied at once, so it need
  // only live during the call.
  virtual const WCHAR* GetCatalogName() = 0;
  // Receives a message of a type other than 1 and 2, as a composite, while
  // this object's queue is off. The string dies when the call returns; a
  // negative result fails the raise or log that delivered it.
  virtual HRESULT OnMessage(CKZMsgString& message) = 0;
  // The key of this object's message map; objects that give the same key
  // share one map. Default: the all-zero GUID, no map of its own. Read at
  // the first use of the map only: the object keeps the map found then.
  virtual const GUID& GetMsgMapKey();
  // None of the four is const: a client may compute or cache its answers,
  // and OnMessage may read the string through its (non-const) readers. The
  // library calls them on the raising object only.

 private:
  friend struct CKZErrorHandlingTestAccess;

  // The map of `key` (never all-zero), found or created at the first call,
  // with OnCreateMsgMap run on creation; later calls answer from `msgMap`.
  // S_OK with *map set; OnCreateMsgMap's failure or E_OUTOFMEMORY with *map
  // untouched.
  HRESULT GetMsgMap(const GUID& key, MsgMap** map);
  // The gate of the Raise overloads: true when the raise may go ahead.
  bool PassesGate(HRESULT hr) const;
  // Resolves a failure code to a message: S_OK with *msgId and *msgType, the
  // failure of GetMsgMap, or S_FALSE when no map holds it.
  HRESULT ResolveCode(HRESULT hr, ULONG* msgId, ULONG* msgType);
  // The text of `msgId`, from the client's catalog, then from the default
  // catalog on E_FAIL; both calls see `args` from its first argument. A
  // null `args` takes the text unformatted; a non-null one formats it, even
  // over no arguments. `out` changes only on success.
  HRESULT FetchText(CKZString& out, ULONG msgId, va_list* args);
  // Fetches and delivers: S_OK or the failure.
  HRESULT RaiseError(HRESULT hr, ULONG type, ULONG msgId, va_list* args);
  // Message 8 under E_UNEXPECTED, type 2; its result is dropped.
  void RaiseFallback();
  // Queues `text` (sharing `shared`'s block when given, which then holds
  // the same text) if the queue is on, else hands it to ProcessMessage.
  // E_POINTER for a null text; E_OUTOFMEMORY with the queue unchanged.
  HRESULT AddMsgToQueue(HRESULT hr, ULONG type, const WCHAR* text,
                        const CKZString* shared = nullptr);
  // The direct road: types 1 and 2 to KZRaiseError (its failure dropped),
  // others formatted and given to OnMessage.
  HRESULT ProcessMessage(HRESULT hr, ULONG type, const WCHAR* text,
                         const WCHAR* origin, const WCHAR* originCode);
  // Whether the queue holds a message of type 1 or 2, whoever queued it.
  static bool HasErrorRaised();

  ULONG flags;
  MsgMap* msgMap;  // in the process-wide store; not owned, never cleared
};

// Publishes a message on the calling thread's error object, replacing the
// one there: the description is the composite of CKZMsgString::FormatMsg(
// type, text, origin, originCode), which CKZMsgString and its views take
// apart again; the GUID, help context, help file and source are set as
// given (null texts leave those fields empty). `hr` decides only the type
// check and is not published. Touches no state of the library.
//   S_OK
//   E_POINTER      null text (checked first)
//   E_INVALIDARG   a success code with a type other than 1 and 2
//   E_OUTOFMEMORY  or another failure of the formatting, of CreateErrorInfo
//                  or of a field's copy: nothing was published, the thread's
//                  object is as it was, and nothing allocated here remains
// Read it back where the caller of the component reads errors:
//   IErrorInfo* info = nullptr;
//   if (GetErrorInfo(0, &info) == S_OK) { info->GetDescription(&bstr); ... }
KZCOMMON_API HRESULT KZRaiseError(HRESULT hr, ULONG type, const WCHAR* text,
                                  const WCHAR* origin = nullptr,
                                  const WCHAR* originCode = nullptr,
                                  const GUID& guid = GUID_NULL,
                                  ULONG helpContext = 0,
                                  const WCHAR* helpFile = nullptr,
                                  const WCHAR* source = nullptr);

#endif  // KZCOMMON_KZERRORHANDLING_H_
