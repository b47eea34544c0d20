// Calls that FFmpeg 4 has of its own, and that are made of their successors where a later generation has dropped them:
// all answer alike.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "common/codecs_at_hand.h"
#include "common/test_media.h"
#include "support/encoder_at_work.h"

namespace {

using testing::ElementsAreArray;

constexpr int kPlenty = 1 << 20;
constexpr uint8_t kUntouched = 0xA5;
const char* const kH264Encoder = IsH264ByX264() ? "libx264" : "libopenh264";

template <typename Record>
std::vector<const Record*> Iterated(const Record* (*iterate)(void**)) {
    std::vector<const Record*> records;
    void* position = nullptr;
    while (const Record* record = iterate(&position)) {
        records.push_back(record);
    }
    return records;
}

TEST(FormerLists, GoFromNullThroughAllInTheirOrder) {
    av_log_set_level(AV_LOG_QUIET);
    avcodec_register_all();
    avfilter_register_all();
    av_register_all();
    std::vector<const AVCodec*> codecs;
    for (const AVCodec* codec = av_codec_next(nullptr); codec != nullptr; codec = av_codec_next(codec)) {
        codecs.push_back(codec);
    }
    std::vector<const AVOutputFormat*> muxers;
    for (const AVOutputFormat* format = av_oformat_next(nullptr); format != nullptr; format = av_oformat_next(format)) {
        muxers.push_back(format);
    }
    std::vector<const AVInputFormat*> demuxers;
    for (const AVInputFormat* format = av_iformat_next(nullptr); format != nullptr; format = av_iformat_next(format)) {
        demuxers.push_back(format);
    }
    EXPECT_GT(codecs.size(), 100U);
    EXPECT_THAT(codecs, ElementsAreArray(Iterated(av_codec_iterate)));
    EXPECT_GT(muxers.size(), 100U);
    EXPECT_THAT(muxers, ElementsAreArray(Iterated(av_muxer_iterate)));
    EXPECT_GT(demuxers.size(), 100U);
    EXPECT_THAT(demuxers, ElementsAreArray(Iterated(av_demuxer_iterate)));
}

struct Delivered {
    int result;
    int gotPacket;
    std::vector<uint8_t> bytes;
    int64_t pts;
    int64_t dts;
    int64_t duration;
    int flags;
};

class FormerEncode : public testing::TestWithParam<const char*> {
protected:
    FormerEncode() { av_log_set_level(AV_LOG_QUIET); }
    void SetUp() override {
        if (avcodec_find_encoder_by_name(GetParam()) == nullptr) {
            GTEST_SKIP() << "this FFmpeg has no encoder " << GetParam();
        }
        ASSERT_TRUE(m_Encoder.IsOpen());
    }

    /// One call with room for `room` bytes.
    Delivered EncodeInto(EncoderAtWork& encoder, int room, int samples = 0) {
        m_Memory.assign(kPlenty, kUntouched);
        PacketOf of(m_Memory.data(), room);
        int gotPacket = 4711;
        const int result = encoder.Encode(&of.packet, &gotPacket, samples);
        return Taken(of.packet, result, gotPacket);
    }

    /// Calls until a packet comes.
    Delivered FirstPacket(EncoderAtWork& encoder) {
        Delivered delivered{};
        for (int calls = 0; calls < 10 && delivered.gotPacket == 0; ++calls) {
            delivered = EncodeInto(encoder, kPlenty);
        }
        return delivered;
    }

    /// As many calls as are needed before the one that gives the first packet.
    void EncodeUpToTheFirstPacket(EncoderAtWork& encoder) {
        EncoderAtWork other(GetParam());
        while (EncodeInto(other, kPlenty).gotPacket == 0) {
            EncodeInto(encoder, kPlenty);
        }
    }

    bool IsUntouchedFrom(std::size_t offset) const {
        return std::all_of(m_Memory.begin() + static_cast<long>(offset), m_Memory.end(),
                           [](uint8_t byte) { return byte == kUntouched; });
    }

    std::string Name() const { return GetParam(); }
    /// These know the size of a packet before they write it.
    bool KnowsSize() const { return Name() == kH264Encoder || Name() == "pcm_s16le"; }

