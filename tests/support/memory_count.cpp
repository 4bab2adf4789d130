#include "memory_count.h"

#include <malloc.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <new>

namespace brelmo::tavi::test {

namespace {

std::atomic<long> live_blocks = 0;
std::atomic<long> live_bytes = 0;
std::atomic<long> allocations = 0;

// The thread sanitizer lets nobody replace its new and delete: nothing is counted beside it.
#ifndef TAVI_THREAD_SANITIZED

// The size stands in front of each block; a block keeps the alignment that malloc gives.
constexpr size_t kHeader = alignof(std::max_align_t);

void CountBlock() {
  allocations.fetch_add(1, std::memory_order_relaxed);
  live_blocks.fetch_add(1, std::memory_order_relaxed);
}
void CountBlockFreed() { live_blocks.fetch_sub(1, std::memory_order_relaxed); }

#ifdef TAVI_SANITIZED
constexpr bool kCountsMalloc = false;
#else
constexpr bool kCountsMalloc = true;
#endif

// NOLINTBEGIN(cppcoreguidelines-no-malloc): this is what stands beneath new and delete.
void* Allocate(size_t size) {
  void* const memory = std::malloc(kHeader + size);
  if (memory == nullptr) std::abort();
  *static_cast<size_t*>(memory) = size;
  if (!kCountsMalloc) CountBlock();
  live_bytes.fetch_add(static_cast<long>(size), std::memory_order_relaxed);
  return static_cast<char*>(memory) + kHeader;
}

void Free(void* block) {
  if (block == nullptr) return;
  void* const memory = static_cast<char*>(block) - kHeader;
  if (!kCountsMalloc) CountBlockFreed();
  live_bytes.fetch_sub(static_cast<long>(*static_cast<size_t*>(memory)), std::memory_order_relaxed);
  std::free(memory);
}
// NOLINTEND(cppcoreguidelines-no-malloc)

#endif

}  // namespace

MemoryCount MemoryCount::Take() { return {live_blocks.load(), live_bytes.load()}; }

long MemoryCount::Allocations() { return allocations.load(); }

size_t HeapBytes() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

size_t ResidentBytes() {
  std::ifstream stream("/proc/self/statm");
  size_t pages = 0;
  stream >> pages >> pages;
  return pages * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

}  // namespace brelmo::tavi::test

#ifndef TAVI_SANITIZED

// In the place of the C library's, which has these names for what they stand on.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
void __libc_free(void* block);

#define TAVI_EXPORT __attribute__((visibility("default")))

TAVI_EXPORT void* malloc(size_t size) noexcept {
  brelmo::tavi::test::CountBlock();
  return __libc_malloc(size);
}
TAVI_EXPORT void* calloc(size_t count, size_t size) noexcept {
  brelmo::tavi::test::CountBlock();
  return __libc_calloc(count, size);
}
TAVI_EXPORT void* realloc(void* block, size_t size) noexcept {
  if (block == nullptr) brelmo::tavi::test::CountBlock();
  return __libc_realloc(block, size);
}
TAVI_EXPORT void* memalign(size_t alignment, size_t size) noexcept {
  brelmo::tavi::test::CountBlock();
  return __libc_memalign(alignment, size);
}
TAVI_EXPORT void* aligned_alloc(size_t alignment, size_t size) noexcept {
  return memalign(alignment, size);
}
TAVI_EXPORT int posix_memalign(void** block, size_t alignment, size_t size) noexcept {
  *block = memalign(alignment, size);
  return *block == nullptr ? ENOMEM : 0;
}
TAVI_EXPORT void free(void* block) noexcept {
  if (block != nullptr) brelmo::tavi::test::CountBlockFreed();
  __libc_free(block);
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)

#endif

#ifndef TAVI_THREAD_SANITIZED

// In the place of the C++ library's; the dynamic linker gives them to the module as well.
void* operator new(size_t size) { return brelmo::tavi::test::Allocate(size); }
void* operator new[](size_t size) { return brelmo::tavi::test::Allocate(size); }
void operator delete(void* block) noexcept { brelmo::tavi::test::Free(block); }
void operator delete[](void* block) noexcept { brelmo::tavi::test::Free(block); }
void operator delete(void* block, size_t /*size*/) noexcept { brelmo::tavi::test::Free(block); }
void operator delete[](void* block, size_t /*size*/) noexcept { brelmo::tavi::test::Free(block); }

#endif
