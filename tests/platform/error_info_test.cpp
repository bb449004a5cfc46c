// The per-thread error object: fields, the thread's reference, counts,
// interfaces. Only the umbrella header is included: it must give every name
// used here. Expected values are those of the Windows build under Wine.
#include <gtest/gtest.h>
#include <kzcommon/kzcommon.h>

#include <string>
#include <thread>

#include "test_support.h"

namespace {

// A non-null pointer that is never followed: shows an output left alone.
IErrorInfo* Untouched() {
  static int marker;
  return reinterpret_cast<IErrorInfo*>(&marker);
}

// A new object's IErrorInfo, and its ICreateErrorInfo if `create` wants it.
IErrorInfo* NewInfo(ICreateErrorInfo** create = nullptr) {
  ICreateErrorInfo* c = nullptr;
  if (CreateErrorInfo(&c) != S_OK) return nullptr;
  void* info = nullptr;
  HRESULT hr = c->QueryInterface(IID_IErrorInfo, &info);
  if (create != nullptr) {
    *create = c;
  } else {
    c->Release();
  }
  return hr == S_OK ? static_cast<IErrorInfo*>(info) : nullptr;
}

// The thread's object, taken over (null if none).
IErrorInfo* Take() {
  IErrorInfo* info = nullptr;
  return GetErrorInfo(0, &info) == S_OK ? info : nullptr;
}

// The references to an object besides the caller's one.
ULONG OtherRefs(IUnknown* object) {
  ULONG count = object->AddRef();
  object->Release();
  return count - 2;
}

// A text field read through `get`; "(unwritten)" if left alone.
std::u16string Text(IErrorInfo* info, HRESULT (IErrorInfo::*get)(BSTR*)) {
  static OLECHAR unwritten[] = OLESTR("(unwritten)");
  BSTR text = unwritten;
  if ((info->*get)(&text) != S_OK) return u"(failed)";
  std::u16string out = kztest::W(text);
  if (text != unwritten) SysFreeString(text);
  return out;
}

// Each text field, published and taken back: unset or null gives a null BSTR
// with S_OK, "" stays empty, null clears. Faults: the wrong field, the
// caller's pointer kept instead of a copy, null and "" mixed up.
TEST(ErrorInfo, TextFieldsRoundTrip) {
  struct Field {
    const char* name;
    HRESULT (ICreateErrorInfo::*set)(LPOLESTR);
    HRESULT (IErrorInfo::*get)(BSTR*);
  } fields[] = {
      {"source", &ICreateErrorInfo::SetSource, &IErrorInfo::GetSource},
      {"description", &ICreateErrorInfo::SetDescription,
       &IErrorInfo::GetDescription},
      {"help file", &ICreateErrorInfo::SetHelpFile, &IErrorInfo::GetHelpFile},
  };
  // The setter calls in order; a null text is a call with null.
  struct Row {
    const char* name;
    int calls;
    const OLECHAR* texts[2];
    const char16_t* read;
  } rows[] = {
      {"unset", 0, {}, u"(null)"},
      {"null", 1, {nullptr}, u"(null)"},
      {"empty", 1, {OLESTR("")}, u""},
      {"text", 1, {OLESTR("abc")}, u"abc"},
      {"replaced", 2, {OLESTR("abc"), OLESTR("de")}, u"de"},
      {"cleared", 2, {OLESTR("abc"), nullptr}, u"(null)"},
  };
  for (const Field& field : fields) {
    for (const Row& row : rows) {
      SCOPED_TRACE(std::string(field.name) + ": " + row.name);
      ICreateErrorInfo* create = nullptr;
      IErrorInfo* info = NewInfo(&create);
      ASSERT_NE(nullptr, info);
      for (int call = 0; call < row.calls; ++call) {
        const OLECHAR* text = row.texts[call];
        OLECHAR buffer[8] = {};
        for (int i = 0; text != nullptr && text[i] != 0; ++i) {
          buffer[i] = text[i];
        }
        EXPECT_EQ(S_OK,
                  (create->*field.set)(text != nullptr ? buffer : nullptr));
        buffer[0] = 'X';  // the object must hold its own copy
      }
      EXPECT_EQ(S_OK, SetErrorInfo(0, info));
      info->Release();
      create->Release();
      IErrorInfo* back = Take();
      ASSERT_NE(nullptr, back);
      EXPECT_EQ(std::u16string(row.read), Text(back, field.get));
      back->Release();
    }
  }
}

// GUID and help context read GUID_NULL and 0 unset, and whole once set; null
// out-pointers give E_INVALIDARG. Faults: a truncated context, a GUID kept
// by address, a write through null.
TEST(ErrorInfo, GuidHelpContextAndNullOutputs) {
  const GUID kGuid = {0x01234567, 0x89AB, 0xCDEF, {1, 2, 3, 4, 5, 6, 7, 8}};
  ICreateErrorInfo* create = nullptr;
  IErrorInfo* info = NewInfo(&create);
  ASSERT_NE(nullptr, info);
  GUID guid = kGuid;
  DWORD context = 7;
  EXPECT_EQ(S_OK, info->GetGUID(&guid));
  EXPECT_TRUE(guid == GUID_NULL);
  EXPECT_EQ(S_OK, info->GetHelpContext(&context));
  EXPECT_EQ(0u, context);
  GUID given = kGuid;
  EXPECT_EQ(S_OK, create->SetGUID(given));
  given.Data1 = 0;
  EXPECT_EQ(S_OK, create->SetHelpContext(0xFFFFFFFEu));
  EXPECT_EQ(S_OK, info->GetGUID(&guid));
  EXPECT_TRUE(guid == kGuid);
  EXPECT_EQ(S_OK, info->GetHelpContext(&context));
  EXPECT_EQ(0xFFFFFFFEu, context);
  EXPECT_EQ(E_INVALIDARG, CreateErrorInfo(nullptr));
  EXPECT_EQ(E_INVALIDARG, info->GetGUID(nullptr));
  EXPECT_EQ(E_INVALIDARG, info->GetSource(nullptr));
  EXPECT_EQ(E_INVALIDARG, info->GetDescription(nullptr));
  EXPECT_EQ(E_INVALIDARG, info->GetHelpFile(nullptr));
  EXPECT_EQ(E_INVALIDARG, info->GetHelpContext(nullptr));
  info->Release();
  create->Release();
}

// GetErrorInfo hands the thread's reference over and empties the slot; a
// reserved value other than 0 or a null out-pointer is refused and changes
// neither the output nor the slot.
TEST(ErrorInfo, GetErrorInfoCalls) {
  enum Out { kNull, kObject, kUntouched };
  struct Row {
    const char* name;
    bool withObject;
    ULONG reserved;
    bool nullOut;
    HRESULT result;
    Out out;
  } rows[] = {
      {"none", false, 0, false, S_FALSE, kNull},
      {"object", true, 0, false, S_OK, kObject},
      {"none, reserved 1", false, 1, false, E_INVALIDARG, kUntouched},
      {"object, reserved 1", true, 1, false, E_INVALIDARG, kUntouched},
      {"none, null out", false, 0, true, E_INVALIDARG, kUntouched},
      {"object, null out", true, 0, true, E_INVALIDARG, kUntouched},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    IErrorInfo* object = NewInfo();
    ASSERT_NE(nullptr, object);
    if (row.withObject) {
      EXPECT_EQ(S_OK, SetErrorInfo(0, object));
    }
    IErrorInfo* out = Untouched();
    EXPECT_EQ(row.result,
              GetErrorInfo(row.reserved, row.nullOut ? nullptr : &out));
    IErrorInfo* expected[] = {nullptr, object, Untouched()};
    EXPECT_EQ(expected[row.out], out);
    if (row.result == S_OK) out->Release();
    // A refused call leaves the object in the slot; a good one empties it.
    const bool kept = row.withObject && row.result < 0;
    IErrorInfo* left = Untouched();
    EXPECT_EQ(kept ? S_OK : S_FALSE, GetErrorInfo(0, &left));
    EXPECT_EQ(kept ? object : nullptr, left);
    if (left != nullptr) left->Release();
    EXPECT_EQ(0u, OtherRefs(object)) << "the slot's reference was given up";
    object->Release();
  }
}

// SetErrorInfo with the slot holding A: B replaces A, null clears, A again
// keeps A (not freed in between), a reserved value other than 0 is refused;
// A's reference is released either way. The slot keeps an object alive and
// the last Release frees it (ASan shows a use after free or a leak).
TEST(ErrorInfo, SetErrorInfoCalls) {
  enum Slot { kNone, kA, kB };
  struct Row {
    const char* name;
    ULONG reserved;
    Slot given;
    HRESULT result;
    Slot after;
  } rows[] = {
      {"replace", 0, kB, S_OK, kB},
      {"clear", 0, kNone, S_OK, kNone},
      {"same again", 0, kA, S_OK, kA},
      {"reserved 1", 1, kB, E_INVALIDARG, kA},
      {"reserved 1, null", 1, kNone, E_INVALIDARG, kA},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    IErrorInfo* a = NewInfo();
    IErrorInfo* b = NewInfo();
    ASSERT_NE(nullptr, a);
    ASSERT_NE(nullptr, b);
    ASSERT_EQ(S_OK, SetErrorInfo(0, a));
    IErrorInfo* objects[] = {nullptr, a, b};
    EXPECT_EQ(row.result, SetErrorInfo(row.reserved, objects[row.given]));
    EXPECT_EQ(row.after == kA ? 1u : 0u, OtherRefs(a));
    EXPECT_EQ(row.after == kB ? 1u : 0u, OtherRefs(b));
    IErrorInfo* left = Take();
    EXPECT_EQ(objects[row.after], left);
    if (left != nullptr) left->Release();
    a->Release();
    b->Release();
  }
  ICreateErrorInfo* create = nullptr;
  IErrorInfo* info = NewInfo(&create);
  ASSERT_NE(nullptr, info);
  EXPECT_EQ(S_OK, create->SetDescription(const_cast<LPOLESTR>(OLESTR("kept"))));
  EXPECT_EQ(S_OK, SetErrorInfo(0, info));
  EXPECT_EQ(2u, info->Release());
  EXPECT_EQ(1u, create->Release()) << "only the slot's reference is left";
  IErrorInfo* back = Take();
  ASSERT_EQ(info, back);
  EXPECT_EQ(u"kept", Text(back, &IErrorInfo::GetDescription));
  EXPECT_EQ(0u, back->Release());
}

// QueryInterface from either interface answers IUnknown (one for both),
// IErrorInfo and ICreateErrorInfo with a reference each, and anything else
// with E_NOINTERFACE and null; both interfaces fill one object.
TEST(ErrorInfo, QueryInterface) {
  const GUID kDispatchIid = {
      0x00020400, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
  ICreateErrorInfo* create = nullptr;
  IErrorInfo* info = NewInfo(&create);
  ASSERT_NE(nullptr, info);
  struct Row {
    const char* name;
    const GUID& iid;
    HRESULT result;
  } rows[] = {
      {"IUnknown", IID_IUnknown, S_OK},
      {"IErrorInfo", IID_IErrorInfo, S_OK},
      {"ICreateErrorInfo", IID_ICreateErrorInfo, S_OK},
      {"other", kDispatchIid, E_NOINTERFACE},
  };
  void* unknowns[2] = {};
  IUnknown* froms[] = {info, create};
  for (int from = 0; from < 2; ++from) {
    for (const Row& row : rows) {
      SCOPED_TRACE(std::string(row.name) +
                   (from == 0 ? " from IErrorInfo" : " from ICreate"));
      void* out = Untouched();
      EXPECT_EQ(row.result, froms[from]->QueryInterface(row.iid, &out));
      if (row.result != S_OK) {
        EXPECT_EQ(nullptr, out);
        continue;
      }
      ASSERT_NE(nullptr, out);
      EXPECT_EQ(2u, OtherRefs(info)) << "QueryInterface adds one reference";
      if (&row.iid == &IID_IUnknown) unknowns[from] = out;
      if (&row.iid == &IID_ICreateErrorInfo && from == 0) {
        EXPECT_EQ(S_OK, static_cast<ICreateErrorInfo*>(out)->SetSource(
                            const_cast<LPOLESTR>(OLESTR("same"))));
      }
      static_cast<IUnknown*>(out)->Release();
    }
  }
  EXPECT_EQ(unknowns[0], unknowns[1]);
  EXPECT_EQ(u"same", Text(info, &IErrorInfo::GetSource));
  info->Release();
  create->Release();
}

// The slot is per thread, and released when its thread ends.
TEST(ErrorInfo, SlotPerThread) {
  IErrorInfo* info = NewInfo();
  ASSERT_NE(nullptr, info);
  HRESULT setResult = E_FAIL;
  HRESULT otherResult = E_FAIL;
  IErrorInfo* otherOut = Untouched();
  std::thread([&] { setResult = SetErrorInfo(0, info); }).join();
  std::thread([&] { otherResult = GetErrorInfo(0, &otherOut); }).join();
  EXPECT_EQ(S_OK, setResult);
  EXPECT_EQ(S_FALSE, otherResult);
  EXPECT_EQ(nullptr, otherOut);
  EXPECT_EQ(nullptr, Take());
  EXPECT_EQ(0u, OtherRefs(info)) << "the ended thread's slot released it";
  info->Release();
}

}  // namespace