    std::vector<uint8_t> m_Memory;
    EncoderAtWork m_Encoder{GetParam()};

private:
    Delivered Taken(const AVPacket& packet, int result, int gotPacket) const {
        if (result == 0 && gotPacket != 0) {
            EXPECT_EQ(packet.data, m_Memory.data());
            EXPECT_EQ(packet.buf, nullptr);
        } else {
            EXPECT_EQ(packet.data, nullptr);
            EXPECT_EQ(packet.size, 0);
        }
        return {result,          gotPacket,   {packet.data, packet.data + packet.size}, packet.pts, packet.dts,
                packet.duration, packet.flags};
    }
};

INSTANTIATE_TEST_SUITE_P(All, FormerEncode,
                         testing::Values("flv", "mpeg4", "h263", "mjpeg", kH264Encoder, "pcm_s16le", "libmp3lame",
                                         "aac"),
                         [](const auto& instance) { return instance.param; });

TEST_P(FormerEncode, GivesThePacketInTheCallersMemoryAndTouchesNoMore) {
    const Delivered first = FirstPacket(m_Encoder);
    EXPECT_EQ(first.result, 0);
    EXPECT_EQ(first.gotPacket, 1);
    ASSERT_GT(first.bytes.size(), 0U);
    // What encoders with a bound of their own write behind a packet is theirs; room for it was given.
    EXPECT_TRUE(IsUntouchedFrom(kPlenty / 2));
}

TEST_P(FormerEncode, ThePacketMayFillTheMemoryExactly) {
    EncoderAtWork other(GetParam());
    const Delivered first = FirstPacket(other);
    EncodeUpToTheFirstPacket(m_Encoder);
    const Delivered exact = EncodeInto(m_Encoder, static_cast<int>(first.bytes.size()));
    EXPECT_EQ(exact.result, 0);
    EXPECT_EQ(exact.gotPacket, 1);
    EXPECT_EQ(exact.bytes, first.bytes);
    EXPECT_TRUE(IsUntouchedFrom(first.bytes.size()));
}

TEST_P(FormerEncode, MemoryThatIsAByteTooSmallIsRefusedUntouchedAndThePacketIsLost) {
    EncoderAtWork other(GetParam());
    const Delivered first = FirstPacket(other);
    EncodeUpToTheFirstPacket(m_Encoder);
    const Delivered refused = EncodeInto(m_Encoder, static_cast<int>(first.bytes.size()) - 1);
    EXPECT_EQ(refused.result, KnowsSize() ? AVERROR(EINVAL) : -1);
    EXPECT_EQ(refused.gotPacket, KnowsSize() ? 0 : 1);
    EXPECT_TRUE(IsUntouchedFrom(0));
    const Delivered second = EncodeInto(other, kPlenty);
    const Delivered next = EncodeInto(m_Encoder, kPlenty);
    EXPECT_EQ(next.result, 0);
    EXPECT_EQ(next.gotPacket, second.gotPacket);
    if (Name() != "aac") {
        EXPECT_EQ(next.bytes, second.bytes) << "the encoder goes on behind the lost packet";
    }
}

TEST_P(FormerEncode, MemoryOfANegativeSizeIsRefused) {
    EncodeUpToTheFirstPacket(m_Encoder);
    const Delivered refused = EncodeInto(m_Encoder, -1);
    EXPECT_EQ(refused.result, AVERROR(EINVAL));
    EXPECT_EQ(refused.gotPacket, 0);
    PacketOf without(nullptr, -1);
    int gotPacket = 1;
    EXPECT_EQ(m_Encoder.Encode(&without.packet, &gotPacket), AVERROR(EINVAL));
    EXPECT_EQ(gotPacket, 0);
    EXPECT_TRUE(IsUntouchedFrom(0));
}

TEST_P(FormerEncode, WithoutMemoryThePacketComesInItsOwn) {
    EncoderAtWork other(GetParam());
    const Delivered first = FirstPacket(other);
    EncodeUpToTheFirstPacket(m_Encoder);
    PacketOf of(nullptr, 0);
    int gotPacket = 0;
    EXPECT_EQ(m_Encoder.Encode(&of.packet, &gotPacket), 0);
    EXPECT_EQ(gotPacket, 1);
    ASSERT_NE(of.packet.buf, nullptr);
    EXPECT_EQ(std::vector<uint8_t>(of.packet.data, of.packet.data + of.packet.size), first.bytes);
    EXPECT_EQ(of.packet.pts, first.pts);
}

TEST_P(FormerEncode, TellsTimesAndKeyOfThePacket) {
    const Delivered first = FirstPacket(m_Encoder);
    EXPECT_NE(first.flags & AV_PKT_FLAG_KEY, 0);
    EXPECT_EQ(first.dts, first.pts);
    if (m_Encoder.IsVideo()) {
        EXPECT_EQ(first.pts, 7);
    } else {
        EXPECT_EQ(first.duration, m_Encoder.SamplesAtOnce());
    }
    if (Name() == "pcm_s16le") {
        EXPECT_EQ(first.pts, 7);
    }
    const Delivered second = EncodeInto(m_Encoder, kPlenty);
    const bool isAlwaysKey = !m_Encoder.IsVideo() || Name() == "mjpeg";
    EXPECT_EQ((second.flags & AV_PKT_FLAG_KEY) != 0, isAlwaysKey);
    EXPECT_GT(second.pts, first.pts);
}

TEST_P(FormerEncode, AsLongAsNothingIsOutThereIsNoPacket) {
    const Delivered first = EncodeInto(m_Encoder, kPlenty);
    EXPECT_EQ(first.result, 0);
    EXPECT_EQ(first.gotPacket, Name() == "aac" || Name() == "libmp3lame" ? 0 : 1);
}

TEST_P(FormerEncode, LetsOutWhatItHoldsAndThenNothing) {
    int packets = 0;
    for (int calls = 0; calls < 5; ++calls) {
        packets += EncodeInto(m_Encoder, kPlenty).gotPacket;
    }
    const int held = Name() == "aac" ? 1 : Name() == "libmp3lame" ? 2 : 0;
    EXPECT_EQ(packets, 5 - held);
    int gotPacket = 1;
    for (int calls = 0; calls < 10 && gotPacket != 0; ++calls) {
        PacketOf of(m_Memory.data(), kPlenty);
        EXPECT_EQ(m_Encoder.Flush(&of.packet, &gotPacket), 0);
        packets += gotPacket;
    }
    EXPECT_EQ(gotPacket, 0);
    EXPECT_EQ(packets, held != 0 ? 6 : 5);
}

class FormerEncodeOfSound : public FormerEncode {};
INSTANTIATE_TEST_SUITE_P(All, FormerEncodeOfSound, testing::Values("libmp3lame", "aac"),
                         [](const auto& instance) { return instance.param; });

TEST_P(FormerEncodeOfSound, MoreSamplesThanAFrameHasAreRefused) {
    m_Memory.resize(kPlenty);
    PacketOf of(m_Memory.data(), kPlenty);
    int gotPacket = 1;
    EXPECT_EQ(m_Encoder.Encode(&of.packet, &gotPacket, m_Encoder.SamplesAtOnce() + 1), AVERROR(EINVAL));
    EXPECT_EQ(gotPacket, 0);
    EXPECT_EQ(EncodeInto(m_Encoder, kPlenty).result, 0);
}

TEST(FormerEncodeOfAac, TheFirstPacketThatIsDeliveredNamesTheEncoder) {
    av_log_set_level(AV_LOG_QUIET);
    EncoderAtWork encoder("aac");
    std::vector<uint8_t> memory(kPlenty);
    std::vector<std::string> packets;
    for (const int room : {kPlenty, 10, kPlenty, kPlenty}) {
        PacketOf of(memory.data(), room);
        int gotPacket = 0;
        const int result = encoder.Encode(&of.packet, &gotPacket);
        EXPECT_EQ(result, room == kPlenty ? 0 : -1);
        packets.emplace_back(memory.begin(), memory.begin() + of.packet.size);
    }
    EXPECT_NE(packets[2].find("Lavc"), std::string::npos) << "the one before was too large";
    EXPECT_EQ(packets[3].find("Lavc"), std::string::npos);
}

/// The older calls of bitstream filters.
class FormerFilter : public testing::Test {
protected:
    explicit FormerFilter(const char* name = "h264_mp4toannexb") : m_pFilter(av_bitstream_filter_init(name)) {
        av_log_set_level(AV_LOG_QUIET);
        m_pContext = avformat_alloc_context();
        m_pStream = avformat_new_stream(m_pContext, nullptr);
        ParametersOf(m_pStream)->codec_type = AVMEDIA_TYPE_VIDEO;
        ParametersOf(m_pStream)->codec_id = AV_CODEC_ID_H264;
    }
    ~FormerFilter() override {
        av_bitstream_filter_close(m_pFilter);
        avformat_free_context(m_pContext);
    }

