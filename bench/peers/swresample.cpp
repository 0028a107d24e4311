// libswresample with its default filter.
extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

#include <cstdint>

#include "jobs.h"
#include "peers.h"

namespace kelvo::Bench {
namespace {

class Swresample {
 public:
  explicit Swresample(const Resampling& job) : job_(job), context_(swr_alloc()) {
    const AVChannelLayout mono = AV_CHANNEL_LAYOUT_MONO;
    av_opt_set_chlayout(context_, "in_chlayout", &mono, 0);
    av_opt_set_chlayout(context_, "out_chlayout", &mono, 0);
    av_opt_set_int(context_, "in_sample_rate", job.src_rate, 0);
    av_opt_set_int(context_, "out_sample_rate", job.dst_rate, 0);
    av_opt_set_sample_fmt(context_, "in_sample_fmt", AV_SAMPLE_FMT_FLTP, 0);
    av_opt_set_sample_fmt(context_, "out_sample_fmt", AV_SAMPLE_FMT_FLTP, 0);
  }
  ~Swresample() { swr_free(&context_); }
  Swresample(const Swresample&) = delete;
  Swresample& operator=(const Swresample&) = delete;

  void operator()(float* dst) {
    swr_init(context_);  // resets the state; the filter is kept
    auto* out = reinterpret_cast<std::uint8_t*>(dst);
    const auto* in = reinterpret_cast<const std::uint8_t*>(job_.src.data());
    const int capacity = static_cast<int>(job_.dst_n);
    const int done_n = swr_convert(context_, &out, capacity, &in, static_cast<int>(job_.src.size()));
    out = reinterpret_cast<std::uint8_t*>(dst + done_n);
    swr_convert(context_, &out, capacity - done_n, nullptr, 0);
  }

 private:
  const Resampling& job_;
  SwrContext* context_;
};

[[maybe_unused]] const bool registered = RegisterPeer<Resampling, Swresample>("libswresample");

}  // namespace
}  // namespace kelvo::Bench
