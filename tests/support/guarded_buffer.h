// Memory between two pages that may not be touched.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <new>

namespace kelvo::Support {

// Room for arrays of floats that lie flush against an unmapped page, so that one element too many ends the process.
class GuardedBuffer {
 public:
  explicit GuardedBuffer(std::size_t capacity) {
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    bytes_ = (capacity * sizeof(float) + page - 1) / page * page;
    whole_bytes_ = bytes_ + 2 * page;
    whole_ = ::mmap(nullptr, whole_bytes_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (whole_ == MAP_FAILED) throw std::bad_alloc();
    inner_ = static_cast<std::byte*>(whole_) + page;
    if (::mprotect(inner_, bytes_, PROT_READ | PROT_WRITE) != 0) throw std::bad_alloc();
  }
  GuardedBuffer(const GuardedBuffer&) = delete;
  GuardedBuffer& operator=(const GuardedBuffer&) = delete;
  ~GuardedBuffer() { ::munmap(whole_, whole_bytes_); }

  std::size_t Capacity() const { return bytes_ / sizeof(float); }
  // `count` floats right behind the first unmapped page, and right before the last one.
  float* AtStart() { return reinterpret_cast<float*>(inner_); }
  float* AtEnd(std::size_t count) { return reinterpret_cast<float*>(inner_ + bytes_) - count; }

 private:
  void* whole_ = nullptr;
  std::byte* inner_ = nullptr;
  std::size_t bytes_ = 0;
  std::size_t whole_bytes_ = 0;
};

}  // namespace kelvo::Support
