// KZRaiseError: the argument checks, the composite as the description, the
// other fields, and the thread's error object replaced by every call. Under
// Wine these read the platform's own error object.
#include <gtest/gtest.h>
#include <kzcommon/kzcommon.h>

#include <string>

#include "errors/error_test_support.h"

namespace {

using kztest::TakeErrorDescription;

class ErrorPublication : public kztest::ErrorStateTest {};

// A text field of an error object, or "(null)".
std::u16string Field(IErrorInfo* info, HRESULT (IErrorInfo::*get)(BSTR*)) {
  BSTR text = nullptr;
  if ((info->*get)(&text) != S_OK) return u"(failed)";
  std::u16string out = kztest::W(text);
  SysFreeString(text);
  return out;
}

// The checks in their order, and what a passing call publishes: the type
// digit, the number, never hr. A refused call leaves the earlier object.
// Faults: the type check before the null check, a success code refused with
// an error type or a failure code refused with another type, hr published.
TEST_F(ErrorPublication, ArgumentChecks) {
  const struct Row {
    const char* name;
    HRESULT hr;
    ULONG type;
    const WCHAR* text;
    HRESULT result;
    const char16_t* published;
  } rows[] = {
      {"null text, bad type", S_OK, 4, nullptr, E_POINTER, u"before"},
      {"null text", E_FAIL, 2, nullptr, E_POINTER, u"before"},
      {"success code, type 4", S_OK, 4, OLESTR("5$T"), E_INVALIDARG, u"before"},
      {"S_FALSE, type 16", S_FALSE, 16, OLESTR("5$T"), E_INVALIDARG, u"before"},
      {"success code, type 1", S_OK, 1, OLESTR("5$T"), S_OK, u"T_$S_1005_$E_"},
      {"success code, type 2", S_FALSE, 2, OLESTR("5$T"), S_OK,
       u"T_$S_2005_$E_"},
      {"failure, type 2", E_FAIL, 2, OLESTR("5$T"), S_OK, u"T_$S_2005_$E_"},
      {"another failure, type 2", E_ABORT, 2, OLESTR("5$T"), S_OK,
       u"T_$S_2005_$E_"},
      {"failure, type 4", E_FAIL, 4, OLESTR("5$T"), S_OK, u"T_$S_3005_$E_"},
      {"failure, type 99", E_FAIL, 99, OLESTR("5$T"), S_OK, u"T_$S_?005_$E_"},
      {"empty text", E_FAIL, 1, OLESTR(""), S_OK, u"_$S_1000_$E_"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    kztest::PublishMarker();
    EXPECT_EQ(row.result, KZRaiseError(row.hr, row.type, row.text));
    EXPECT_EQ(std::u16string(row.published), TakeErrorDescription());
  }
}

// Every field read back from the thread's object, the description taken
// apart by the message views, and a second call replacing the first
// whole. Faults: fields crossed or left from the earlier call, origin and
// code lost, the description not the composite.
TEST_F(ErrorPublication, FieldsReadBack) {
  const GUID guid = kztest::TestKey(42);
  ASSERT_EQ(S_OK, KZRaiseError(E_FAIL, 1, OLESTR("12$Type mismatch"),
                               OLESTR("Reader"), OLESTR("parser"), guid, 77,
                               OLESTR("help.chm"), OLESTR("Src")));
  IErrorInfo* info = nullptr;
  ASSERT_EQ(S_OK, GetErrorInfo(0, &info));
  ASSERT_NE(nullptr, info);
  const std::u16string description = Field(info, &IErrorInfo::GetDescription);
  EXPECT_EQ(u"Type mismatch_$S_1012-PARS-Reader_$E_", description);
  EXPECT_EQ(u"help.chm", Field(info, &IErrorInfo::GetHelpFile));
  EXPECT_EQ(u"Src", Field(info, &IErrorInfo::GetSource));
  GUID read = GUID_NULL;
  DWORD context = 0;
  EXPECT_EQ(S_OK, info->GetGUID(&read));
  EXPECT_TRUE(read == guid);
  EXPECT_EQ(S_OK, info->GetHelpContext(&context));
  EXPECT_EQ(77u, context);
  BSTR text = nullptr;
  ASSERT_EQ(S_OK, info->GetDescription(&text));
  CKZDetailMsgString detail;
  static_cast<CKZMsgString&>(detail) = static_cast<const WCHAR*>(text);
  CKZSimpleMsgString simple;
  static_cast<CKZMsgString&>(simple) = static_cast<const WCHAR*>(text);
  SysFreeString(text);
  EXPECT_EQ(u"1012-PARS-Reader - Type mismatch",
            kztest::W(static_cast<const WCHAR*>(detail)));
  EXPECT_EQ(u"Type mismatch", kztest::W(static_cast<const WCHAR*>(simple)));
  info->Release();

  ASSERT_EQ(S_OK, KZRaiseError(E_FAIL, 2, OLESTR("3$Second")));
  ASSERT_EQ(S_OK, KZRaiseError(E_FAIL, 2, OLESTR("4$Third")));
  ASSERT_EQ(S_OK, GetErrorInfo(0, &info));
  ASSERT_NE(nullptr, info);
  EXPECT_EQ(u"Third_$S_2004_$E_", Field(info, &IErrorInfo::GetDescription));
  EXPECT_EQ(u"(null)", Field(info, &IErrorInfo::GetHelpFile));
  EXPECT_EQ(u"(null)", Field(info, &IErrorInfo::GetSource));
  EXPECT_EQ(S_OK, info->GetGUID(&read));
  EXPECT_TRUE(read == GUID_NULL);
  EXPECT_EQ(S_OK, info->GetHelpContext(&context));
  EXPECT_EQ(0u, context);
  info->Release();
  EXPECT_EQ(u"(none)", TakeErrorDescription()) << "no stack of errors";
}

}  // namespace
