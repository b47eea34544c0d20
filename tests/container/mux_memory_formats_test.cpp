// Every pair of codecs that goes into memory: the pieces in a row are read back by a peer, and are what the plain calls
// write; and the containers that refuse.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "common/log_capture.h"
#include "container/mux_combination.h"
#include "container/mux_peer_checks.h"
#include "container/plain_muxer.h"

namespace {

using testing::ElementsAre;
using uvqlog::Severity;

// A memory muxer and the pieces that it gave, in a row.
class Pieces {
public:
    explicit Pieces(CMuxerMemBase* muxer) : m_pMuxer(muxer) {}

    template <typename Write>
    int Around(Write write) {
        EXPECT_EQ(m_pMuxer->BeginWriteBuf(), 1);
        const int result = write();
        unsigned char* buffer = nullptr;
        const int count = m_pMuxer->GetWriteBuf(buffer);
        EXPECT_EQ(buffer == nullptr, count == 0);
        m_Bytes.insert(m_Bytes.end(), buffer, buffer + count);
        m_nLast = count;
        m_pMuxer->FreeWriteBuf(buffer);
        return result;
    }
    int LastCount() const { return m_nLast; }
    const std::vector<unsigned char>& Bytes() const { return m_Bytes; }
    void Save(const std::string& path) const {
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(m_Bytes.data()), static_cast<std::streamsize>(m_Bytes.size()));
    }

private:
    CMuxerMemBase* m_pMuxer;
    std::vector<unsigned char> m_Bytes;
    int m_nLast = 0;
};

// One call of a host.
struct Written {
    bool isSound;
    Block block;
    long long pts;
};

std::vector<Written> AllByTime(Material& material) {
    std::vector<Written> all;
    Interleave(
        material,
        [&](const Block& block, long long pts) {
            all.push_back({false, block, pts});
        },
        [&](const unsigned char* bytes, int size, long long pts) {
            all.push_back({true, {{bytes, bytes + size}, true}, pts});
        });
    return all;
}

// One picture and up to twenty blocks of sound: libavformat holds the sound back until the trailer.
std::vector<Written> OnePicture(const Material& material) {
    std::vector<Written> all{{false, material.pictures[0], 0}};
    for (std::size_t i = 0; i < std::min<std::size_t>(20, material.blocks.size()); ++i) {
        all.push_back({true, material.blocks[i], material.BlockTime(i)});
    }
    return all;
}

// And the other way round.
std::vector<Written> OneBlockOfSound(const Material& material) {
    std::vector<Written> all{{true, material.blocks[0], 0}};
    for (std::size_t i = 0; i < 20; ++i) {
        all.push_back({false, material.pictures[i], static_cast<long long>(i) * 40});
    }
    return all;
}

MUXER_PARAM MemoryParamFor(const Combination& combination, const Material& material) {
    MUXER_PARAM param = ParamFor(combination);
    if (param.audioCodec == AUDIO_CODEC_MP3) {
        // The memory muxer divides the sample rate by the bit rate: with this one a frame stays whole.
        param.audioBitRate = 144 * param.sampleRate / static_cast<int>(material.blocks.at(0).bytes.size());
    }
    return param;
}

Pieces ToMemory(const Combination& combination, const Material& material, std::vector<Written> all) {
    MUXER_PARAM param = MemoryParamFor(combination, material);
    CMuxerMemBase* muxer = Codrelay_MuxerMem(kFormats.at(combination.format), &param);
    Pieces pieces(muxer);
    EXPECT_EQ(pieces.Around([&] { return muxer->WriteHeader(); }), 1);
    for (Written& next : all) {
        unsigned char* bytes = next.block.bytes.data();
        const auto size = static_cast<int>(next.block.bytes.size());
        EXPECT_EQ(pieces.Around([&] {
            return next.isSound ? muxer->WriteSound(bytes, size, next.pts)
                                : muxer->WriteFrame(bytes, size, next.block.key ? 1 : 0, next.pts);
        }),
                  1);
    }
    EXPECT_EQ(pieces.Around([&] { return muxer->WriteTrailer(); }), 1);
    muxer->Delete();
    return pieces;
}

std::vector<unsigned char> ByPlainCalls(const Combination& combination, const Material& material,
                                        const std::vector<Written>& all) {
    const std::map<std::string, const char*> names = {{"flv", "flv"}, {"avi", "avi"}, {"ts", "mpegts"}};
    const auto idOf = [](const char* name) { return avcodec_descriptor_get_by_name(name)->id; };
    MUXER_PARAM param = MemoryParamFor(combination, material);
    param.videoCodec = idOf(kVideos.at(combination.video).peerName);
    param.audioCodec = idOf(kSounds.at(combination.sound).peerName);
    PlainMuxer muxer(names.at(combination.format), param);
    for (const Written& next : all) {
        if (next.isSound) {
            muxer.Sound(next.block.bytes, next.pts);
        } else {
            muxer.Picture(next.block.bytes, next.block.key, next.pts);
        }
    }
    return muxer.Finish();
}

class MemoryMuxerAccepts : public testing::TestWithParam<Combination> {};

TEST_P(MemoryMuxerAccepts, AndPeersReadThePiecesInARow) {
    const Combination& combination = GetParam();
    Material material(combination);
    const Output output(combination);
    Codrelay_SetFfmpegLogLevel("error");
    ToMemory(combination, material, AllByTime(material)).Save(output.Path());
    ExpectReadableByPeers(output.Path(), combination, material);
}

