#include "builtin_check.h"

#include <kzcommon/kzcommon.h>

#include <cstdio>
#include <string>

namespace {

std::string Narrow(const WCHAR* text) {
  std::string out;
  for (; text != nullptr && *text != 0; ++text) {
    out.push_back(*text < 0x80 ? static_cast<char>(*text) : '?');
  }
  return out;
}

int Expect(CKZCatalog& catalog, ULONG id, const char* expected) {
  CKZString text;
  HRESULT hr = catalog.GetMsgEx(text, id, nullptr);
  std::string got = Narrow(text);
  if (hr == S_OK && got == expected) return 0;
  std::fprintf(stderr, "id %lu: hr 0x%08lx, \"%s\", expected \"%s\"\n",
               static_cast<unsigned long>(id),
               static_cast<unsigned long>(static_cast<ULONG>(hr)), got.c_str(),
               expected);
  return 1;
}

}  // namespace

int CheckBuiltinTexts() {
  CKZCatalog catalog(OLESTR("kzcommon"));
  int failures = 0;
  failures += Expect(catalog, 1, "0$Unspecified failure");
  failures += Expect(catalog, 25, "25$Argument %Ld not optional ");
  // A client's CloseAll closes the library's own entry too; the next fetch
  // opens it again.
  if (CKZCatalog::CloseAll() != S_OK) {
    std::fprintf(stderr, "CloseAll did not find the open catalog\n");
    ++failures;
  }
  failures += Expect(catalog, 29, "28$Invalid argument specified.");
  CKZString formatted;
  if (catalog.GetMsg(formatted, 3, 2) != S_OK ||
      Narrow(formatted) != "1$Argument 2 is invalid") {
    std::fprintf(stderr, "id 3 with 2: \"%s\"\n", Narrow(formatted).c_str());
    ++failures;
  }
  return failures;
}
