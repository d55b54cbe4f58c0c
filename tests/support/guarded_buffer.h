// Test support: memory whose end is followed by an inaccessible page, so that
// a read or a write one byte past a destination's capacity or a source's
// length faults at once instead of going unnoticed.  No test framework here:
// the unit tests and the fuzz targets share it.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace lxktest {

// Reusable: a larger request maps a larger region, so a helper can keep one
// per operand (mapping per call costs more than most calls under test).
class GuardedBuffer {
 public:
  // Room for maxSize bytes before the guard page, to begin with.
  explicit GuardedBuffer(size_t maxSize = 0) { map(maxSize); }
  // A copy of the bytes that ends at the guard page.
  GuardedBuffer(const void* bytes, size_t size) : GuardedBuffer(size) { assign(bytes, size); }
  ~GuardedBuffer() { munmap(base_, mapped_); }
  GuardedBuffer(const GuardedBuffer&) = delete;
  GuardedBuffer& operator=(const GuardedBuffer&) = delete;

  // The last `size` bytes before the guard page (the guard itself for 0): a
  // destination of capacity `size`.  Earlier pointers stay valid unless the
  // request is larger than any before.
  uint8_t* tail(size_t size) {
    if (size > usable_) {
      munmap(base_, mapped_);
      map(size);
    }
    return base_ + usable_ - size;
  }

  // Copies the bytes so that their last one is the last before the guard.
  const uint8_t* assign(const void* bytes, size_t size) {
    uint8_t* start = tail(size);
    if (size != 0) std::memcpy(start, bytes, size);
    size_ = size;
    return start;
  }

  // What assign placed.
  const uint8_t* data() const { return base_ + usable_ - size_; }
  size_t size() const { return size_; }

 private:
  uint8_t* base_ = nullptr;
  size_t usable_ = 0;
  size_t mapped_ = 0;
  size_t size_ = 0;

  void map(size_t size) {
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    usable_ = (size + page - 1) / page * page;
    mapped_ = usable_ + page;
    void* base = mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (base == MAP_FAILED || mprotect(static_cast<uint8_t*>(base) + usable_, page, PROT_NONE)) {
      std::perror("GuardedBuffer");
      std::abort();
    }
    base_ = static_cast<uint8_t*>(base);
  }
};

}  // namespace lxktest
