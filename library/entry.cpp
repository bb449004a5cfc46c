// The DLL's entry routine. The C++ run-time calls it after the process-wide
// objects of globals.cpp are built, and before they are destroyed.
#include "platform/platform.h"

// The library starts no thread and keeps nothing per thread that needs the
// notifications, so it asks for none. Nothing else to do at any notification.
extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) DisableThreadLibraryCalls(instance);
  return TRUE;
}
