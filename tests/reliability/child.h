// Work done in a forked child process, which leaves the caches of the parent as they are.
#pragma once

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <new>

namespace kelvo::Reliability {

// An array that a child process shares with its parent.
template <class Element>
class SharedArray {
 public:
  explicit SharedArray(std::size_t count) : bytes_(count * sizeof(Element)) {
    void* const memory = ::mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::bad_alloc();
    elements_ = static_cast<Element*>(memory);
  }
  SharedArray(const SharedArray&) = delete;
  SharedArray& operator=(const SharedArray&) = delete;
  ~SharedArray() { ::munmap(elements_, bytes_); }
  Element& operator[](std::size_t i) { return elements_[i]; }

 private:
  std::size_t bytes_;
  Element* elements_;
};

// Runs work() in a child that exits with its result, and returns its status from waitpid; 0 is success. An alarm ends a
// child that hangs.
template <class Work>
int RunInChild(Work&& work, unsigned seconds) {
  const pid_t child = ::fork();
  if (child < 0) return -1;
  if (child == 0) {
    ::alarm(seconds);
    ::_exit(work());
  }
  int status = -1;
  ::waitpid(child, &status, 0);
  return status;
}

}  // namespace kelvo::Reliability
