// The error-handling example as a function, so that the example program and
// `kzmsg demo` run the same code.
#ifndef KZCOMMON_EXAMPLES_ERRORS_INVENTORY_H_
#define KZCOMMON_EXAMPLES_ERRORS_INVENTORY_H_

// Runs the whole road of a failure and prints each step on stdout; the
// catalog kzmsg_demo_messages must be where LoadLibraryW finds it. Returns
// the exit status, 0.
int RunInventoryExample();

#endif  // KZCOMMON_EXAMPLES_ERRORS_INVENTORY_H_
