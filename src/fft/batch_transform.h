// Transforms in lanes, for kernel files: several at a time, one in each lane.
#pragma once

#include <cstddef>

#include "fft/convolution.h"
#include "fft/passes.h"
#include "fft/plan_view.h"
#include "simd/lanes.h"

namespace kelvo::Fft {
inline namespace KELVO_LEVEL {

// Transforms in lanes, in place; output k ends at element plan.position[k]. `scratch` holds BatchTransformScratch(plan)
// floats for each lane.
//
// The outputs of a long transform are used while they lie in L1: use(s, step) is called when outputs s, s + step, ...
// and step - s, 2 * step - s, ... are complete, for s = 0 .. step / 2.
template <class Lane, class Use>
KELVO_INLINE void TransformBatch(const TransformView& plan, BatchElements<Lane> elements, float* scratch,
                                 const Use& use) {
  if (plan.chirp != nullptr) {
    TransformBatchByChirp<Lane>(plan, elements, scratch);
    return use(0, 1);
  }
  if (plan.length <= kMaxL1Length) {
    RunPasses<Batch, Lane>(elements, plan, 0, plan.pass_n, plan.length, scratch);
    return use(0, 1);
  }
  RunPasses<Batch, Lane>(elements, plan, 0, 1, plan.length, scratch);
  const std::size_t radix = plan.passes[0].radix;
  const std::size_t span = plan.passes[0].span;
  for (std::size_t s = 0; s <= radix / 2; ++s) {
    RunPasses<Batch, Lane>(elements.From(s * span), plan, 1, plan.pass_n, span, scratch);
    if (s > 0 && s < radix - s) {
      RunPasses<Batch, Lane>(elements.From((radix - s) * span), plan, 1, plan.pass_n, span, scratch);
    }
    use(s, radix);
  }
}
template <class Lane>
KELVO_INLINE void TransformBatch(const TransformView& plan, BatchElements<Lane> elements, float* scratch) {
  if (plan.chirp != nullptr) return TransformBatchByChirp<Lane>(plan, elements, scratch);
  RunPasses<Batch, Lane>(elements, plan, 0, plan.pass_n, plan.length, scratch);
}

// The same for plans of two passes or more, but for the last pass, which gives element i to outputs.Store: it is output
// plan.output[i].
template <class Lane, class Outputs>
KELVO_INLINE void TransformBatchTo(const TransformView& plan, BatchElements<Lane> elements, const Outputs& outputs,
                                   float* scratch) {
  const std::size_t last = plan.pass_n - 1;
  if (plan.length <= kMaxL1Length) {
    for (std::size_t i = 0; i < last; ++i) {
      RunAnyPass<Batch, Lane>(elements, elements, plan.passes[i], plan.length, scratch);
    }
    return RunLastPass<Lane>(elements, outputs, plan.passes[last], plan.length, scratch);
  }
  RunPasses<Batch, Lane>(elements, plan, 0, 1, plan.length, scratch);
  const std::size_t block = plan.passes[0].span;
  for (std::size_t begin = 0; begin < plan.length; begin += block) {
    RunPasses<Batch, Lane>(elements.From(begin), plan, 1, last, block, scratch);
    RunLastPass<Lane>(elements.From(begin), outputs.From(begin), plan.passes[last], block, scratch);
  }
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Fft
