// What the test program allocates by: the next allocator in line (the sanitizer's, or the C++ library's),
// unless a shortage refuses.
#include "tests/support/memory.h"

#include <dlfcn.h>

#include <cstdlib>
#include <new>

#include "simulator/windows/door.h"

namespace {

bool counting = false;
unsigned long uses = 0, firstRefused = 0, endOfRefused = 0;

bool isRefused() {
  if (!counting || simulator::BehindDoor::isControl()) return false;
  ++uses;
  return uses >= firstRefused && uses < endOfRefused;
}

template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

MemoryShortage::MemoryShortage(unsigned long first, unsigned long count) {
  uses = 0;
  firstRefused = first;
  endOfRefused = first == 0 ? 0 : first + count;
  counting = true;
}
MemoryShortage::~MemoryShortage() { counting = false; }
unsigned long MemoryShortage::asked() { return uses; }

void* operator new(std::size_t size) {
  static auto* const allocate = next<void*(std::size_t)>("_Znwm");
  if (isRefused()) throw std::bad_alloc();
  return allocate(size);
}
void* operator new[](std::size_t size) {
  static auto* const allocate = next<void*(std::size_t)>("_Znam");
  if (isRefused()) throw std::bad_alloc();
  return allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t& tag) noexcept {
  static auto* const allocate = next<void*(std::size_t, const std::nothrow_t&)>("_ZnwmRKSt9nothrow_t");
  return isRefused() ? nullptr : allocate(size, tag);
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  static auto* const allocate = next<void*(std::size_t, const std::nothrow_t&)>("_ZnamRKSt9nothrow_t");
  return isRefused() ? nullptr : allocate(size, tag);
}

// The linker leads the calls of what is linked in here.
extern "C" {
void* __real_malloc(std::size_t size);
void* __real_realloc(void* memory, std::size_t size);
void* __wrap_malloc(std::size_t size) { return isRefused() ? nullptr : __real_malloc(size); }
void* __wrap_realloc(void* memory, std::size_t size) {
  return isRefused() ? nullptr : __real_realloc(memory, size);
}
}
