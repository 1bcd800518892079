#include "bench/allocation_count.h"

#include <cstdlib>
#include <new>

namespace {

std::size_t allocations = 0;

void* allocate(std::size_t size) noexcept {
  ++allocations;
  return std::malloc(size);
}

}  // namespace

std::size_t allocationCount() { return allocations; }

void* operator new(std::size_t size) {
  if (void* memory = allocate(size)) return memory;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