    void SetHeader(const std::vector<uint8_t>& header) {
        StreamParameters* parameters = ParametersOf(m_pStream);
        av_freep(&parameters->extradata);
        parameters->extradata = static_cast<uint8_t*>(av_mallocz(header.size() + AV_INPUT_BUFFER_PADDING_SIZE));
        std::copy(header.begin(), header.end(), parameters->extradata);
        parameters->extradata_size = static_cast<int>(header.size());
    }

    /// One call. What came out of it is in m_Out.
    int Filter(const std::vector<uint8_t>& in) {
        uint8_t* out = nullptr;
        int outSize = 0;
        const int result = av_bitstream_filter_filter(m_pFilter, ParametersOf(m_pStream), nullptr, &out, &outSize,
                                                      in.empty() ? nullptr : in.data(), static_cast<int>(in.size()), 0);
        EXPECT_EQ(out != nullptr, result > 0);
        m_Out.clear();
        if (out != nullptr) {
            m_Out.assign(out, out + outSize);
            // Readers of bits read beyond the end.
            std::fill_n(out + outSize, AV_INPUT_BUFFER_PADDING_SIZE, uint8_t{0});
            av_free(out);
        }
        return result;
    }

    AVBitStreamFilterContext* m_pFilter;
    AVFormatContext* m_pContext = nullptr;
    AVStream* m_pStream = nullptr;
    std::vector<uint8_t> m_Out;
};

struct Film {
    std::vector<uint8_t> header;
    std::vector<std::vector<uint8_t>> packets;
};

/// The pictures of an MP4 file, with lengths of four bytes before each unit.
Film ReadFilm(const std::string& path) {
    Film film;
    AVFormatContext* context = nullptr;
    if (avformat_open_input(&context, path.c_str(), nullptr, nullptr) < 0) {
        return film;
    }
    const AVCodecParameters* parameters = context->streams[0]->codecpar;
    film.header.assign(parameters->extradata, parameters->extradata + parameters->extradata_size);
    AVPacket* packet = av_packet_alloc();
    while (av_read_frame(context, packet) >= 0) {
        if (packet->stream_index == 0) {
            film.packets.emplace_back(packet->data, packet->data + packet->size);
        }
        av_packet_unref(packet);
    }
    av_packet_free(&packet);
    avformat_close_input(&context);
    return film;
}

/// The same film with lengths of two bytes.
Film WithShortLengths(const Film& film) {
    Film result{film.header, {}};
    result.header[4] = 0xFD;
    for (const std::vector<uint8_t>& packet : film.packets) {
        std::vector<uint8_t> shorter;
        for (std::size_t at = 0; at + 4 <= packet.size();) {
            const std::size_t size = std::size_t{packet[at + 2]} << 8 | packet[at + 3];
            EXPECT_EQ(packet[at] + packet[at + 1], 0) << "too long a unit for two bytes";
            shorter.insert(shorter.end(), packet.begin() + static_cast<long>(at) + 2,
                           packet.begin() + static_cast<long>(at + 4 + size));
            at += 4 + size;
        }
        result.packets.push_back(shorter);
    }
    return result;
}

TEST_F(FormerFilter, PutsStartCodesInThePlaceOfLengthsOfFourBytesOrTwo) {
    const Film film = ReadFilm(Clip("demux_film.mp4"));
    ASSERT_GT(film.packets.size(), 10U);
    ASSERT_EQ(film.header[4], 0xFF);
    SetHeader(film.header);
    std::vector<std::vector<uint8_t>> filtered;
    for (const std::vector<uint8_t>& packet : film.packets) {
        EXPECT_EQ(Filter(packet), 1);
        filtered.push_back(m_Out);
    }
    const std::vector<uint8_t> header{0, 0, 0, 1, 0x67};
    EXPECT_TRUE(std::search(filtered[0].begin(), filtered[0].end(), header.begin(), header.end()) != filtered[0].end());
    EXPECT_EQ(filtered[1][0] + filtered[1][1] + filtered[1][2], filtered[1][2] == 1 ? 1 : 0);

    av_bitstream_filter_close(m_pFilter);
    m_pFilter = av_bitstream_filter_init("h264_mp4toannexb");
    const Film shorter = WithShortLengths(film);
    SetHeader(shorter.header);
    for (std::size_t i = 0; i < film.packets.size(); ++i) {
        EXPECT_EQ(Filter(shorter.packets[i]), 1);
        EXPECT_EQ(m_Out, filtered[i]);
    }
}

TEST_F(FormerFilter, ABrokenHeaderFailsOnceAndThenLetsPacketsThrough) {
    SetHeader({1, 2, 3, 4, 5});
    EXPECT_EQ(Filter({0, 0, 0, 1, 0x41}), AVERROR_INVALIDDATA);
    EXPECT_EQ(Filter({0, 0, 0, 1, 0x41}), 1);
    EXPECT_EQ(m_Out, (std::vector<uint8_t>{0, 0, 0, 1, 0x41}));
}

TEST_F(FormerFilter, AnotherCodecFailsOnceToo) {
    ParametersOf(m_pStream)->codec_id = AV_CODEC_ID_HEVC;
    EXPECT_EQ(Filter({0, 0, 0, 1, 0x41}), AVERROR(EINVAL));
    EXPECT_EQ(Filter({0, 0, 0, 1, 0x41}), 1);
}

TEST_F(FormerFilter, ABrokenPacketFailsAloneAndNothingComesOut) {
    const Film film = ReadFilm(Clip("demux_film.mp4"));
    SetHeader(film.header);
    EXPECT_EQ(Filter(film.packets[0]), 1);
    std::vector<uint8_t> broken = film.packets[1];
    broken[0] = 0x7F;
    EXPECT_LT(Filter(broken), 0);
    EXPECT_EQ(Filter(film.packets[1]), 1);
}

TEST_F(FormerFilter, AnEmptyPacketIsTheEnd) {
    SetHeader(ReadFilm(Clip("demux_film.mp4")).header);
    EXPECT_EQ(Filter({}), 0);
    EXPECT_EQ(Filter({0, 0, 0, 1, 0x41}), AVERROR(EINVAL));
}

TEST_F(FormerFilter, AnUnknownNameGivesNoneAndNoneMayBeClosed) {
    EXPECT_EQ(av_bitstream_filter_init("h264_annexbtomp4"), nullptr);
    av_bitstream_filter_close(nullptr);
}

class FormerSplitter : public FormerFilter {
protected:
    FormerSplitter() : FormerFilter("vp9_superframe_split") { ParametersOf(m_pStream)->codec_id = AV_CODEC_ID_VP9; }
};

TEST_F(FormerSplitter, OfSeveralPacketsTheFirstComesOutAndTheOthersAreDropped) {
    // Frames of 4, 5 and 3 bytes with an index behind them, which begins and ends with its mark.
    const std::vector<uint8_t> frames{0x84, 1, 2, 3, 0x84, 4, 5, 6, 7, 0x84, 8, 9, 0xC2, 4, 5, 3, 0xC2};
    for (int call = 0; call < 3; ++call) {
        EXPECT_EQ(Filter(frames), 1);
        EXPECT_EQ(m_Out, (std::vector<uint8_t>{0x84, 1, 2, 3}));
    }
}

TEST(FormerPictures, TheirSizeHasNoGaps) {
    EXPECT_EQ(avpicture_get_size(AV_PIX_FMT_YUV420P, 175, 143), 175 * 143 + 2 * 88 * 72);
    EXPECT_EQ(avpicture_get_size(AV_PIX_FMT_BGR24, 175, 143), 175 * 143 * 3);
    EXPECT_LT(avpicture_get_size(AV_PIX_FMT_YUV420P, 0, 143), 0);
}

TEST(FormerPackets, AreEmptiedByFreeing) {
    AVPacket packet;
    av_init_packet(&packet);
    ASSERT_EQ(av_new_packet(&packet, 100), 0);
    av_free_packet(&packet);
    EXPECT_EQ(packet.data, nullptr);
    EXPECT_EQ(packet.size, 0);
    EXPECT_EQ(packet.buf, nullptr);
}

}  // namespace
