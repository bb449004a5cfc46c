// KZRaiseError on the thread's error object; under Wine the platform's own.
#include <gtest/gtest.h>
#include <kzcommon/kzcommon.h>

#include <string>

#include "errors/error_test_support.h"

namespace {

using kztest::TakeError;

class ErrorPublication : public kztest::ErrorStateTest {};

// The checks in their order, and what a passing call publishes: the type
// digit and the number, never hr. A refused call leaves the earlier object.
TEST_F(ErrorPublication, ArgumentChecks) {
  const char* kBefore = "before_$S_2000_$E_";
  const struct Row {
    const char* name;
    HRESULT hr;
    ULONG type;
    const WCHAR* text;
    HRESULT result;
    const char* published;
  } rows[] = {
      {"null text, bad type", S_OK, 4, nullptr, E_POINTER, kBefore},
      {"success code, type 4", S_OK, 4, OLESTR("5$T"), E_INVALIDARG, kBefore},
      {"S_FALSE, type 16", S_FALSE, 16, OLESTR("5$T"), E_INVALIDARG, kBefore},
      {"success code, type 1", S_OK, 1, OLESTR("5$T"), S_OK, "T_$S_1005_$E_"},
      {"S_FALSE, type 2", S_FALSE, 2, OLESTR("5$T"), S_OK, "T_$S_2005_$E_"},
      {"failure, type 2", E_FAIL, 2, OLESTR("5$T"), S_OK, "T_$S_2005_$E_"},
      {"other failure", E_ABORT, 2, OLESTR("5$T"), S_OK, "T_$S_2005_$E_"},
      {"failure, type 4", E_FAIL, 4, OLESTR("5$T"), S_OK, "T_$S_3005_$E_"},
      {"empty text", E_FAIL, 1, OLESTR(""), S_OK, "_$S_1000_$E_"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ASSERT_EQ(S_OK, KZRaiseError(E_FAIL, 2, OLESTR("before")));
    EXPECT_EQ(row.result, KZRaiseError(row.hr, row.type, row.text));
    EXPECT_EQ(row.published, TakeError());
  }
}

// The thread's error object, taken: "guid context file source description",
// the GUID as "key", "null" or "other".
std::string TakeFields(std::u16string* description) {
  IErrorInfo* info = nullptr;
  if (GetErrorInfo(0, &info) != S_OK || info == nullptr) return "(none)";
  GUID guid = GUID_NULL;
  DWORD context = 0;
  std::string out = "(failed)";
  if (info->GetGUID(&guid) == S_OK && info->GetHelpContext(&context) == S_OK) {
    out = guid == GUID_NULL             ? "null"
          : guid == kztest::TestKey(42) ? "key"
                                        : "other";
    out += " " + std::to_string(context);
  }
  for (auto get : {&IErrorInfo::GetHelpFile, &IErrorInfo::GetSource,
                   &IErrorInfo::GetDescription}) {
    BSTR text = nullptr;
    out +=
        " " + (((info->*get)(&text) == S_OK) ? kztest::Narrow(kztest::W(text))
                                             : std::string("(failed)"));
    if (get == &IErrorInfo::GetDescription) *description = kztest::W(text);
    SysFreeString(text);
  }
  info->Release();
  return out;
}

// Every field read back, the description taken apart by the message views,
// and a later call replacing the whole object.
TEST_F(ErrorPublication, FieldsReadBack) {
  ASSERT_EQ(S_OK, KZRaiseError(E_FAIL, 1, OLESTR("12$Type mismatch"),
                               OLESTR("Reader"), OLESTR("parser"),
                               kztest::TestKey(42), 77, OLESTR("help.chm"),
                               OLESTR("Src")));
  std::u16string description;
  EXPECT_EQ("key 77 help.chm Src Type mismatch_$S_1012-PARS-Reader_$E_",
            TakeFields(&description));
  CKZDetailMsgString detail;
  static_cast<CKZMsgString&>(detail) =
      reinterpret_cast<const WCHAR*>(description.c_str());
  EXPECT_EQ(u"1012-PARS-Reader - Type mismatch", kztest::W(detail));

  ASSERT_EQ(S_OK, KZRaiseError(E_FAIL, 1, OLESTR("3$First"), nullptr, nullptr,
                               kztest::TestKey(42), 77, OLESTR("help.chm"),
                               OLESTR("Src")));
  ASSERT_EQ(S_OK, KZRaiseError(E_FAIL, 2, OLESTR("4$Then")));
  EXPECT_EQ("null 0 (null) (null) Then_$S_2004_$E_", TakeFields(&description));
}

}  // namespace
