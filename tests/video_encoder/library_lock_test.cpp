#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "codrelay/factories.h"
#include "common/log_capture.h"
#include "encoder_under_test.h"
#include "ffmpeg_script.h"
#include "front/registry/ffmpeg_registry.h"
#include "test_picture.h"

namespace {

/// How long a test waits for what does happen at once, unless it is broken.
constexpr auto kPatience = std::chrono::seconds(60);

/// Lets those who arrive go on when `count` of them are there.
class MeetingPoint {
public:
    explicit MeetingPoint(int count) : m_nMissing(count) {}

    /// False if the others did not come.
    bool Arrive() {
        std::unique_lock<std::mutex> lock(m_Mutex);
        --m_nMissing;
        m_Arrived.notify_all();
        return m_Arrived.wait_for(lock, kPatience, [this] { return m_nMissing <= 0; });
    }

private:
    std::mutex m_Mutex;
    std::condition_variable m_Arrived;
    int m_nMissing;
};

std::atomic<MeetingPoint*> g_DecodeMeets{nullptr};

/// Counts how many threads are inside at once.
class Crowd {
public:
    class Visit {
    public:
        explicit Visit(Crowd& crowd) : m_Crowd(crowd) {
            const int inside = ++m_Crowd.m_nInside;
            m_Crowd.m_nVisits += 1;
            if (inside > 1) {
                m_Crowd.m_bMet = true;
            }
            std::this_thread::yield();
        }
        ~Visit() { --m_Crowd.m_nInside; }
        Visit(const Visit&) = delete;
        Visit& operator=(const Visit&) = delete;

    private:
        Crowd& m_Crowd;
    };

    bool Met() const { return m_bMet; }
    int Visits() const { return m_nVisits; }

private:
    std::atomic<int> m_nInside{0};
    std::atomic<int> m_nVisits{0};
    std::atomic<bool> m_bMet{false};
};

bool LibraryLockIsFree() {
    bool taken = false;
    std::thread([&taken] {
        taken = GetMainFfmpegCodecLib()->TryLock();
        if (taken) {
            GetMainFfmpegCodecLib()->Unlock();
        }
    }).join();
    return taken;
}

class LibraryLock : public testing::Test {
protected:
    void SetUp() override { av_log_set_level(AV_LOG_QUIET); }

