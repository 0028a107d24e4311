// Scratch memory of a call that exceeds the stack's.
#include "base/buffers.h"

#include <new>

namespace kelvo::Base {

// Out of line, as is the release: calls that stay on the stack do without either.
void* CallScratch::TakeFromHeap(std::size_t bytes) {
  // Aligned by hand: the aligned operator new of common runtimes costs more than a small transform.
  constexpr std::size_t kOverhead = sizeof(void*) + kLineBytes;
  if (bytes > std::size_t{PTRDIFF_MAX} - kOverhead) throw std::bad_alloc();
  auto* const block = static_cast<unsigned char*>(::operator new(bytes + kOverhead));
  ::new (block) void*(blocks_);
  blocks_ = block;
  unsigned char* const after_link = block + sizeof(void*);
  return after_link + (kLineBytes - reinterpret_cast<std::uintptr_t>(after_link) % kLineBytes) % kLineBytes;
}

void CallScratch::FreeBlocks(void* last) {
  while (blocks_ != last) {
    void* const block = blocks_;
    blocks_ = *static_cast<void**>(block);
    ::operator delete(block);
  }
}

}  // namespace kelvo::Base
