// What the process has allocated, the loaded module and libbase included. Blocks are those of
// malloc and its kin, and so of operator new; where a sanitizer stands in malloc's place, of
// operator new only.
#pragma once

#include <cstddef>

namespace brelmo::tavi::test {

struct MemoryCount {
  long blocks = 0;
  long bytes = 0;  // of operator new, as they were asked for

  // Now.
  static MemoryCount Take();
  // Blocks that were ever allocated, freed ones included.
  static long Allocations();

  MemoryCount operator-(const MemoryCount& other) const {
    return {blocks - other.blocks, bytes - other.bytes};
  }
  MemoryCount operator+(const MemoryCount& other) const {
    return {blocks + other.blocks, bytes + other.bytes};
  }
  bool operator==(const MemoryCount& other) const {
    return blocks == other.blocks && bytes == other.bytes;
  }
};

// The C library's heap, malloc included; 0 where a sanitizer has replaced it.
size_t HeapBytes();
// Of the process, as the system sees it.
size_t ResidentBytes();

}  // namespace brelmo::tavi::test
