#include "digest.h"

#include <openssl/evp.h>

#include <array>

#include "failure.h"

void Digest::Deleter::operator()(evp_md_ctx_st* context) const {
    EVP_MD_CTX_free(context);
}

Digest::Digest(const char* name) : m_Context(EVP_MD_CTX_new()) {
    const EVP_MD* algorithm = EVP_get_digestbyname(name);
    if (!m_Context || algorithm == nullptr || EVP_DigestInit_ex(m_Context.get(), algorithm, nullptr) != 1) {
        throw Failure(std::string("this OpenSSL has no ") + name);
    }
}

Digest::~Digest() = default;

void Digest::Add(const unsigned char* data, std::size_t size) {
    EVP_DigestUpdate(m_Context.get(), data, size);
}

std::string Digest::Finish() {
    std::array<unsigned char, EVP_MAX_MD_SIZE> hash;
    unsigned int size = 0;
    EVP_DigestFinal_ex(m_Context.get(), hash.data(), &size);
    std::string text;
    for (unsigned int i = 0; i < size; ++i) {
        text += "0123456789abcdef"[hash[i] >> 4];
        text += "0123456789abcdef"[hash[i] & 15];
    }
    return text;
}
