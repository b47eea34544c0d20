#pragma once

#include <cstddef>
#include <string>

/// Calls what stands in a slot of an object's virtual table, as a host does that was compiled long ago: by number, not
/// by the declaration of today. All arguments are zero.
inline long CallSlot(void* object, std::size_t slot) {
    using Operation = long (*)(void*, long, long, long, long, long);
    auto** table = *static_cast<Operation**>(object);
    return table[slot](object, 0, 0, 0, 0, 0);
}

/// Calls the operation behind a slot of an object's table for no object at all: by a null pointer.
inline void CallSlotOfNothing(void* object, std::size_t slot) {
    using Operation = void (*)(void*);
    auto** table = *static_cast<Operation**>(object);
    table[slot](nullptr);
}

/// The name that the operation behind a slot leaves in `called`.
inline std::string NameInSlot(void* object, std::size_t slot, std::string& called) {
    called.clear();
    CallSlot(object, slot);
    return called;
}
