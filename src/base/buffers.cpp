// Scratch memory of a call that exceeds the stack's.
#include "base/buffers.h"

#include <new>
#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace kelvo::Base {
namespace {

// Asks for pages of 2 MiB, whose first touch costs a long transform a tenth of its time, that of small ones a third.
// Allocators map as much memory as this for itself, and unmap it when it is given back: no other memory is affected.
void PreferHugePages(void* memory, std::size_t bytes) {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
  constexpr std::uintptr_t kPage = std::uintptr_t{2} << 20;
  constexpr std::size_t kLeastBytes = std::size_t{32} << 20;
  if (bytes < kLeastBytes) return;
  const auto begin = reinterpret_cast<std::uintptr_t>(memory);
  const std::uintptr_t first = (begin + kPage - 1) / kPage * kPage;
  const std::uintptr_t end = (begin + bytes) / kPage * kPage;
  // Where the system refuses, small pages do.
  static_cast<void>(::madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE));
#else
  static_cast<void>(memory);
  static_cast<void>(bytes);
#endif
}

}  // namespace

// Out of line, as is the release: calls that stay on the stack do without either.
void* CallScratch::TakeFromHeap(std::size_t bytes) {
  // Aligned by hand: the aligned operator new of common runtimes costs more than a small transform.
  constexpr std::size_t kOverhead = sizeof(void*) + kLineBytes;
  if (bytes > std::size_t{PTRDIFF_MAX} - kOverhead) throw std::bad_alloc();
  auto* const block = static_cast<unsigned char*>(::operator new(bytes + kOverhead));
  PreferHugePages(block, bytes + kOverhead);
  ::new (block) void*(blocks_);
  blocks_ = block;
  unsigned char* const after_link = block + sizeof(void*);
  unsigned char* const taken =
      after_link + (kLineBytes - reinterpret_cast<std::uintptr_t>(after_link) % kLineBytes) % kLineBytes;
  MarkFree(taken + bytes, static_cast<std::size_t>(block + bytes + kOverhead - (taken + bytes)));
  return taken;
}

void CallScratch::FreeBlocks(void* last) {
  while (blocks_ != last) {
    void* const block = blocks_;
    blocks_ = *static_cast<void**>(block);
    ::operator delete(block);
  }
}

}  // namespace kelvo::Base
