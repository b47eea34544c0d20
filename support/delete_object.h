#pragma once

/// Deletes an object and does nothing on null, also where it comes as `this`, which compilers take for never null: they
/// drop the test of a plain `delete this`, but hosts that call Delete() through a table may have no object.
template <typename Object>
void DeleteUnlessNull(Object* object) {
    Object* volatile unknown = object;  // what is read from here may be null for all that a compiler knows
    delete unknown;
}
