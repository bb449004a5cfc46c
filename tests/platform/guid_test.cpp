// GUID text: what StringFromGUID2 writes and what CLSIDFromString accepts.
// Expected values are those of the Windows build under Wine.
#include <gtest/gtest.h>

#include <string>

#include "platform/platform.h"

#include "test_support.h"

namespace {

const GUID kSample = {0x01234567,
                      0x89AB,
                      0xCDEF,
                      {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}};
const GUID kAllOnes = {0xFFFFFFFF,
                       0xFFFF,
                       0xFFFF,
                       {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}};

// Upper-case hex, braces, hyphens after 8, 4, 4 and 4 digits, and the
// fields in their order; the text parses back to the same GUID, which the
// string class's GUID conversion relies on. Lower case, a swapped field or
// Data4 half, or a round trip that loses a byte fails here.
TEST(GuidText, StringFromGuid2TextAndBack) {
  struct Row {
    const char* name;
    GUID guid;
    const char16_t* text;
  } rows[] = {
      {"sample", kSample, u"{01234567-89AB-CDEF-0123-456789ABCDEF}"},
      {"each field distinct",
       {0x00000001, 0x0002, 0x0003, {4, 5, 6, 7, 8, 9, 10, 11}},
       u"{00000001-0002-0003-0405-060708090A0B}"},
      {"all ones", kAllOnes, u"{FFFFFFFF-FFFF-FFFF-FFFF-FFFFFFFFFFFF}"},
      {"null", GUID_NULL, u"{00000000-0000-0000-0000-000000000000}"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    OLECHAR buffer[39];
    ASSERT_EQ(39, StringFromGUID2(row.guid, buffer, 39));
    EXPECT_EQ(std::u16string(row.text), kztest::W(buffer));
    GUID parsed = kSample;
    ASSERT_EQ(S_OK, CLSIDFromString(buffer, &parsed));
    EXPECT_TRUE(IsEqualGUID(row.guid, parsed));
  }
}

// 38 units and the terminator: 39 is returned when they fit, 0 and nothing
// written when they don't, and nothing is written past the terminator.
TEST(GuidText, StringFromGuid2BufferSizes) {
  struct Row {
    const char* name;
    int size;
    int result;
  } rows[] = {
      {"roomy", 80, 39}, {"exact", 39, 39}, {"one short", 38, 0},
      {"tiny", 1, 0},    {"zero", 0, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    OLECHAR buffer[80];
    for (OLECHAR& unit : buffer) unit = 0x5A5A;
    EXPECT_EQ(row.result, StringFromGUID2(kSample, buffer, row.size));
    if (row.result == 0) {
      EXPECT_EQ(0x5A5A, buffer[0]) << "nothing written on failure";
    } else {
      EXPECT_EQ(0, buffer[38]);
      EXPECT_EQ(0x5A5A, buffer[39]) << "nothing past the terminator";
    }
  }
}

// What CLSIDFromString accepts: the text StringFromGUID2 writes, in either
// case, and a null text (GUID_NULL). Everything else fails, the empty text
// included; a text that isn't a braced GUID would be looked up as a ProgID,
// and none is registered. A null output is refused, not written through.
TEST(GuidText, ClsidFromString) {
  struct Row {
    const char* name;
    const char16_t* text;
    HRESULT result;
    GUID guid;  // on success
  } rows[] = {
      {"canonical", u"{01234567-89AB-CDEF-0123-456789ABCDEF}", S_OK, kSample},
      {"lower-case hex", u"{01234567-89ab-cdef-0123-456789abcdef}", S_OK,
       kSample},
      {"null text", nullptr, S_OK, GUID_NULL},
      {"empty text", u"", CO_E_CLASSSTRING, GUID_NULL},
      {"no braces", u"01234567-89AB-CDEF-0123-456789ABCDEF", CO_E_CLASSSTRING,
       GUID_NULL},
      {"no closing brace", u"{01234567-89AB-CDEF-0123-456789ABCDEF",
       CO_E_CLASSSTRING, GUID_NULL},
      {"one digit short", u"{01234567-89AB-CDEF-0123-456789ABCDE}",
       CO_E_CLASSSTRING, GUID_NULL},
      {"one digit long", u"{01234567-89AB-CDEF-0123-456789ABCDEF0}",
       CO_E_CLASSSTRING, GUID_NULL},
      {"text after the brace", u"{01234567-89AB-CDEF-0123-456789ABCDEF}x",
       CO_E_CLASSSTRING, GUID_NULL},
      {"bad digit", u"{0123456G-89AB-CDEF-0123-456789ABCDEF}", CO_E_CLASSSTRING,
       GUID_NULL},
      {"bad digit in the last group", u"{01234567-89AB-CDEF-0123-456789ABCDEG}",
       CO_E_CLASSSTRING, GUID_NULL},
      {"plus for a hyphen", u"{01234567+89AB-CDEF-0123-456789ABCDEF}",
       CO_E_CLASSSTRING, GUID_NULL},
      {"leading space", u" {01234567-89AB-CDEF-0123-456789ABCDEF}",
       CO_E_CLASSSTRING, GUID_NULL},
      {"unregistered ProgID", u"Kz.NoSuchThing", CO_E_CLASSSTRING, GUID_NULL},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const std::u16string text = row.text != nullptr ? row.text : u"";
    const std::basic_string<OLECHAR> units(text.begin(), text.end());
    GUID guid = kAllOnes;
    EXPECT_EQ(
        row.result,
        CLSIDFromString(row.text != nullptr ? units.c_str() : nullptr, &guid));
    // On failure Windows may leave a partial parse behind: not compared.
    if (row.result == S_OK) {
      EXPECT_TRUE(IsEqualGUID(row.guid, guid));
    }
  }
  EXPECT_EQ(E_INVALIDARG,
            CLSIDFromString(OLESTR("{01234567-89AB-CDEF-0123-456789ABCDEF}"),
                            nullptr));
}

}  // namespace
