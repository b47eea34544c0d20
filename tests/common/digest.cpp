#include "common/digest.h"

#include <openssl/evp.h>

#include <stdexcept>

namespace {

EVP_MD_CTX* Context(void* context) {
    return static_cast<EVP_MD_CTX*>(context);
}

void Require(int result) {
    if (result != 1) {
        throw std::runtime_error("OpenSSL computes no digest");
    }
}

}  // namespace

Digest Digest::Md5() {
    return Digest("MD5");
}

Digest Digest::Sha1() {
    return Digest("SHA1");
}

Digest::Digest(const char* algorithm) : m_pContext(EVP_MD_CTX_new()) {
    Require(EVP_DigestInit_ex(Context(m_pContext.get()), EVP_get_digestbyname(algorithm), nullptr));
}

void Digest::Add(const void* bytes, std::size_t size) {
    Require(EVP_DigestUpdate(Context(m_pContext.get()), bytes, size));
}

std::string Digest::Finish() {
    unsigned char value[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    Require(EVP_DigestFinal_ex(Context(m_pContext.get()), value, &size));
    std::string text;
    for (unsigned int i = 0; i < size; ++i) {
        text += "0123456789abcdef"[value[i] >> 4];
        text += "0123456789abcdef"[value[i] & 15];
    }
    return text;
}

void Digest::Free::operator()(void* context) const {
    EVP_MD_CTX_free(Context(context));
}

std::string Md5Of(const void* bytes, std::size_t size) {
    Digest digest = Digest::Md5();
    digest.Add(bytes, size);
    return digest.Finish();
}
