// Memory between two pages that may not be touched.
#pragma once

#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/mman.h>
#include <unistd.h>
#endif

#include <cstddef>
#include <new>

namespace kelvo::Support {

// Pages that may not be touched until they are opened.
#if defined(_WIN32)
inline std::size_t PageSize() { return 4096; }
inline void* ReservePages(std::size_t bytes) { return ::VirtualAlloc(nullptr, bytes, MEM_RESERVE, PAGE_NOACCESS); }
inline bool OpenPages(void* pages, std::size_t bytes) {
  return ::VirtualAlloc(pages, bytes, MEM_COMMIT, PAGE_READWRITE) != nullptr;
}
inline void ReleasePages(void* pages, std::size_t) { ::VirtualFree(pages, 0, MEM_RELEASE); }
#else
inline std::size_t PageSize() { return static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)); }
inline void* ReservePages(std::size_t bytes) {
  void* const pages = ::mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  return pages == MAP_FAILED ? nullptr : pages;
}
inline bool OpenPages(void* pages, std::size_t bytes) { return ::mprotect(pages, bytes, PROT_READ | PROT_WRITE) == 0; }
inline void ReleasePages(void* pages, std::size_t bytes) { ::munmap(pages, bytes); }
#endif

// Memory for arrays of floats flush against an unmapped page, so that an access beyond the end crashes.
class GuardedBuffer {
 public:
  explicit GuardedBuffer(std::size_t capacity) {
    const std::size_t page = PageSize();
    bytes_ = (capacity * sizeof(float) + page - 1) / page * page;
    whole_bytes_ = bytes_ + 2 * page;
    whole_ = ReservePages(whole_bytes_);
    if (whole_ == nullptr) throw std::bad_alloc();
    inner_ = static_cast<std::byte*>(whole_) + page;
    if (!OpenPages(inner_, bytes_)) throw std::bad_alloc();
  }
  GuardedBuffer(const GuardedBuffer&) = delete;
  GuardedBuffer& operator=(const GuardedBuffer&) = delete;
  ~GuardedBuffer() { ReleasePages(whole_, whole_bytes_); }

  std::size_t Capacity() const { return bytes_ / sizeof(float); }
  // `count` floats right after the first unmapped page, and right before the last one.
  float* AtStart() { return reinterpret_cast<float*>(inner_); }
  float* AtEnd(std::size_t count) { return reinterpret_cast<float*>(inner_ + bytes_) - count; }

 private:
  void* whole_ = nullptr;
  std::byte* inner_ = nullptr;
  std::size_t bytes_ = 0;
  std::size_t whole_bytes_ = 0;
};

}  // namespace kelvo::Support
