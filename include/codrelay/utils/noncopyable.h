#pragma once

/// @file
/// A base class without copies.

namespace utils {

/// A base for classes whose objects have an identity: they can be neither copied nor assigned.
class Noncopyable {
protected:
    Noncopyable() = default;
    ~Noncopyable() = default;

public:
    Noncopyable(const Noncopyable&) = delete;
    Noncopyable& operator=(const Noncopyable&) = delete;
};

}  // namespace utils
