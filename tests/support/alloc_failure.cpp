// Every form of operator new and delete, new throwing std::bad_alloc when
// the allocation-failure window says so.
#include "platform/alloc_failure.h"

#include <cstdlib>
#include <new>

namespace {

void* Allocate(std::size_t size) {
  if (platform::FailThisAllocation()) throw std::bad_alloc();
  void* p = nullptr;
  while ((p = std::malloc(size != 0 ? size : 1)) == nullptr) {
    if (std::get_new_handler() == nullptr) throw std::bad_alloc();
    std::get_new_handler()();
  }
  return p;
}

void* AllocateNoThrow(std::size_t size) noexcept {
  return platform::FailThisAllocation() ? nullptr
                                        : std::malloc(size != 0 ? size : 1);
}

}  // namespace

void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return AllocateNoThrow(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return AllocateNoThrow(size);
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept {
  std::free(p);
}
