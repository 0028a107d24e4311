// Maps exceptions to statuses, once for all exports; and the module's load-time entry, which only Windows has.
#include "api/export_frame.h"

#include <new>

#include "api/exceptions.h"
#include "kelvo_audio.h"

namespace kelvo::Api {

static_assert(kStatusOk == KELVO_AUDIO_STATUS_OK && kStatusBadArgument == KELVO_AUDIO_STATUS_BAD_ARGUMENT &&
              kStatusOutOfMemory == KELVO_AUDIO_STATUS_OUT_OF_MEMORY &&
              kStatusUnexpectedError == KELVO_AUDIO_STATUS_UNEXPECTED_ERROR);

int StatusOfCurrentException() {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    return kStatusOutOfMemory;
  } catch (const Util::Exceptions::KelvoException& error) {
    return error.GetStatus();
    // The library throws no pointer, but code that it calls might; the object is not the library's to delete.
    // NOLINTNEXTLINE(cert-err09-cpp,cert-err61-cpp): a pointer has a status like anything else that is thrown.
  } catch (const Util::Exceptions::KelvoException* error) {
    return error->GetStatus();
  } catch (...) {
    return kStatusUnexpectedError;
  }
}

}  // namespace kelvo::Api

#if defined(_WIN32)
#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
  // The library keeps no per-thread state, so it needs no notice of threads that start or end.
  if (reason == DLL_PROCESS_ATTACH) DisableThreadLibraryCalls(module);
  return TRUE;
}
#endif
