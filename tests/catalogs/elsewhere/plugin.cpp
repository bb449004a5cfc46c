// A module of a program that loaded kzcommon by its full path before loading
// this module; the check runs inside it.
#include "builtin_check.h"

extern "C" int KzCheckBuiltinTexts() { return CheckBuiltinTexts(); }
