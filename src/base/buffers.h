// Memory of tables, and what all memory has in common.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <vector>

namespace kelvo::Base {

// A count as this platform addresses it. One that came out negative fails with std::length_error, "vector too long". On
// 32 bits, one that 64 bits could address is a lack of memory: platforms differ in memory, not in what is an error.
template <class Element>
std::size_t CheckedCount(std::uint64_t count) {
  if (count > std::numeric_limits<std::int64_t>::max() / sizeof(Element)) throw std::length_error("vector too long");
  if (count > std::numeric_limits<std::ptrdiff_t>::max() / sizeof(Element)) throw std::bad_alloc();
  return static_cast<std::size_t>(count);
}

// Callers form the count in 64 bits, in which no product of theirs wraps round.
template <class Element = float>
std::vector<Element> MakeZeroBuffer(std::uint64_t count) {
  return std::vector<Element>(CheckedCount<Element>(count));
}

// Memory of a table, which is written before it is read. Its first element lies on a cache line, where the widest vectors load and
// store best.
template <class Element>
class ScratchArray {
 public:
  ScratchArray() = default;
  // A count that came out negative fails as in MakeZeroBuffer.
  explicit ScratchArray(std::uint64_t count) {
    // Aligned by hand: the aligned operator new of common runtimes costs more than a small transform.
    memory_.reset(new Element[CheckedCount<Element>(count) + kLineBytes / sizeof(Element)]);
    const auto address = reinterpret_cast<std::uintptr_t>(memory_.get());
    data_ = memory_.get() + (kLineBytes - address % kLineBytes) % kLineBytes / sizeof(Element);
  }

  Element* Data() { return data_; }

 private:
  static constexpr std::size_t kLineBytes = 64;

  std::unique_ptr<Element[]> memory_;
  Element* data_ = nullptr;
};
using ScratchBuffer = ScratchArray<float>;

// Rows of floats, `stride` floats apart.
template <class Element>
struct MatrixView {
  Element* data;
  std::size_t rows;
  std::size_t columns;
  std::size_t stride;

  Element* Row(std::size_t row) const { return data + row * stride; }
};

}  // namespace kelvo::Base
