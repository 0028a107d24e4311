// The window export.
#include <algorithm>

#include "api/export_frame.h"
#include "kelvo_audio.h"
#include "stft/window.h"
#include "stft/window_checks.h"

using namespace kelvo;

int kelvoAudioGetWindow(float* dst, int window_n, int win_type) {
  return Api::RunExport({dst}, [&] {
    Stft::CheckWindow(window_n, win_type);
    std::ranges::copy(Stft::WindowCache::Get().GetWindow(window_n, win_type), dst);
  });
}
