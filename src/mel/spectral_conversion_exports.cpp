// The spectral conversions' exports.
#include "api/export_frame.h"
#include "kelvo_audio.h"
#include "mel/spectral_conversion_checks.h"
#include "mel/spectral_conversions.h"

using namespace kelvo;

int kelvoAudioConvertPowerToDB(float* dst, const float* src, int src_n, float top_db) {
  return Api::RunExport({dst, src}, [&] {
    Mel::CheckPowerToDb(src_n);
    const auto count = static_cast<std::size_t>(src_n);
    Mel::ConvertPowerToDb({dst, count}, {src, count}, top_db, Simd::BestLevel());
  });
}

int kelvoAudioComplexNorm(float* dst, const float* src, int src_n, float power) {
  return Api::RunExport({dst, src}, [&] {
    Mel::CheckComplexNorm(src_n, power);
    const auto count = static_cast<std::size_t>(src_n);
    Mel::ComputePowerSpectrum({dst, count}, {src, 2 * count}, power, Simd::BestLevel());
  });
}

int kelvoAudioMagPhase(float* dst_mag, float* dst_phase, const float* src, int freq_n, int frame_n, float power,
                       int phase_form) {
  return Api::RunExport({dst_mag, dst_phase, src}, [&] {
    Mel::CheckMagPhase(freq_n, frame_n, power, phase_form);
    const auto form = static_cast<Mel::PhaseForm>(phase_form);
    // Rows follow each other without gaps in all three arrays: the matrix is one long row.
    const std::size_t count = static_cast<std::size_t>(freq_n) * static_cast<std::size_t>(frame_n);
    const std::size_t phase_n = form == Mel::PhaseForm::Complex ? 2 * count : count;
    Mel::ComputeMagPhaseRow({dst_mag, count}, {dst_phase, phase_n}, {src, 2 * count}, form, power, Simd::BestLevel());
  });
}
