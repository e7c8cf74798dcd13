// The virtual-table slot of a virtual member function, for tests that pin
// the order of an interface's operations (the Itanium C++ ABI that g++ and
// clang use on Linux: a pointer to a virtual member holds 1 + the slot's
// byte offset).
#ifndef KXB_TESTS_SUPPORT_VTABLE_SLOT_H_
#define KXB_TESTS_SUPPORT_VTABLE_SLOT_H_

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kxb_test {

template <typename MemberFunction>
long vtableSlot(MemberFunction function) {
  struct {
    uintptr_t pointer;
    ptrdiff_t adjustment;
  } raw;
  static_assert(sizeof(function) == sizeof(raw), "Itanium member pointer");
  std::memcpy(&raw, &function, sizeof raw);
  if ((raw.pointer & 1) == 0) return -1;  // not virtual
  return static_cast<long>((raw.pointer - 1) / sizeof(void*));
}

}  // namespace kxb_test

#endif  // KXB_TESTS_SUPPORT_VTABLE_SLOT_H_