std::vector<Combination> InMemory() {
    return Joined(
        {Combine("flv", {"h264", "flv1"}, {"mp3", "s16le", "mulaw", "alaw", "adts"}),
         Combine("avi", {"h264", "mpeg4", "h263", "flv1", "mjpeg"}, {"adts", "mp3", "s16le", "mulaw", "alaw"}),
         Combine("avi", {"h264"}, {"amrnb", "amrwb"}), Combine("ts", {"h264", "h265", "mpeg4"}, {"adts", "mp3"}),
         Combine("flv", {"h264"}, {"adts48"}), Combine("avi", {"h264"}, {"adts48"}),
         Combine("ts", {"h264"}, {"adts48"})});
}

INSTANTIATE_TEST_SUITE_P(, MemoryMuxerAccepts, testing::ValuesIn(InMemory()), NameOf);

class MemoryMuxerPieces : public testing::TestWithParam<Combination> {};

TEST_P(MemoryMuxerPieces, InARowAreWhatThePlainCallsWrite) {
    const Combination& combination = GetParam();
    Material material(combination);
    Codrelay_SetFfmpegLogLevel("quiet");
    for (const auto& all : {AllByTime(material), OnePicture(material), OneBlockOfSound(material)}) {
        EXPECT_TRUE(ToMemory(combination, material, all).Bytes() == ByPlainCalls(combination, material, all));
    }
}

INSTANTIATE_TEST_SUITE_P(, MemoryMuxerPieces,
                         testing::ValuesIn(Joined({InMemory(), Combine("flv", {"h264"}, {"aac", "aac48"}),
                                                   Combine("avi", {"h264"}, {"aac", "g726"}),
                                                   Combine("ts", {"h264"}, {"aac"})})),
                         NameOf);

class MemoryMuxerHoldsBack : public testing::TestWithParam<Combination> {};

// The header of AAC comes with its first packet, and FLV goes back to complete it.
TEST_P(MemoryMuxerHoldsBack, AllSoundUntilTheTrailerAndPeersReadIt) {
    const Combination& combination = GetParam();
    const Material material(combination);
    const Output output(combination);
    Codrelay_SetFfmpegLogLevel("error");
    ToMemory(combination, material, OnePicture(material)).Save(output.Path());
    const std::vector<PeerStream> streams = PeerStreams(output.Path());
    ASSERT_EQ(streams.size(), 2u);
    EXPECT_EQ(streams[0].pts.size(), 1u);
    EXPECT_EQ(streams[1].pts.size(), 20u);
    EXPECT_EQ(streams[1].sampleRate, kSounds.at(combination.sound).sampleRate);
    EXPECT_EQ(streams[1].channels, kSounds.at(combination.sound).channels);
    EXPECT_EQ(PeerDecodeErrors(output.Path()), "");
}

INSTANTIATE_TEST_SUITE_P(, MemoryMuxerHoldsBack,
                         testing::ValuesIn(Joined({Combine("flv", {"h264"}, {"adts", "adts48", "mp3"}),
                                                   Combine("avi", {"h264"}, {"adts48"}),
                                                   Combine("ts", {"h264"}, {"adts48"})})),
                         NameOf);

struct Header {
    int format;
    int bytes;
};

void PrintTo(const Header& header, std::ostream* out) {
    *out << "format " << header.format << " of " << header.bytes << " bytes";
}

class MemoryMuxerHeader : public testing::TestWithParam<Header> {};

TEST_P(MemoryMuxerHeader, HasThisSizeForH264Alone) {
    MUXER_PARAM param = ParamFor({"", "h264", "mp3"});
    param.audioCodec = -1;  // no sound
    Codrelay_SetFfmpegLogLevel("error");
    CMuxerMemBase* muxer = Codrelay_MuxerMem(GetParam().format, &param);
    ASSERT_NE(muxer, nullptr);
    Pieces pieces(muxer);
    EXPECT_EQ(pieces.Around([&] { return muxer->WriteHeader(); }), 1);
    EXPECT_EQ(pieces.LastCount(), GetParam().bytes);
    muxer->Delete();
}

// A transport stream's header comes with the first picture.
INSTANTIATE_TEST_SUITE_P(, MemoryMuxerHeader,
                         testing::Values(Header{MUXER_FORMAT_FLV, 212}, Header{MUXER_FORMAT_AVI, 1282},
                                         Header{MUXER_FORMAT_MPEGTS, 0}));

class MemoryMuxerRefuses : public testing::TestWithParam<Combination> {};

TEST_P(MemoryMuxerRefuses, AContainerThatWantsToSeek) {
    const Combination& combination = GetParam();
    MUXER_PARAM param = ParamFor(combination);
    Codrelay_SetFfmpegLogLevel("quiet");
    CMuxerMemBase* muxer = Codrelay_MuxerMem(kFormats.at(combination.format), &param);
    ASSERT_NE(muxer, nullptr);
    ASSERT_EQ(muxer->BeginWriteBuf(), 1);
    LogCapture log;
    EXPECT_EQ(muxer->WriteHeader(), 0);
    EXPECT_THAT(log.Take(), ElementsAre(Ffmpeg(Severity::Critical, "CMuxerMem::WriteHeader: failed")));
    unsigned char* buffer = nullptr;
    muxer->GetWriteBuf(buffer);
    muxer->FreeWriteBuf(buffer);
    muxer->Delete();
}

INSTANTIATE_TEST_SUITE_P(
    , MemoryMuxerRefuses,
    testing::ValuesIn(Joined({Combine("mp4", {"h264", "mpeg4"}, {"aac", "mp3"}),
                              Combine("webm", {"h264", "h265", "mpeg4", "mjpeg", "flv1", "h263"}, {"aac"}),
                              Combine("3gp", {"h264", "h263"}, {"aac"}), Combine("3g2", {"h264", "h263"}, {"aac"})})),
    NameOf);

}  // namespace