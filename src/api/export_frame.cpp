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
    // Nothing here throws a pointer, but code that we call might; its object is not ours to delete.
    // NOLINTNEXTLINE(cert-err09-cpp,cert-err61-cpp): it has a status like any other.
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
  // The library keeps no per-thread state, so it need not hear of every thread that starts or ends.
  if (reason == DLL_PROCESS_ATTACH) DisableThreadLibraryCalls(module);
  return TRUE;
}
#endif
