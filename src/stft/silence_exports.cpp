// The silence export.
#include "api/export_frame.h"
#include "kelvo_audio.h"
#include "stft/silence.h"
#include "stft/silence_checks.h"

using namespace kelvo;

int kelvoAudioGetNonSilentPos(int* start_pos, int* nonsilent_n, const float* src, int sample_n, int win_n, int hop_n,
                              float thr_db) {
  return Api::RunExport({start_pos, nonsilent_n, src}, [&] {
    Stft::CheckNonSilentPos(sample_n, win_n, hop_n, thr_db);
    const std::span signal(src, static_cast<std::size_t>(sample_n));
    const Stft::NonSilentSpan found = Stft::FindNonSilentSpan(signal, win_n, hop_n, thr_db, Simd::BestLevel());
    *start_pos = found.start_pos;
    *nonsilent_n = found.nonsilent_n;
  });
}
