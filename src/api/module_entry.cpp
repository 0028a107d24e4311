// The module's load-time entry. Only Windows has one; elsewhere nothing runs when the library is loaded.
#if defined(_WIN32)
#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
  // The library keeps no per-thread state, so it need not hear of every thread that starts or ends.
  if (reason == DLL_PROCESS_ATTACH) DisableThreadLibraryCalls(module);
  return TRUE;
}
#endif
