// A client built through the umbrella header and kzcommon::kzcommon alone.
#include <kzcommon/kzcommon.h>

#include <cstdio>
#include <cstring>

namespace {

bool Check(bool ok, const char* what) {
  std::printf("%-40s %s\n", what, ok ? "ok" : "FAILED");
  return ok;
}

bool SameUnits(const WCHAR* a, const WCHAR* b) {
  if (a == nullptr || b == nullptr) return a == b;
  for (; *a != 0 && *a == *b; ++a, ++b) {
  }
  return *a == *b;
}

}  // namespace

int main() {
  bool ok = true;
  CKZString text(OLESTR("kzcommon"));
  const char* mbs = text;
  ok &= Check(mbs != nullptr && std::strcmp(mbs, "kzcommon") == 0,
              "multibyte form of a wide text");
  ok &= Check(text.Length() == 8 && text.MbsLength() == 8, "lengths");

  CKZString copy = text;
  ok &=
      Check(static_cast<const WCHAR*>(copy) == static_cast<const WCHAR*>(text),
            "a copy shares the text");

  CKZString back(mbs);
  ok &= Check(SameUnits(back, OLESTR("kzcommon")),
              "wide form of a multibyte text");

#if defined(KZ_CONSUMER_CATALOG)
  HMODULE catalog = LoadLibraryW(OLESTR("consumer_messages"));
  ok &= Check(catalog != nullptr, "catalog module opens by its bare name");
  if (catalog != nullptr) {
    CKZString message;
    message.LoadStringW(catalog, 100);
    ok &= Check(SameUnits(message, OLESTR("1$Hello from a client catalog")),
                "catalog string 100");
    FreeLibrary(catalog);
  }
#endif

  std::printf("kzconsumer: %s\n", ok ? "ok" : "FAILED");
  return ok ? 0 : 1;
}
