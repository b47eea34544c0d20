#pragma once

#include <cstddef>
#include <memory>
#include <string>

/// A digest over bytes that come in pieces.
class Digest {
public:
    static Digest Md5();
    static Digest Sha1();

    void Add(const void* bytes, std::size_t size);
    /// In lower-case hexadecimal. Nothing can be added afterwards.
    std::string Finish();

private:
    struct Free {
        void operator()(void* context) const;
    };
    explicit Digest(const char* algorithm);

    std::unique_ptr<void, Free> m_pContext;
};

/// The MD5 of one block, as the peer command prints it.
std::string Md5Of(const void* bytes, std::size_t size);