    FfmpegScript m_Ffmpeg;
    LogCapture m_Log;
};

TEST_F(LibraryLock, IsHeldWhileAnEncoderOpensAndCloses) {
    std::vector<bool> free;
    m_Ffmpeg.open = [&free](AVCodecContext* context, const AVCodec* codec, AVDictionary** options) {
        free.push_back(LibraryLockIsFree());
        return __real_avcodec_open2(context, codec, options);
    };
    m_Ffmpeg.close = [&free](AVCodecContext* context) {
        free.push_back(LibraryLockIsFree());
        return __real_avcodec_close(context);
    };
    EncoderUnderTest encoder(VIDEO_CODEC_MPEG4);
    ASSERT_EQ(encoder.Create(), 1);
    encoder.DestroyEncoder();
    EXPECT_THAT(free, testing::ElementsAre(false, false));
    EXPECT_TRUE(LibraryLockIsFree());
}

TEST_F(LibraryLock, IsTakenBehindTheFirstLineOfACreateCallAndBeforeAnyOther) {
    std::vector<std::string> withoutLock;
    std::vector<std::string> withLock;
    uvqlog::SetSink([&](const uvqlog::LogEvent& event) {
        (LibraryLockIsFree() ? withoutLock : withLock).emplace_back(event.text);
    });
    EncoderUnderTest encoder(VIDEO_CODEC_MPEG4);
    EXPECT_EQ(encoder.CreateEncoder(CSP_BGRA, 176, 144, 25, 800000, 0, 1, 50), 0);
    EXPECT_EQ(encoder.CreateEncoder(CSP_YUV420P, 176, 144, 25, 800000, 0, 2, 50), 0);
    EXPECT_EQ(encoder.Create(), 1);
    EXPECT_EQ(encoder.Create(), 0);
    uvqlog::SetSink(nullptr);
    EXPECT_THAT(withoutLock, testing::ElementsAreArray(std::vector<std::string>(
                                 4, "CVideoEncoder::CreateEncoder: mpeg4 width = 176 height = 144")));
    EXPECT_THAT(withLock,
                testing::ElementsAre("CVideoEncoder::CreateEncoder: Check input colorspace!",
                                     "CVideoEncoder::CreateEncoder: Encoder mode error!", "max key interval 50",
                                     "CVideoEncoder::CreateEncoder: Already created!"));
}

TEST_F(LibraryLock, IsGivenBackByEachFailure) {
    EncoderUnderTest encoder(VIDEO_CODEC_MPEG4);
    EXPECT_EQ(encoder.CreateEncoder(CSP_BGRA, 176, 144, 25, 800000, 0, 1, 50), 0);
    EXPECT_EQ(encoder.CreateEncoder(CSP_YUV420P, 176, 144, 25, 800000, 0, 2, 50), 0);
    EXPECT_EQ(encoder.Create(0, 0), 0);
    EXPECT_EQ(encoder.ChangeEncoderResolution(16, 16), 0);
    EXPECT_EQ(encoder.Create(), 1);
    EXPECT_EQ(encoder.Create(), 0);
    EXPECT_EQ(encoder.ChangeEncoderResolution(176, 144), 1);
    EXPECT_EQ(encoder.ChangeEncoderResolution(352, 288), 1);
    EXPECT_TRUE(LibraryLockIsFree());
}

TEST_F(LibraryLock, IsLeftToTheCallerByDestroyWithZero) {
    EncoderUnderTest encoder(VIDEO_CODEC_MPEG4);
    ASSERT_EQ(encoder.Create(), 1);
    bool free = false;
    m_Ffmpeg.close = [&free](AVCodecContext* context) {
        free = LibraryLockIsFree();
        return __real_avcodec_close(context);
    };
    encoder.Destroy(0);
    EXPECT_TRUE(free);
}

TEST_F(LibraryLock, MakesASecondThreadsCreateWaitUntilTheFirstHasOpened) {
    // The second encoder says in the log that it comes, then waits for the lock; no open of its own may happen before
    // the first one's has ended.
    MeetingPoint secondHasCome(2);
    std::atomic<int> opens{0};
    int opensSeenByFirst = 0;
    uvqlog::SetSink([&](const uvqlog::LogEvent& event) {
        if (event.text == "CVideoEncoder::CreateEncoder: flv width = 176 height = 144") {
            secondHasCome.Arrive();
        }
    });
    m_Ffmpeg.open = [&](AVCodecContext* context, const AVCodec* codec, AVDictionary** options) {
        if (++opens == 1) {
            EXPECT_TRUE(secondHasCome.Arrive());
            opensSeenByFirst = opens;
            EXPECT_FALSE(LibraryLockIsFree());
        }
        return __real_avcodec_open2(context, codec, options);
    };
    EncoderUnderTest first(VIDEO_CODEC_MPEG4);
    EncoderUnderTest second(VIDEO_CODEC_FLV);
    std::thread one([&] { EXPECT_EQ(first.Create(), 1); });
    while (opens == 0) {
        std::this_thread::yield();
    }
    std::thread two([&] { EXPECT_EQ(second.Create(), 1); });
    one.join();
    two.join();
    EXPECT_EQ(opensSeenByFirst, 1);
    EXPECT_EQ(opens, 2);
}

TEST_F(LibraryLock, SerialisesEncodersAndDecodersOfTwoThreads) {
    Crowd crowd;
    m_Ffmpeg.open = [&crowd](AVCodecContext* context, const AVCodec* codec, AVDictionary** options) {
        const Crowd::Visit visit(crowd);
        return __real_avcodec_open2(context, codec, options);
    };
    m_Ffmpeg.close = [&crowd](AVCodecContext* context) {
        const Crowd::Visit visit(crowd);
        return __real_avcodec_close(context);
    };
    constexpr int kRounds = 50;
    MeetingPoint start(2);
    const auto work = [&start] {
        start.Arrive();
        for (int round = 0; round < kRounds; ++round) {
            EncoderUnderTest encoder(VIDEO_CODEC_MPEG4);
            EXPECT_EQ(encoder.Create(), 1);
            CVideoDecoderBase* decoder = Codrelay_VideoDecoder(VIDEO_CODEC_MPEG4, "");
            EXPECT_EQ(decoder->CreateDecoder(CSP_YUV420P, 176, 144, nullptr), 1);
            EXPECT_EQ(encoder.ChangeEncoderResolution(352, 288), 1);
            decoder->DestroyDecoder();
            decoder->Delete();
            encoder.DestroyEncoder();
        }
    };
    std::thread one(work);
    std::thread two(work);
    one.join();
    two.join();
    EXPECT_FALSE(crowd.Met());
    EXPECT_EQ(crowd.Visits(), 2 * kRounds * 6);
}

TEST_F(LibraryLock, IsNotTakenByEncode) {
    EncoderUnderTest encoder(VIDEO_CODEC_MPEG4);
    ASSERT_EQ(encoder.Create(), 1);
    TestPicture picture(176, 144);
    std::vector<unsigned char> out(100000);
    int bytes = 0;
    const CMutexLocker held(GetMainFfmpegCodecLib(), true);
    std::thread([&] {
        int keyFrame = 1;
        bytes = encoder.Encode(&picture, out.data(), 100000, &keyFrame);
    }).join();
    EXPECT_GT(bytes, 0);
}

TEST_F(LibraryLock, LetsEncodeRunBesideDecode) {
    EncoderUnderTest encoder(VIDEO_CODEC_MPEG4);
    ASSERT_EQ(encoder.Create(), 1);
    TestPicture picture(176, 144);
    PaintScene(picture, 0);
    std::vector<unsigned char> packet(100000);
    std::vector<unsigned char> out(100000);
    int keyFrame = 1;
    const int length = encoder.Encode(&picture, packet.data(), 100000, &keyFrame);
    ASSERT_GT(length, 0);
    CVideoDecoderBase* decoder = Codrelay_VideoDecoder(VIDEO_CODEC_MPEG4, "");
    ASSERT_EQ(decoder->CreateDecoder(CSP_YUV420P, 176, 144, nullptr), 1);

    // Each is inside FFmpeg and goes on only when the other is, too.
    MeetingPoint bothInside(2);
    m_Ffmpeg.encode = [&](AVCodecContext* context, AVPacket* avPacket, const AVFrame* frame, int* gotPacket) {
        EXPECT_TRUE(bothInside.Arrive());
        return __real_avcodec_encode_video2(context, avPacket, frame, gotPacket);
    };
    g_DecodeMeets = &bothInside;
    std::thread encoding([&] {
        int key = 0;
        EXPECT_GT(encoder.Encode(&picture, out.data(), 100000, &key), 0);
    });
    std::thread decoding([&] {
        std::shared_ptr<CFrameBufferBase> frame;
        EXPECT_EQ(decoder->Decode(packet.data(), length, frame), 0);
        EXPECT_NE(frame, nullptr);
    });
    encoding.join();
    decoding.join();
    g_DecodeMeets = nullptr;
    decoder->DestroyDecoder();
    decoder->Delete();
}

}  // namespace

extern "C" {
int __real_avcodec_send_packet(AVCodecContext* context, const AVPacket* packet);

int __wrap_avcodec_send_packet(AVCodecContext* context, const AVPacket* packet) {
    MeetingPoint* meets = g_DecodeMeets;
    if (meets != nullptr) {
        EXPECT_TRUE(meets->Arrive());
    }
    return __real_avcodec_send_packet(context, packet);
}
}
