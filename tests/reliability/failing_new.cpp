// Replaces all global allocation functions, so that every allocation of the library is counted.
#include "reliability/failing_new.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>

namespace kelvo::Reliability {
namespace {

struct State {
  long seen = 0;
  long first = 0;
  long count = 0;
  std::size_t limit = std::numeric_limits<std::size_t>::max();
  long failed = 0;
  long live = 0;
};

thread_local State state;
thread_local std::optional<unsigned char> fill;

// The blocks that a MemoryMeter counts, more than any call has at once. Their sizes stand here and not in the blocks,
// whose ends sanitizers guard.
struct Metered {
  struct Block {
    void* address;
    std::size_t bytes;
  };
  std::array<Block, 512> blocks;
  std::size_t block_n = 0;
  std::size_t live_bytes = 0;
  std::size_t peak_bytes = 0;

  void Add(void* block, std::size_t bytes) {
    if (block_n == blocks.size()) std::abort();
    blocks[block_n++] = {block, bytes};
    live_bytes += bytes;
    peak_bytes = std::max(peak_bytes, live_bytes);
  }
  void Remove(void* block) {
    const auto end = blocks.begin() + static_cast<std::ptrdiff_t>(block_n);
    const auto found = std::find_if(blocks.begin(), end, [&](const Block& known) { return known.address == block; });
    if (found == end) return;  // older than the meter
    live_bytes -= found->bytes;
    *found = blocks[--block_n];
  }
};

thread_local std::optional<Metered> metered;

bool Fails(std::size_t bytes) {
  const long number = state.seen++;
  const bool fails = bytes > state.limit || (number >= state.first && number - state.first < state.count);
  state.failed += fails ? 1 : 0;
  return fails;
}

#if defined(_WIN32)
void* AllocateBlock(std::size_t bytes, std::size_t alignment) { return ::_aligned_malloc(bytes, alignment); }
void FreeBlock(void* block) { ::_aligned_free(block); }
#else
void* AllocateBlock(std::size_t bytes, std::size_t alignment) {
  if (alignment <= __STDCPP_DEFAULT_NEW_ALIGNMENT__) return std::malloc(bytes);
  return std::aligned_alloc(alignment, (bytes + alignment - 1) / alignment * alignment);
}
void FreeBlock(void* block) { std::free(block); }
#endif

void* Allocate(std::size_t bytes, std::size_t alignment) {
  const std::size_t whole = (bytes == 0 ? alignment : bytes);
  void* const block = Fails(bytes) ? nullptr : AllocateBlock(whole, alignment);
  if (block == nullptr) throw std::bad_alloc();
  if (fill) std::memset(block, *fill, whole);
  ++state.live;
  if (metered) metered->Add(block, bytes);
  return block;
}

void Free(void* block) noexcept {
  if (block == nullptr) return;
  --state.live;
  if (metered) metered->Remove(block);
  FreeBlock(block);
}

}  // namespace

AllocationFailures::AllocationFailures(long first, long count, std::size_t limit) {
  const long live = state.live;
  state = {0, first, count, limit, 0, live};
}

AllocationFailures::~AllocationFailures() {
  const long live = state.live;
  state = {};
  state.live = live;
}

long AllocationFailures::Failed() const { return state.failed; }

[[gnu::noinline]] static void PaintStack(unsigned char byte) {
  unsigned char below[std::size_t{64} << 10];
  std::memset(below, byte, sizeof(below));
  __asm__ volatile("" : : "r"(below) : "memory");  // so that it is not left out
}

FreshMemory::FreshMemory(unsigned char byte) {
  PaintStack(byte);
  fill = byte;
}
FreshMemory::~FreshMemory() { fill.reset(); }

MemoryMeter::MemoryMeter() { metered.emplace(); }
MemoryMeter::~MemoryMeter() { metered.reset(); }
std::size_t MemoryMeter::LiveBytes() const { return metered->live_bytes; }
std::size_t MemoryMeter::PeakBytes() const { return metered->peak_bytes; }

long LiveAllocations() { return state.live; }

}  // namespace kelvo::Reliability

using kelvo::Reliability::Allocate;
using kelvo::Reliability::Free;

void* operator new(std::size_t bytes) { return Allocate(bytes, __STDCPP_DEFAULT_NEW_ALIGNMENT__); }
void* operator new[](std::size_t bytes) { return Allocate(bytes, __STDCPP_DEFAULT_NEW_ALIGNMENT__); }
// Otherwise a sanitizer's own would be used, and would not match the operator delete below.
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  try {
    return Allocate(bytes, __STDCPP_DEFAULT_NEW_ALIGNMENT__);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void* operator new(std::size_t bytes, std::align_val_t alignment) {
  return Allocate(bytes, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t bytes, std::align_val_t alignment) {
  return Allocate(bytes, static_cast<std::size_t>(alignment));
}
void operator delete(void* block) noexcept { Free(block); }
void operator delete[](void* block) noexcept { Free(block); }
void operator delete(void* block, std::size_t) noexcept { Free(block); }
void operator delete[](void* block, std::size_t) noexcept { Free(block); }
void operator delete(void* block, std::align_val_t) noexcept { Free(block); }
void operator delete[](void* block, std::align_val_t) noexcept { Free(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept { Free(block); }
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept { Free(block); }
