// A host whose own static object holds a decoder to the last: it works with it, destroys it and asks the library when
// the statics of everything that was loaded later are gone already. Built twice: linked, and by dlopen.

#include <codrelay/codrelay.h>
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <set>

namespace {

#ifdef CODRELAY_LIBRARY

template <typename Function>
Function* Find(const char* mangledName) {
    static void* const library = dlopen(CODRELAY_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    return reinterpret_cast<Function*>(dlsym(library, mangledName));
}

int Start() {
    return Find<int(CodrelayCallback*)>("_Z15Codrelay_CreateP16CodrelayCallback")(nullptr);
}
CVideoDecoderBase* NewDecoder() {
    return Find<CVideoDecoderBase*()>("_Z26Codrelay_VideoDecoder_JPEGv")();
}
std::set<int> Encoders() {
    return Find<std::set<int>()>("_Z34Codrelay_GetSupportedVideoEncodersv")();
}

#else

int Start() {
    return Codrelay_Create(nullptr);
}
CVideoDecoderBase* NewDecoder() {
    return Codrelay_VideoDecoder_JPEG();
}
std::set<int> Encoders() {
    return Codrelay_GetSupportedVideoEncoders();
}

#endif

void Require(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "not so: %s\n", what);
        std::_Exit(1);
    }
}

class Holder {
public:
    ~Holder() {
        if (m_pDecoder == nullptr) {
            return;
        }
        std::shared_ptr<CFrameBufferBase> picture;
        Require(m_pDecoder->Decode(nullptr, 0, picture) == 2, "a decoder says what is wrong");
        m_pDecoder->DestroyDecoder();
        Require(m_pDecoder->CreateDecoder(CSP_YUV420P, 64, 48, nullptr) == 1, "a decoder is created again");
        m_pDecoder->DestroyDecoder();
        m_pDecoder->Delete();
        Require(!Encoders().empty(), "the registry answers");
    }

    void Hold() {
        m_pDecoder = NewDecoder();
        Require(m_pDecoder->CreateDecoder(CSP_YUV420P, 64, 48, nullptr) == 1, "a decoder is created");
    }

private:
    CVideoDecoderBase* m_pDecoder = nullptr;
};

Holder firstBuilt;  // before the library's own, where it is loaded later, and so gone after them

}  // namespace

int main() {
    Require(Start() == 1, "the library starts");
    firstBuilt.Hold();
    static Holder lastBuilt;
    lastBuilt.Hold();
    std::atexit([] { std::fprintf(stderr, "the process ends\n"); });
    return 0;
}
