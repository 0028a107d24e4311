// Scratch memory of one call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace kelvo::Api {

// A count that came out negative converts to one that no vector can hold: std::length_error, "vector too long".
inline std::vector<float> MakeZeroBuffer(std::uint64_t count) { return std::vector<float>(count); }

// A zero buffer whose first element lies on a cache line, where the widest vectors load and store best.
class AlignedBuffer {
 public:
  AlignedBuffer() = default;
  // The slack must not carry an impossible count round to a small one.
  explicit AlignedBuffer(std::uint64_t count)
      : storage_(MakeZeroBuffer(count + kLineFloats < count ? count : count + kLineFloats)), size_(count) {}

  float* Data() {
    const auto address = reinterpret_cast<std::uintptr_t>(storage_.data());
    return storage_.data() + (kLineBytes - address % kLineBytes) % kLineBytes / sizeof(float);
  }
  std::size_t Size() const { return size_; }

 private:
  static constexpr std::size_t kLineBytes = 64;
  static constexpr std::size_t kLineFloats = kLineBytes / sizeof(float);

  std::vector<float> storage_;
  std::size_t size_ = 0;
};

// Rows of floats, `stride` floats apart.
template <class Element>
struct MatrixView {
  Element* data;
  std::size_t rows;
  std::size_t columns;
  std::size_t stride;

  Element* Row(std::size_t row) const { return data + row * stride; }
};

}  // namespace kelvo::Api
