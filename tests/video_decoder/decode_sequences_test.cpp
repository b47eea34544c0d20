#include <gmock/gmock.h>

#include "common/log_capture.h"
#include "common/peer.h"
#include "common/test_media.h"
#include "video_decoder/test_decoder.h"

// H.265 with reordering, in three sequences of 10, 2 and 10 pictures. Two pictures are held back, also where a sequence
// ends: FFmpeg 7 gives them together there, and a host still gets one a call.

namespace {

constexpr std::size_t kDelay = 2;
constexpr std::size_t kSecondSequence = 10;

class DecodeSequences : public testing::Test {
protected:
    DecodeSequences()
        : m_Peer(PeerPictures(Clip("h265_resized_reordered.265"))),
          m_Units(AccessUnits(Clip("h265_resized_reordered.265"))),
          m_Decoder(kH265) {}

    void SetUp() override {
        m_Decoder->AllowResolutionChange();
        ASSERT_EQ(m_Decoder.Create(320, 240), 1);
    }

    /// Decodes the first `count` packets and asserts what each gives.
    void DecodeFirst(std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            Frame frame;
            ASSERT_EQ(m_Decoder.Decode(m_Units[i], frame), i < kDelay ? 3 : 0) << "call " << i;
            if (i >= kDelay) {
                ASSERT_EQ(HashOf(*frame), m_Peer[i - kDelay].md5) << "call " << i;
            }
        }
    }

    const LogCapture m_Log;
    std::vector<PeerPicture> m_Peer;
    std::vector<AccessUnit> m_Units;
    TestDecoder m_Decoder;
};

TEST_F(DecodeSequences, EachCallGivesTheNextPicture) {
    DecodeFirst(m_Units.size());
}

// Of another size than the created one here, where the object remembers the size of before.
TEST_F(DecodeSequences, PicturesThatWaitAreGoneWithTheDecoder) {
    for (const std::size_t count : {kSecondSequence + 1, kSecondSequence + 2, m_Units.size()}) {
        DecodeFirst(count);
        m_Decoder->DestroyDecoder();
        ASSERT_EQ(m_Decoder.Create(320, 240), 1);
    }
}

TEST_F(DecodeSequences, TheEndOfTheStreamBringsAllThatWait) {
    for (const std::size_t count : {kSecondSequence, kSecondSequence + 1, kSecondSequence + 2, m_Units.size()}) {
        DecodeFirst(count);
        Frame frame;
        EXPECT_EQ(m_Decoder->Decode(nullptr, 1, frame), 0) << count << " packets";
        ASSERT_NE(frame, nullptr);
        EXPECT_EQ(HashOf(*frame), m_Peer[count - 1].md5) << count << " packets";
        EXPECT_EQ(m_Decoder->Decode(nullptr, 1, frame), 3);
        EXPECT_EQ(m_Decoder.Decode(m_Units[0], frame), 3);
        m_Decoder->DestroyDecoder();
        ASSERT_EQ(m_Decoder.Create(320, 240), 1);
    }
}

// A packet every 40 ms, and a picture every 76 ms at most: every second call drops the picture that it would give.
TEST_F(DecodeSequences, ARateLimitDropsThePictureOfItsCall) {
    for (std::size_t i = 0; i < m_Units.size(); ++i) {
        Frame frame;
        const bool passes = i >= kDelay && i % 2 == 0;
        const auto time = static_cast<long long>(40 * i);
        ASSERT_EQ(m_Decoder.Decode(m_Units[i], frame, time, 12), passes ? 0 : 3) << "call " << i;
        if (passes) {
            ASSERT_EQ(HashOf(*frame), m_Peer[i - kDelay].md5) << "call " << i;
            ASSERT_EQ(frame->m_nTimestamp, time);
        }
    }
}

}  // namespace
