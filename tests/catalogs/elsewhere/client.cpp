// A program linked with kzcommon, in a folder without it.
#include <cstdio>

#include "builtin_check.h"

int main() {
  int failures = CheckBuiltinTexts();
  if (failures == 0) std::puts("built-in texts found");
  return failures == 0 ? 0 : 1;
}
