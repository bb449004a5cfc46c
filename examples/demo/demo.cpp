// kzcommon demo: what the string type does, shown on live values.
//
// Every fact printed is read back from the values themselves (lengths,
// buffer addresses, converted units), so the output is what the library did,
// not what it is supposed to do.
#include <kzcommon/kzcommon.h>

#include <cctype>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

// Three characters outside ASCII: U+65E5 U+672C U+8A9E.
const WCHAR kWord[] = {0x65E5, 0x672C, 0x8A9E, 0};

// Whether the terminal can be trusted to show the multibyte form as text:
// it is UTF-8 (the usual terminal) or the text is plain ASCII.
bool g_utf8Locale = false;

bool IsAscii(const char* text) {
  for (; *text != 0; ++text) {
    if (static_cast<unsigned char>(*text) > 0x7F) return false;
  }
  return true;
}

// The text, quoted: the multibyte form when the terminal can show it, else
// the wide form with \uXXXX for every unit outside ASCII.
std::string Shown(const CKZString& s) {
  const char* mbs = s;
  if (mbs == nullptr) return "(null)";
  if (g_utf8Locale || IsAscii(mbs)) return std::string("\"") + mbs + "\"";
  std::string out = "\"";
  char escape[8];
  for (const WCHAR* wide = s; *wide != 0; ++wide) {
    if (*wide < 0x80) {
      out += static_cast<char>(*wide);
    } else {
      std::snprintf(escape, sizeof escape, "\\u%04X",
                    static_cast<unsigned>(*wide));
      out += escape;
    }
  }
  return out + "\"";
}

std::string Units(const CKZString& s) {
  const WCHAR* wide = s;
  if (wide == nullptr) return "(null)";
  std::string out;
  char unit[16];
  for (; *wide != 0; ++wide) {
    std::snprintf(unit, sizeof unit, "%s%04X", out.empty() ? "" : " ",
                  static_cast<unsigned>(*wide));
    out += unit;
  }
  return out;
}

std::string Bytes(const CKZString& s) {
  const char* mbs = s;
  if (mbs == nullptr) return "(null)";
  std::string out;
  char byte[8];
  for (; *mbs != 0; ++mbs) {
    std::snprintf(byte, sizeof byte, "%s%02x", out.empty() ? "" : " ",
                  static_cast<unsigned>(static_cast<unsigned char>(*mbs)));
    out += byte;
  }
  return out;
}

const char* YesNo(bool value) { return value ? "yes" : "no"; }

void Heading(const char* title) { std::printf("\n== %s\n", title); }

