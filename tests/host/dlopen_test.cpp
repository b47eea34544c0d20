// The library as a plug-in host takes it: nothing linked, everything by dlopen and dlsym. Run under valgrind, or with
// the leak sanitizer, each of these tests also shows that a library that was unloaded has left nothing behind.
#include <codrelay/codrelay.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <uvqlog/control.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

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

void SetSink(const LoadedLibrary& library, std::function<void(const uvqlog::LogEvent&)> sink) {
    auto* const setSink = library.Find<void(std::function<void(const uvqlog::LogEvent&)>)>(
        "_ZN6uvqlog7SetSinkESt8functionIFvRKNS_8LogEventEEE");
    ASSERT_NE(setSink, nullptr);
    setSink(std::move(sink));
}

/// A call that writes one line, at Error.
using NameOf = const char*(int);
NameOf* FindNameOf(const LoadedLibrary& library) {
    return library.Find<NameOf>("_Z18GetMuxerFormatNamei");
}

/// Steers everything of the log that can be steered, and makes it write a line to a file and one to a sink. The sink
/// keeps `captured`.
void SteerTheLog(const LoadedLibrary& library, const std::shared_ptr<int>& captured) {
    using uvqlog::Severity;
    auto* const setThreshold = library.Find<void(std::string_view, Severity)>(
        "_ZN6uvqlog12SetThresholdESt17basic_string_viewIcSt11char_traitsIcEENS_8SeverityE");
    auto* const logToFile = library.Find<void(const std::string&, std::size_t, std::size_t)>(
        "_ZN6uvqlog17LogToRotatingFileERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEmm");
    NameOf* const nameOf = FindNameOf(library);
    ASSERT_TRUE(setThreshold != nullptr && logToFile != nullptr && nameOf != nullptr);

    logToFile("/dev/null", 1000, 0);
    setThreshold("a name that is longer than a word", Severity::Trace);
    EXPECT_EQ(nameOf(0), nullptr);
    SetSink(library, [captured](const uvqlog::LogEvent&) { ++*captured; });
    EXPECT_EQ(nameOf(0), nullptr);
    EXPECT_EQ(*captured, 1);
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
        SteerTheLog(library, std::make_shared<int>(0));
    }
}

TEST(Dlopen, ItIsGoneOnceItIsUnloadedAndWhatItsSinkKeptIsLetGo) {
    const auto captured = std::make_shared<int>(0);
    {
        LoadedLibrary library;
        ASSERT_TRUE(library.IsLoaded()) << dlerror();
        SteerTheLog(library, captured);
        EXPECT_EQ(captured.use_count(), 2);
    }
    EXPECT_EQ(captured.use_count(), 1);
    EXPECT_EQ(dlopen(CODRELAY_LIBRARY, RTLD_NOW | RTLD_NOLOAD), nullptr);
}

TEST(Dlopen, WhatASinkKeptMayLogWhenTheUnloadedLibraryLetsGoOfIt) {
    struct LastWords {
        NameOf* nameOf;
        ~LastWords() { nameOf(0); }
    };
    testing::internal::CaptureStderr();
    {
        LoadedLibrary library;
        ASSERT_TRUE(library.IsLoaded()) << dlerror();
        NameOf* const nameOf = FindNameOf(library);
        ASSERT_NE(nameOf, nullptr);
        SetSink(library, {});  // what the log consists of is made in this order
        nameOf(0);
        std::shared_ptr<LastWords> kept(new LastWords{nameOf});
        SetSink(library, [kept = std::move(kept)](const uvqlog::LogEvent&) {});
    }
    const std::string said = testing::internal::GetCapturedStderr();
    const std::string line = "[ffmpeg] [error] GetMuxerFormatName 0 failed!\n";
    const std::size_t first = said.find(line);
    ASSERT_NE(first, std::string::npos) << said;
    EXPECT_NE(said.find(line, first + line.size()), std::string::npos) << said;
}

TEST(Dlopen, TheLibraryStartsNothingAndNeedsNoCallToBeUnloaded) {
    LoadedLibrary library;
    ASSERT_TRUE(library.IsLoaded()) << dlerror();
    EXPECT_TRUE(library.Unload());
}
