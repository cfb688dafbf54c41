// The entry point of the DLL; no part of a static library or of a program that links the objects.
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) {
    // Refused when the compiler's runtime needs the notifications itself; then they stay on.
    (void)DisableThreadLibraryCalls(module);
  }
  return TRUE;
}
