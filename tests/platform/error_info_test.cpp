// The per-thread error object, as Wine runs it. Only the umbrella header is
// included: it must give every name used here.
#include <gtest/gtest.h>
#include <kzcommon/kzcommon.h>

#include <string>
#include <thread>
#include <vector>

#include "test_support.h"

namespace {

int g_marker;  // its address shows an output left alone
IErrorInfo* const kUntouched = reinterpret_cast<IErrorInfo*>(&g_marker);

IErrorInfo* NewInfo(ICreateErrorInfo** create = nullptr) {
  ICreateErrorInfo* c = nullptr;
  void* info = nullptr;
  if (CreateErrorInfo(&c) != S_OK) return nullptr;
  c->QueryInterface(IID_IErrorInfo, &info);
  if (create != nullptr) *create = c;
  if (create == nullptr) c->Release();
  return static_cast<IErrorInfo*>(info);
}

IErrorInfo* Take() {
  IErrorInfo* info = nullptr;
  return GetErrorInfo(0, &info) == S_OK ? info : nullptr;
}

ULONG OtherRefs(IUnknown* object) {
  object->AddRef();
  return object->Release() - 1;
}

std::u16string Text(IErrorInfo* info, HRESULT (IErrorInfo::*get)(BSTR*)) {
  static OLECHAR unwritten[] = OLESTR("(unwritten)");
  BSTR text = unwritten;
  if ((info->*get)(&text) != S_OK) return u"(failed)";
  std::u16string out = kztest::W(text);
  if (text != unwritten) SysFreeString(text);
  return out;
}

// Each text field set, published and taken back, the slot keeping the object
// alive. Faults: the wrong field, the caller's pointer kept, null and "".
TEST(ErrorInfo, TextFieldsRoundTrip) {
  struct Field {
    const char* name;
    HRESULT (ICreateErrorInfo::*set)(LPOLESTR);
    HRESULT (IErrorInfo::*get)(BSTR*);
  } fields[] = {
      {"source", &ICreateErrorInfo::SetSource, &IErrorInfo::GetSource},
      {"text", &ICreateErrorInfo::SetDescription, &IErrorInfo::GetDescription},
      {"help", &ICreateErrorInfo::SetHelpFile, &IErrorInfo::GetHelpFile},
  };
  const struct {
    std::vector<const OLECHAR*> texts;
    const char16_t* read;
  } rows[] = {{{}, u"(null)"},
              {{nullptr}, u"(null)"},
              {{OLESTR("")}, u""},
              {{OLESTR("abc"), OLESTR("de")}, u"de"},
              {{OLESTR("abc"), nullptr}, u"(null)"}};
  for (const Field& field : fields) {
    for (const auto& row : rows) {
      SCOPED_TRACE(std::to_string(&row - rows) + " " + field.name);
      ICreateErrorInfo* create = nullptr;
      IErrorInfo* info = NewInfo(&create);
      ASSERT_NE(nullptr, info);
      for (const OLECHAR* given : row.texts) {
        std::basic_string<OLECHAR> text(given ? given : OLESTR(""));
        EXPECT_EQ(S_OK, (create->*field.set)(given ? &text[0] : nullptr));
        text.assign(3, 'X');  // the object must hold its own copy
      }
      EXPECT_EQ(S_OK, SetErrorInfo(0, info));
      EXPECT_EQ(2u, info->Release());
      EXPECT_EQ(1u, create->Release()) << "only the slot's reference is left";
      IErrorInfo* back = Take();
      ASSERT_EQ(info, back);
      EXPECT_EQ(std::u16string(row.read), Text(back, field.get));
      EXPECT_EQ(E_INVALIDARG, (back->*field.get)(nullptr));
      EXPECT_EQ(0u, back->Release());
    }
  }
}

// The slot: GetErrorInfo hands its reference over, SetErrorInfo of A over A
// keeps A alive (ASan), a refused call changes neither output nor slot, and
// each thread has its own slot, given up when the thread ends.
TEST(ErrorInfo, SlotCalls) {
  enum { kGet = -1, kGetIntoNull = -2 };
  const struct {
    const char* name;
    bool startWithA;
    ULONG reserved;
    int given;  // for SetErrorInfo, 0: null, 1: A, 2: B
    bool otherThread;
    HRESULT result;
    int after;  // the slot's object, as `given`
  } rows[] = {
      {"get from an empty slot", false, 0, kGet, false, S_FALSE, 0},
      {"get", true, 0, kGet, false, S_OK, 0},
      {"get, reserved", true, 1, kGet, false, E_INVALIDARG, 1},
      {"get into null", true, 0, kGetIntoNull, false, E_INVALIDARG, 1},
      {"get in another thread", true, 0, kGet, true, S_FALSE, 1},
      {"set B over A", true, 0, 2, false, S_OK, 2},
      {"set null", true, 0, 0, false, S_OK, 0},
      {"set A over A", true, 0, 1, false, S_OK, 1},
      {"set, reserved", true, 1, 2, false, E_INVALIDARG, 1},
      {"set null, reserved", true, 1, 0, false, E_INVALIDARG, 1},
      {"set in another thread", false, 0, 1, true, S_OK, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    IErrorInfo* objects[] = {nullptr, NewInfo(), NewInfo()};
    ASSERT_TRUE(objects[1] != nullptr && objects[2] != nullptr);
    ASSERT_EQ(S_OK, SetErrorInfo(0, row.startWithA ? objects[1] : nullptr));
    IErrorInfo* out = kUntouched;
    HRESULT result = E_FAIL;
    auto call = [&] {
      result = row.given == kGet ? GetErrorInfo(row.reserved, &out)
               : row.given == kGetIntoNull
                   ? GetErrorInfo(row.reserved, nullptr)
                   : SetErrorInfo(row.reserved, objects[row.given]);
    };
    row.otherThread ? std::thread(call).join() : call();
    EXPECT_EQ(row.result, result);
    EXPECT_EQ(row.given != kGet || row.result < 0 ? kUntouched
              : row.result == S_OK                ? objects[1]
                                                  : nullptr,
              out);
    if (out == objects[1]) out->Release();
    EXPECT_EQ(row.after == 1 ? 1u : 0u, OtherRefs(objects[1]));
    EXPECT_EQ(row.after == 2 ? 1u : 0u, OtherRefs(objects[2]));
    IErrorInfo* left = Take();
    EXPECT_EQ(objects[row.after], left);
    if (left != nullptr) left->Release();
    objects[1]->Release();
    objects[2]->Release();
  }
}

// GUID and help context unset at first, not truncated, not kept by address;
// null outputs refused. QueryInterface from either interface: one IUnknown,
// one reference added each; anything else E_NOINTERFACE and null.
TEST(ErrorInfo, InterfacesGuidAndContext) {
  const GUID kDispatchIid = {
      0x00020400, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
  ICreateErrorInfo* create = nullptr;
  IErrorInfo* info = NewInfo(&create);
  ASSERT_NE(nullptr, info);
  const GUID kGuid = {0x01234567, 0x89AB, 0xCDEF, {1, 2, 3, 4, 5, 6, 7, 8}};
  GUID guid = kGuid;
  DWORD context = 7;
  for (int set = 0; set < 2; ++set) {
    EXPECT_EQ(S_OK, info->GetGUID(&guid));
    EXPECT_TRUE(guid == (set ? kGuid : GUID_NULL));
    EXPECT_EQ(S_OK, info->GetHelpContext(&context));
    EXPECT_EQ(set ? 0xFFFFFFFEu : 0u, context);
    GUID given = kGuid;
    EXPECT_EQ(S_OK, create->SetGUID(given));
    given.Data1 = 0;
    EXPECT_EQ(S_OK, create->SetHelpContext(0xFFFFFFFEu));
  }
  EXPECT_EQ(E_INVALIDARG, CreateErrorInfo(nullptr));
  EXPECT_EQ(E_INVALIDARG, info->GetGUID(nullptr));
  EXPECT_EQ(E_INVALIDARG, info->GetHelpContext(nullptr));
  const GUID* iids[] = {&IID_IUnknown, &IID_IErrorInfo, &IID_ICreateErrorInfo,
                        &kDispatchIid};
  void* unknowns[2] = {};
  IUnknown* froms[] = {info, create};
  for (int from = 0; from < 2; ++from) {
    for (int i = 0; i < 4; ++i) {
      SCOPED_TRACE(testing::Message() << "iid " << i << " from " << from);
      void* out = kUntouched;
      EXPECT_EQ(i < 3 ? S_OK : E_NOINTERFACE,
                froms[from]->QueryInterface(*iids[i], &out));
      if (i == 3) {
        EXPECT_EQ(nullptr, out);
        continue;
      }
      ASSERT_NE(nullptr, out);
      EXPECT_EQ(2u, OtherRefs(info)) << "QueryInterface adds one reference";
      if (i == 0) unknowns[from] = out;
      if (i == 2 && from == 0) {
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

}  // namespace
