// The test program's global operator new, which can be made to fail, or to fill the memory that it returns.
#pragma once

#include <cstddef>
#include <limits>

namespace kelvo::Reliability {

// Everything here applies to the calling thread only, so that other threads of the test are not disturbed.

// While one exists, allocations number first, first + 1 ... (`count` of them, from 0 on) fail, as do those above
// `limit` bytes.
class AllocationFailures {
 public:
  static constexpr long kForGood = std::numeric_limits<long>::max();

  AllocationFailures(long first, long count, std::size_t limit = std::numeric_limits<std::size_t>::max());
  AllocationFailures(const AllocationFailures&) = delete;
  AllocationFailures& operator=(const AllocationFailures&) = delete;
  ~AllocationFailures();

  // Allocations that failed so far.
  long Failed() const;
};

// While one lives, each byte of a new block is `byte`, and so are at first those of the stack that the next call uses.
class FreshMemory {
 public:
  explicit FreshMemory(unsigned char byte);
  FreshMemory(const FreshMemory&) = delete;
  FreshMemory& operator=(const FreshMemory&) = delete;
  ~FreshMemory();
};

// Counts, while one lives, the bytes of the blocks that are allocated.
class MemoryMeter {
 public:
  MemoryMeter();
  MemoryMeter(const MemoryMeter&) = delete;
  MemoryMeter& operator=(const MemoryMeter&) = delete;
  ~MemoryMeter();

  // Bytes of those blocks that have not been freed, and the most that these ever were.
  std::size_t LiveBytes() const;
  std::size_t PeakBytes() const;
};

// Blocks that this thread allocated minus those it freed.
long LiveAllocations();

}  // namespace kelvo::Reliability
