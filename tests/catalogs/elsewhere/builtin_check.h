// The check that both programs of this folder run.
#ifndef KZCOMMON_TESTS_CATALOGS_ELSEWHERE_BUILTIN_CHECK_H_
#define KZCOMMON_TESTS_CATALOGS_ELSEWHERE_BUILTIN_CHECK_H_

// Fetches built-in texts through a catalog named "kzcommon", before and after
// a CloseAll; prints what differs and returns the number of failed rows.
int CheckBuiltinTexts();

#endif  // KZCOMMON_TESTS_CATALOGS_ELSEWHERE_BUILTIN_CHECK_H_
