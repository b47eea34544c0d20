#pragma once

// Hidden in any build: what a version script lets out would be one for all libraries, and dlclose would never unload
// it.
#pragma GCC visibility push(hidden)

namespace uvqlog {

/// Whether this shared library, the one that includes this, is being unloaded. False while the process ends: exit runs
/// the destructors of statics first, and only then what is marked so below. dlclose has it the other way round.
inline bool isBeingUnloaded = false;

__attribute__((destructor)) static void NoteThatItIsBeingUnloaded() {
    isBeingUnloaded = true;
}

/// Keeps an object until dlclose unloads the library, which deletes it. At process exit it stays as it is: a host's own
/// statics and threads may use it longer than any destructor here could know. Objects that are kept later are deleted
/// earlier. For one object of each type.
template <typename T>
T* UntilUnload(T* object) {
    static const struct Keeper {
        T* object;
        ~Keeper() {
            if (isBeingUnloaded) {
                delete object;
            }
        }
    } keeper{object};
    return object;
}

}  // namespace uvqlog

#pragma GCC visibility pop
