// One transform in lanes, for kernel files.
//
// Its first passes run over neighbouring elements. They run out when the blocks become shorter than a vector;
// TransformOne then turns to whole blocks, which are independent transforms and lie side by side once they are transposed
// on the way in. Choosing for the lanes blocks whose outputs are neighbours undoes the digit reversal at no cost.
#pragma once

#include <cstddef>

#include "fft/complex.h"
#include "fft/passes.h"
#include "fft/plan_view.h"
#include "simd/lanes.h"

namespace kelvo::Fft {
inline namespace KELVO_LEVEL {

// Calls run.operator()<Lane>() with the widest lanes of which `available` fill at least one vector.
template <class Run>
KELVO_INLINE void AtWidth(std::size_t available, Run&& run) {
  if (available >= Floats::kSize) return run.template operator()<Floats>();
  if constexpr (Floats::kSize > 8) {
    if (available >= 8) return run.template operator()<Lanes<float, 8>>();
  }
  if constexpr (Floats::kSize > 4) {
    if (available >= 4) return run.template operator()<Lanes<float, 4>>();
  }
  if constexpr (Floats::kSize > 1) run.template operator()<Lanes<float, 1>>();
}
// Transposes blocks into lanes: element i of the block that begins at begins[l] becomes lane l of vector i.
template <class Lane>
static void GatherBlocks(SideBySideElements<Lane> to, const NeighbourElements& from, const unsigned* begins,
                         std::size_t block) {
  std::size_t i = 0;
  AtWidth(block < Lane::kSize ? block : Lane::kSize, [&]<class Tile>() __attribute__((always_inline)) {
    if constexpr (Tile::kSize > 1 && Tile::kSize <= Lane::kSize) {
      while (i < block) {
        if (i + Tile::kSize > block) i = block - Tile::kSize;
        for (std::size_t l = 0; l < Lane::kSize; l += Tile::kSize) {
          const auto transpose = [&](const float* source, float* target) __attribute__((always_inline)) {
            Tile rows[Tile::kSize];
#pragma GCC unroll 16
            for (std::size_t r = 0; r < Tile::kSize; ++r) rows[r] = Tile::Load(source + begins[l + r] + i);
            Transpose(rows);
#pragma GCC unroll 16
            for (std::size_t r = 0; r < Tile::kSize; ++r) rows[r].Store(target + (i + r) * to.kStride + l);
          };
          transpose(from.re, to.re);
          transpose(from.im, to.im);
        }
        i += Tile::kSize;
      }
    }
  });
  for (; i < block; ++i) {
    for (std::size_t l = 0; l < Lane::kSize; ++l) {
      to.re[i * to.kStride + l] = from.re[begins[l] + i];
      to.im[i * to.kStride + l] = from.im[begins[l] + i];
    }
  }
}

// Arrays of one transform lie an odd number of cache lines apart, so that those of a length that is a power of two do not
// share the sets of a cache.
constexpr std::size_t ArrayStride(std::size_t length) { return ((length + 15) / 16 | 1) * 16; }

// Floats of scratch that TransformOne needs.
constexpr std::size_t TransformOneScratch(std::size_t length) { return 8 * ArrayStride(length) + 8 * Floats::kSize; }

// Takes the elements of blocks side by side, as the last pass computes them, to the sink of the whole transform: element
// i of the blocks from `first_block` on is an output of each, and these are neighbours.
template <class Sink>
struct OutputsOfBlocks {
  const Sink& sink;
  const unsigned* output;
  std::size_t first_block;

  template <class Lane>
  KELVO_INLINE void Store(std::size_t i, const Complex<Lane>& x) const {
    sink.Store(first_block + output[i], x);
  }
};

// One transform from `source` to `sink`, which is given each output once or, with equal values, twice:
// sink.Store<Lane>(k, x) with outputs k, k + 1, ... in the lanes of x. The source has been read to its end before the
// sink is called.
template <class Source, class Sink>
static void TransformOne(const TransformView& plan, const Source& source, const Sink& sink, float* scratch) {
  const std::size_t length = plan.length;
  const std::size_t stride = ArrayStride(length);
  NeighbourElements elements{scratch, scratch + stride};
  NeighbourElements other{scratch + 2 * stride, scratch + 3 * stride};
  float* const block_memory = scratch + 4 * stride;
  float* const pass_scratch = scratch + 6 * stride;

  const Turn turn = plan.turns[TurnIndex(Floats::kSize)];
  if (turn.pass_n == 0) {
    using Lane = Lanes<float, 1>;
    TransformSideBySide<Lane>(plan, source, elements, pass_scratch);
    for (std::size_t k = 0; k < length; ++k) sink.Store(k, elements.Load<Lane>(plan.position[k]));
    return;
  }

  for (std::size_t i = 0; i < turn.pass_n; ++i) {
    const Pass& pass = plan.passes[i];
    AtWidth(pass.span, [&]<class Lane>() __attribute__((always_inline)) {
      if (i == 0) {
        RunAnyPass<Neighbours, Lane>(source, elements, pass, length, pass_scratch);
      } else if (pass.span % Lane::kSize == 0) {
        RunAnyPass<Neighbours, Lane>(elements, elements, pass, length, pass_scratch);
      } else {
        RunAnyPass<Neighbours, Lane>(elements, other, pass, length, pass_scratch);
        const NeighbourElements written = other;
        other = elements;
        elements = written;
      }
    });
  }

  const std::size_t block = plan.passes[turn.pass_n - 1].span;
  const std::size_t block_n = turn.block_n;
  AtWidth(block_n, [&]<class Lane>() __attribute__((always_inline)) {
    const auto lanes = SideBySideAt<Lane>(block_memory);
    for (std::size_t b = 0; b < block_n; b += Lane::kSize) {
      if (b + Lane::kSize > block_n) b = block_n - Lane::kSize;
      // Outputs b, b + 1, ... of the passes so far begin the blocks with outputs b + r * block_n, ... of the whole.
      GatherBlocks<Lane>(lanes, elements, plan.position + b, block);
      for (std::size_t i = turn.pass_n; i + 1 < plan.pass_n; ++i) {
        RunAnyPass<SideBySide, Lane>(lanes, lanes, plan.passes[i], block, pass_scratch);
      }
      RunAnyPass<SideBySide, Lane>(lanes, OutputsOfBlocks<Sink>{sink, plan.output, b}, plan.passes[plan.pass_n - 1],
                                   block, pass_scratch);
    }
  });
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Fft
