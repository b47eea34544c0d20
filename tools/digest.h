#pragma once

#include <cstddef>
#include <memory>
#include <string>

struct evp_md_ctx_st;

/// A hash of bytes in a row. Names are those of OpenSSL: "MD5", "SHA1".
class Digest {
public:
    explicit Digest(const char* name);
    ~Digest();

    void Add(const unsigned char* data, std::size_t size);
    /// The hash in lower-case hexadecimal; ends the row.
    std::string Finish();

private:
    struct Deleter {
        void operator()(evp_md_ctx_st* context) const;
    };
    std::unique_ptr<evp_md_ctx_st, Deleter> m_Context;
};
