// Built-in texts through "kzcommon" around a CloseAll; built as a program and
// as the module kz_fullpath_host loads (KZ_ELSEWHERE_PLUGIN).
#include <kzcommon/kzcommon.h>

#include <cstdio>
#include <string>

namespace {

// 1 if the fetch (id 3 formatted with 2) fails or differs; the texts are
// ASCII, so their multibyte form is the same in every locale.
int Expect(CKZCatalog& catalog, ULONG id, const char* expected) {
  CKZString text;
  const HRESULT hr = id == 3 ? catalog.GetMsg(text, id, 2)
                             : catalog.GetMsgEx(text, id, nullptr);
  const char* mbs = text;
  const std::string got = mbs == nullptr ? "(null)" : mbs;
  if (hr == S_OK && got == expected) return 0;
  std::fprintf(stderr, "id %lu: hr 0x%08lx, \"%s\", expected \"%s\"\n",
               static_cast<unsigned long>(id),
               static_cast<unsigned long>(static_cast<ULONG>(hr)), got.c_str(),
               expected);
  return 1;
}

int CheckBuiltinTexts() {
  CKZCatalog catalog(OLESTR("kzcommon"));
  int failures = Expect(catalog, 1, "0$Unspecified failure");
  failures += Expect(catalog, 25, "25$Argument %Ld not optional ");
  if (CKZCatalog::CloseAll() != S_OK) {
    std::fprintf(stderr, "CloseAll did not find the open catalog\n");
    ++failures;
  }
  failures += Expect(catalog, 29, "28$Invalid argument specified.");
  failures += Expect(catalog, 3, "1$Argument 2 is invalid");
  if (failures == 0) std::puts("built-in texts found");
  return failures;
}

}  // namespace

#ifdef KZ_ELSEWHERE_PLUGIN
extern "C" int KzCheckBuiltinTexts() { return CheckBuiltinTexts(); }
#else
int main() { return CheckBuiltinTexts() == 0 ? 0 : 1; }
#endif
