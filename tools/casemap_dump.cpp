// Dumps the run-time's towlower/towupper for every 16-bit unit in one
// locale, as "unit lower upper" in hex, one line per unit that either
// function changes. Built for Windows and run under Wine, it is the source
// of platform/posix/casemap_table.inc (see tools/gen_casemap_table.py).
//
// Build and run it as tools/README.md shows.
#include <clocale>
#include <cstdio>
#include <cwctype>

int main(int argc, char** argv) {
  const char* locale = argc > 1 ? argv[1] : ".1252";
  const char* set = std::setlocale(LC_ALL, locale);
  if (set == nullptr) {
    std::fprintf(stderr, "cannot set locale '%s'\n", locale);
    return 2;
  }
  std::printf("# locale %s\n", set);
  for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
    const unsigned lower =
        static_cast<unsigned short>(std::towlower(static_cast<wint_t>(unit)));
    const unsigned upper =
        static_cast<unsigned short>(std::towupper(static_cast<wint_t>(unit)));
    if (lower != unit || upper != unit) {
      std::printf("%04X %04X %04X\n", unit, lower, upper);
    }
  }
  return 0;
}
