// The library as a plug-in host takes it: nothing linked, everything by dlopen and dlsym.
#include <codrelay/codrelay.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <utility>
#include <vector>

// The library's two loggers live as long as the process. Once the library is unloaded nothing points to them any more,
// nor can the leak sanitizer name who made them; that nothing else stays behind is seen by the tests that do not
// unload.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
    return "detect_leaks=0";
}

namespace {

class LoadedLibrary {
public:
    LoadedLibrary() : m_Handle(dlopen(CODRELAY_LIBRARY, RTLD_NOW | RTLD_LOCAL)) {}
    ~LoadedLibrary() { Unload(); }

    bool IsLoaded() const { return m_Handle != nullptr; }
    bool Unload() { return m_Handle != nullptr && dlclose(std::exchange(m_Handle, nullptr)) == 0; }

    template <typename Function>
    Function* Find(const char* mangledName) const {
        return reinterpret_cast<Function*>(dlsym(m_Handle, mangledName));
    }

private:
    void* m_Handle;
};

std::vector<unsigned char> FirstJpegOf(const char* path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<unsigned char> bytes{std::istreambuf_iterator<char>(file), {}};
    const unsigned char end[] = {0xff, 0xd9};
    const auto found = std::search(bytes.begin(), bytes.end(), std::begin(end), std::end(end));
    if (found != bytes.end())
        bytes.erase(found + 2, bytes.end());
    return bytes;
}

/// Starts the library, decodes a picture, and gives everything back.
void DecodeAPicture(const LoadedLibrary& library) {
    auto* const create = library.Find<int(CodrelayCallback*)>("_Z15Codrelay_CreateP16CodrelayCallback");
    auto* const destroy = library.Find<void()>("_Z16Codrelay_Destroyv");
    auto* const newDecoder = library.Find<CVideoDecoderBase*()>("_Z26Codrelay_VideoDecoder_JPEGv");
    ASSERT_TRUE(create != nullptr && destroy != nullptr && newDecoder != nullptr);

    EXPECT_EQ(create(nullptr), 1);
    CVideoDecoderBase* const decoder = newDecoder();
    EXPECT_EQ(decoder->CreateDecoder(CSP_YUV420P, 320, 240, nullptr), 1);
    std::vector<unsigned char> jpeg = FirstJpegOf(CODRELAY_JPEGS);
    std::shared_ptr<CFrameBufferBase> picture;
    EXPECT_EQ(decoder->Decode(jpeg.data(), static_cast<int>(jpeg.size()), picture), 0);
    ASSERT_NE(picture, nullptr);
    EXPECT_EQ(picture->m_nWidth, 320u);
    EXPECT_EQ(picture->m_nHeight, 240u);
    picture.reset();
    decoder->DestroyDecoder();
    decoder->Delete();
    destroy();
}

}  // namespace

TEST(Dlopen, LoadsDecodesAndUnloads) {
    LoadedLibrary library;
    ASSERT_TRUE(library.IsLoaded()) << dlerror();
    DecodeAPicture(library);
    EXPECT_TRUE(library.Unload());
}

TEST(Dlopen, LoadsAgainAfterItWasUnloaded) {
    for (int round = 0; round < 3; ++round) {
        LoadedLibrary library;
        ASSERT_TRUE(library.IsLoaded()) << dlerror();
        DecodeAPicture(library);
    }
}

TEST(Dlopen, TheLibraryStartsNothingAndNeedsNoCallToBeUnloaded) {
    LoadedLibrary library;
    ASSERT_TRUE(library.IsLoaded()) << dlerror();
    EXPECT_TRUE(library.Unload());
}
