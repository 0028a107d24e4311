// Memory of tables and of calls.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <span>
#include <stdexcept>
#include <type_traits>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#include <sanitizer/asan_interface.h>
#endif
#endif

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

// Memory of a table, which is written before it is read. Its first element lies on a cache line, where the widest
// vectors load and store best.
template <class Element>
class AlignedArray {
 public:
  AlignedArray() = default;
  // A count that came out negative fails as in MakeZeroBuffer.
  explicit AlignedArray(std::uint64_t count) {
    // Aligned by hand: the aligned operator new of common runtimes costs more than a small transform. In bytes: arrays
    // of elements can fail with an error that runtimes of before 2021 do not have.
    memory_.reset(::operator new(CheckedCount<Element>(count) * sizeof(Element) + kLineBytes));
    const auto address = reinterpret_cast<std::uintptr_t>(memory_.get());
    auto* const bytes = static_cast<std::byte*>(memory_.get());
    data_ = reinterpret_cast<Element*>(bytes + (kLineBytes - address % kLineBytes) % kLineBytes);
  }

  Element* Data() { return data_; }

 private:
  static constexpr std::size_t kLineBytes = 64;
  struct Delete {
    void operator()(void* memory) const { ::operator delete(memory); }
  };

  std::unique_ptr<void, Delete> memory_;
  Element* data_ = nullptr;
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

// Tells the address sanitizer, where there is one, which memory is out of bounds.
inline void MarkTaken([[maybe_unused]] const void* memory, [[maybe_unused]] std::size_t bytes) {
#if defined(ASAN_UNPOISON_MEMORY_REGION)
  ASAN_UNPOISON_MEMORY_REGION(memory, bytes);
#endif
}
inline void MarkFree([[maybe_unused]] const void* memory, [[maybe_unused]] std::size_t bytes) {
#if defined(ASAN_POISON_MEMORY_REGION)
  ASAN_POISON_MEMORY_REGION(memory, bytes);
#endif
}

// Arrays that live as long as the call, one after the other on its stack, and on the heap where they do not fit there:
// so a small call neither allocates nor waits, as threads that play sound need. A computation has one, as a local
// variable, and hands it down.
class CallScratch {
 public:
  // With the frames of the functions that use it, a call stays within the 48 KiB that the public header promises.
  static constexpr std::size_t kStackBytes = std::size_t{40} << 10;
  static constexpr std::size_t kLineBytes = 64;

  // User-provided, since it leaves the memory as it is: a call touches what it takes and no more.
  CallScratch() { MarkFree(stack_, kStackBytes); }
  CallScratch(const CallScratch&) = delete;
  CallScratch& operator=(const CallScratch&) = delete;
  ~CallScratch() {
    FreeDownTo(nullptr);
    MarkTaken(stack_, kStackBytes);
  }

  // Memory that is written before it is read. Its first element lies on a cache line, where the widest vectors load and
  // store best. A count that came out negative fails as in MakeZeroBuffer.
  template <class Element>
  std::span<Element> Take(std::uint64_t count) {
    static_assert(std::is_trivially_default_constructible_v<Element> && alignof(Element) <= kLineBytes);
    const std::size_t checked = CheckedCount<Element>(count);
    return {static_cast<Element*>(TakeBytes(checked * sizeof(Element))), checked};
  }
  template <class Element>
  std::span<Element> TakeZeros(std::uint64_t count) {
    const std::span<Element> taken = Take<Element>(count);
    std::fill(taken.begin(), taken.end(), Element{});
    return taken;
  }

  // Bytes that the stack has left.
  std::size_t StackLeft() const { return kStackBytes - used_; }

  // Gives back, at its end, what has been taken since its begin.
  class Section {
   public:
    explicit Section(CallScratch& scratch) : scratch_(scratch), used_(scratch.used_), blocks_(scratch.blocks_) {}
    Section(const Section&) = delete;
    Section& operator=(const Section&) = delete;
    ~Section() {
      MarkFree(scratch_.stack_ + used_, scratch_.used_ - used_);
      scratch_.used_ = used_;
      scratch_.FreeDownTo(blocks_);
    }

   private:
    CallScratch& scratch_;
    std::size_t used_;
    void* blocks_;
  };

 private:
  void* TakeBytes(std::size_t bytes) {
    if (bytes > StackLeft()) return TakeFromHeap(bytes);
    void* const taken = stack_ + used_;
    MarkTaken(taken, bytes);
    // The size is a multiple of a line, so what is left holds the last line in full.
    used_ += (bytes + kLineBytes - 1) / kLineBytes * kLineBytes;
    return taken;
  }
  void* TakeFromHeap(std::size_t bytes);
  void FreeDownTo(void* last) {
    if (blocks_ != last) FreeBlocks(last);
  }
  void FreeBlocks(void* last);

  std::size_t used_ = 0;
  void* blocks_ = nullptr;  // on the heap, the newest first; each begins with the address of the one before
  alignas(kLineBytes) unsigned char stack_[kStackBytes];
};

}  // namespace kelvo::Base