// The user's locale, or failing a multibyte one, a multibyte locale that the
// run-time has: UTF-8 on POSIX, code page 932 on Windows, whose run-time has
// no UTF-8 LC_CTYPE.
std::string ChooseLocale() {
  const char* name = std::setlocale(LC_ALL, "");
  if (MB_CUR_MAX == 1) {
    for (const char* candidate : {"C.UTF-8", ".932"}) {
      if (const char* chosen = std::setlocale(LC_ALL, candidate)) {
        name = chosen;
        break;
      }
    }
  }
  if (name == nullptr) name = std::setlocale(LC_ALL, nullptr);
  std::string result = name != nullptr ? name : "C";
  std::string lower;
  for (char c : result) {
    lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  g_utf8Locale = lower.find("utf-8") != std::string::npos ||
                 lower.find("utf8") != std::string::npos;
  return result;
}

void ShowTwoForms() {
  Heading("One text, two encodings");
  CKZString word(MB_CUR_MAX > 1 ? kWord : OLESTR("kzcommon"));
  std::printf("CKZString word(<wide text>);\n");
  std::printf("  wide form       %-32s  Length()    = %u units\n",
              Units(word).c_str(), static_cast<unsigned>(word.Length()));
  std::printf("  multibyte form  %-32s  MbsLength() = %u bytes\n",
              Bytes(word).c_str(), static_cast<unsigned>(word.MbsLength()));
  std::printf("  as text         %s\n", Shown(word).c_str());
  std::printf(
      "  The wide form was given; the multibyte form was converted on first\n"
      "  use and is now kept beside it in the same block.\n");

  CKZString back(static_cast<const char*>(word));
  std::printf("CKZString back(<multibyte form of word>);\n");
  std::printf("  wide form       %s  (same units as word: %s)\n",
              Units(back).c_str(), YesNo(Units(back) == Units(word)));
}

void ShowSharing() {
  Heading("Copies share one block");
  CKZString original(OLESTR("shared text"));
  CKZString copy = original;
  const WCHAR* a = original;
  const WCHAR* b = copy;
  std::printf("CKZString copy = original;\n");
  std::printf("  original at %p, copy at %p: same buffer: %s\n",
              static_cast<const void*>(a), static_cast<const void*>(b),
              YesNo(a == b));
  std::printf(
      "  A copy costs a pointer and a reference count; no text is copied.\n");

  copy = OLESTR("replaced");
  std::printf("copy = OLESTR(\"replaced\");\n");
  std::printf("  original %s, copy %s: same buffer: %s\n",
              Shown(original).c_str(), Shown(copy).c_str(),
              YesNo(static_cast<const WCHAR*>(original) ==
                    static_cast<const WCHAR*>(copy)));
  std::printf(
      "  Changing one value never changes the others that shared its "
      "block.\n");
}

void ShowEditing() {
  Heading("Cutting, joining and comparing");
  CKZString phrase(OLESTR("support library"));
  std::printf("phrase = %s\n", Shown(phrase).c_str());
  std::printf("  Left(7)         %s\n", Shown(phrase.Left(7)).c_str());
  std::printf("  Right(7)        %s\n", Shown(phrase.Right(7)).c_str());
  std::printf("  SubString(3, 4) %s\n", Shown(phrase.SubString(3, 4)).c_str());
  CKZString whole = phrase.SubString(0);
  std::printf("  SubString(0) shares phrase's block: %s\n",
              YesNo(static_cast<const WCHAR*>(whole) ==
                    static_cast<const WCHAR*>(phrase)));

  CKZString grown = phrase;
  grown += OLESTR(" for ");
  grown += "components";
  grown += '!';
  std::printf(
      "grown = phrase; grown += \" for \"; += \"components\"; += '!';\n");
  std::printf("  grown  %s\n  phrase %s (unchanged: the edit unshared first)\n",
              Shown(grown).c_str(), Shown(phrase).c_str());

  CKZString upper(OLESTR("SUPPORT LIBRARY"));
  std::printf("comparisons\n");
  std::printf("  phrase == \"support library\"      %s\n",
              YesNo(phrase == "support library"));
  std::printf("  phrase == %s      %s\n", Shown(upper).c_str(),
              YesNo(phrase == upper));
  std::printf("  phrase.CaseLessEqual(upper)      %s\n",
              YesNo(phrase.CaseLessEqual(upper)));
  std::printf("  \"apple\" < phrase                 %s\n",
              YesNo("apple" < phrase));
  std::printf("  null < empty                     %s\n",
              YesNo(CKZString() < CKZString("")));
}

void ShowCompose() {
  Heading("Composition");
  CKZString word(MB_CUR_MAX > 1 ? kWord : OLESTR("kzcommon"));
  CKZString line;
  line.Compose("%-8s|%5.2f|%#x|%S", "left", 3.14159, 255,
               static_cast<const WCHAR*>(word));
  std::printf(
      "Compose(\"%%-8s|%%5.2f|%%#x|%%S\", \"left\", 3.14159, 255, "
      "<wide word>)\n");
  std::printf("  %s\n", Shown(line).c_str());

  CKZString wide;
  wide.Compose(OLESTR("%s has %u units and %u bytes"),
               static_cast<const WCHAR*>(word),
               static_cast<unsigned>(word.Length()),
               static_cast<unsigned>(word.MbsLength()));
  std::printf("Compose(OLESTR(\"%%s has %%u units and %%u bytes\"), ...)\n");
  std::printf("  %s\n", Shown(wide).c_str());
  std::printf(
      "  In a multibyte format %%s takes multibyte text and %%S wide text;\n"
      "  in a wide format the other way round.\n");
}

void ShowGuid() {
  Heading("GUID round trip");
  const GUID id = {0x6B29FC40,
                   0xCA47,
                   0x1067,
                   {0xB3, 0x1D, 0x00, 0xDD, 0x01, 0x06, 0x62, 0xDA}};
  CKZString text(id);
  GUID back = text;
  std::printf("CKZString text(guid);  %s (%u units)\n", Shown(text).c_str(),
              static_cast<unsigned>(text.Length()));
  std::printf("GUID back = text;      equal to the original: %s\n",
              YesNo(IsEqualGUID(back, id) != 0));
  CKZString junk("not a guid");
  GUID none = junk;
  std::printf("GUID none = CKZString(\"not a guid\");  GUID_NULL: %s\n",
              YesNo(IsEqualGUID(none, GUID_NULL) != 0));
}

// Messages 100..103 of the demo's own catalog module, demo_messages,
// placed beside the program by kzcommon_add_catalog. Message 101 has a %s
// placeholder: the loaded text serves as the format of Compose.
void ShowCatalog() {
  Heading("Messages from a catalog module");
  HMODULE module = LoadLibraryW(OLESTR("demo_messages"));
  if (module == nullptr) {
    std::printf("  demo_messages was not found beside the program.\n");
    return;
  }
  for (UINT id = 100; id <= 103; ++id) {
    CKZString message;
    message.LoadStringW(module, id);
    std::printf("  LoadStringW(demo_messages, %u)  %s\n", id,
                Shown(message).c_str());
  }
  CKZString format;
  format.LoadStringW(module, 101);
  CKZString formatted;
  formatted.Compose(static_cast<const WCHAR*>(format), OLESTR("report.txt"));
  std::printf("  Compose(message 101, \"report.txt\")  %s\n",
              Shown(formatted).c_str());
  CKZString missing;
  missing.LoadStringW(module, 7);
  std::printf("  LoadStringW(demo_messages, 7)   empty: %s, null: %s\n",
              missing.IsEmpty() ? "yes" : "no",
              static_cast<const WCHAR*>(missing) == nullptr ? "yes" : "no");
  FreeLibrary(module);
}

}  // namespace

int main() {
  std::string locale = ChooseLocale();
  std::printf("kzcommon demo\nlocale %s, MB_CUR_MAX %u\n", locale.c_str(),
              static_cast<unsigned>(MB_CUR_MAX));
  ShowTwoForms();
  ShowSharing();
  ShowEditing();
  ShowCompose();
  ShowGuid();
  ShowCatalog();
  return 0;
}
