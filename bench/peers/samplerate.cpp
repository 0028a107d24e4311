// libsamplerate's two faster sinc converters.
#include <samplerate.h>

#include "jobs.h"
#include "peers.h"

namespace kelvo::Bench {
namespace {

template <int kConverter>
class Samplerate {
 public:
  explicit Samplerate(const Resampling& job) : job_(job), state_(src_new(kConverter, 1, nullptr), src_delete) {}
  void operator()(float* dst) {
    SRC_DATA call = {};
    call.data_in = job_.src.data();
    call.data_out = dst;
    call.input_frames = static_cast<long>(job_.src.size());
    call.output_frames = static_cast<long>(job_.dst_n);
    call.end_of_input = 1;
    call.src_ratio = static_cast<double>(job_.dst_rate) / job_.src_rate;
    src_reset(state_.get());
    src_process(state_.get(), &call);
  }

 private:
  const Resampling& job_;
  std::unique_ptr<SRC_STATE, decltype(&src_delete)> state_;
};

[[maybe_unused]] const bool registered =
    RegisterPeer<Resampling, Samplerate<SRC_SINC_FASTEST>>("libsamplerate fastest") &&
    RegisterPeer<Resampling, Samplerate<SRC_SINC_MEDIUM_QUALITY>>("libsamplerate medium");

}  // namespace
}  // namespace kelvo::Bench
