#include "bench/heap_counter.h"

#include <cstdlib>
#include <new>

namespace qbfa_bench {
namespace {

// Every block carries its size and whether it was counted, so a block
// allocated before counting began is not subtracted when it is freed.
struct alignas(alignof(std::max_align_t)) Header {
  size_t size;
  bool counted;
};

// The benchmarks allocate on one thread.
bool counting = false;
size_t live = 0;
size_t peak = 0;

void* Allocate(size_t size) {
  auto* header = static_cast<Header*>(std::malloc(sizeof(Header) + size));
  if (header == nullptr)
    throw std::bad_alloc();
  header->size = size;
  header->counted = counting;
  if (counting) {
    live += size;
    if (live > peak)
      peak = live;
  }
  return header + 1;
}

void Free(void* p) {
  if (p == nullptr)
    return;
  Header* header = static_cast<Header*>(p) - 1;
  if (header->counted)
    live -= header->size;
  std::free(header);
}

}  // namespace

void CountHeapBytes(bool on) {
  counting = on;
  live = 0;
  peak = 0;
}
size_t LiveHeapBytes() {
  return live;
}
size_t PeakHeapBytes() {
  return peak;
}

}  // namespace qbfa_bench

void* operator new(size_t size) {
  return qbfa_bench::Allocate(size);
}
void* operator new[](size_t size) {
  return qbfa_bench::Allocate(size);
}
void operator delete(void* p) noexcept {
  qbfa_bench::Free(p);
}
void operator delete[](void* p) noexcept {
  qbfa_bench::Free(p);
}
void operator delete(void* p, size_t) noexcept {
  qbfa_bench::Free(p);
}
void operator delete[](void* p, size_t) noexcept {
  qbfa_bench::Free(p);
}
