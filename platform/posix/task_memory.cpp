// The COM task allocator, over the C heap. Buffers that CoTaskMemAlloc gives
// are freed only by CoTaskMemFree, so the heap underneath is ours to choose.
// These are the allocators themselves: no test-build routing here.
#define KZ_DEFINING_ALLOCATORS

#include <cstdlib>

#include "platform/platform.h"

// CoTaskMemAlloc
//
// PARAMS   size [I] bytes; 0 gives a valid, unique block
// RETURNS  the block, or nullptr if memory is exhausted
LPVOID CoTaskMemAlloc(SIZE_T size) { return std::malloc(size ? size : 1); }

// CoTaskMemRealloc
//
// PARAMS   block [I] block to resize, or nullptr to allocate; size [I] bytes
// RETURNS  the new address, contents kept up to the smaller size; nullptr if
//          memory is exhausted (the old block stays valid) or if size is 0
//          with a block, which frees it, as Windows does
LPVOID CoTaskMemRealloc(LPVOID block, SIZE_T size) {
  if (block == nullptr) return CoTaskMemAlloc(size);
  if (size == 0) {
    std::free(block);
    return nullptr;
  }
  return std::realloc(block, size);
}

// CoTaskMemFree
//
// PARAMS   block [I] block from CoTaskMemAlloc/Realloc, or nullptr (ignored)
void CoTaskMemFree(LPVOID block) { std::free(block); }
