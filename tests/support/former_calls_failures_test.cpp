// Former calls where their successors fail.
#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "support/encoder_at_work.h"

namespace {

const char* g_Failing = "";

bool Fails(const char* call) {
    return std::strcmp(g_Failing, call) == 0;
}

/// Lets one of the calls fail while it lives.
class Failing {
public:
    explicit Failing(const char* call) { g_Failing = call; }
    ~Failing() { g_Failing = ""; }
    Failing(const Failing&) = delete;
    Failing& operator=(const Failing&) = delete;
};

}  // namespace

extern "C" {

void* __real_av_malloc(std::size_t size);
void* __wrap_av_malloc(std::size_t size) {
    return Fails("av_malloc") ? nullptr : __real_av_malloc(size);
}

AVPacket* __real_av_packet_alloc();
AVPacket* __wrap_av_packet_alloc() {
    return Fails("av_packet_alloc") ? nullptr : __real_av_packet_alloc();
}

int __real_av_bsf_alloc(const AVBitStreamFilter* filter, AVBSFContext** context);
int __wrap_av_bsf_alloc(const AVBitStreamFilter* filter, AVBSFContext** context) {
    return Fails("av_bsf_alloc") ? AVERROR(ENOMEM) : __real_av_bsf_alloc(filter, context);
}

int __real_avcodec_parameters_copy(AVCodecParameters* to, const AVCodecParameters* from);
int __wrap_avcodec_parameters_copy(AVCodecParameters* to, const AVCodecParameters* from) {
    return Fails("avcodec_parameters_copy") ? AVERROR(ENOMEM) : __real_avcodec_parameters_copy(to, from);
}

void* __real__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag);
void* __wrap__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) {
    return Fails("new") ? nullptr : __real__ZnwmRKSt9nothrow_t(size, tag);
}

}  // extern "C"

namespace {

TEST(FormerEncodeFailures, WithoutMemoryForAPacketNothingIsEncoded) {
    EncoderAtWork encoder("flv");
    std::vector<uint8_t> memory(1 << 20);
    PacketOf of(memory.data(), static_cast<int>(memory.size()));
    int gotPacket = 1;
    {
        const Failing failing("av_packet_alloc");
        EXPECT_EQ(encoder.Encode(&of.packet, &gotPacket), AVERROR(ENOMEM));
    }
    EXPECT_EQ(gotPacket, 0);
    EXPECT_EQ(of.packet.data, nullptr);
    EXPECT_EQ(of.packet.size, 0);
    PacketOf next(memory.data(), static_cast<int>(memory.size()));
    EXPECT_EQ(encoder.Encode(&next.packet, &gotPacket), 0);
    EXPECT_EQ(gotPacket, 1);
    EXPECT_NE(next.packet.flags & AV_PKT_FLAG_KEY, 0) << "the first picture of all";
}

class FormerFilterFailures : public testing::Test {
protected:
    FormerFilterFailures() {
        av_log_set_level(AV_LOG_QUIET);
        m_pParameters->codec_type = AVMEDIA_TYPE_VIDEO;
        m_pParameters->codec_id = AV_CODEC_ID_H264;
        m_pParameters->extradata = static_cast<uint8_t*>(av_mallocz(kHeader.size() + AV_INPUT_BUFFER_PADDING_SIZE));
        std::memcpy(m_pParameters->extradata, kHeader.data(), kHeader.size());
        m_pParameters->extradata_size = static_cast<int>(kHeader.size());
    }
    ~FormerFilterFailures() override {
        av_bitstream_filter_close(m_pFilter);
        avcodec_parameters_free(&m_pParameters);
    }

    /// One call with a unit of two bytes behind its length; what came out.
    int Filter() {
        uint8_t* out = nullptr;
        int outSize = 0;
        const int result = av_bitstream_filter_filter(m_pFilter, m_pParameters, nullptr, &out, &outSize, kPacket.data(),
                                                      static_cast<int>(kPacket.size()), 0);
        EXPECT_EQ(out != nullptr, result > 0);
        m_Out.assign(out, out + outSize);
        av_free(out);
        return result;
    }

    int FilterWithout(const char* call) {
        const Failing failing(call);
        return Filter();
    }

    /// A header with lengths of four bytes, a sequence and a picture set of two bytes each.
    const std::vector<uint8_t> kHeader{1, 66, 0, 30, 0xFF, 0xE1, 0, 2, 0x67, 1, 1, 0, 2, 0x68, 1};
    const std::vector<uint8_t> kPacket{0, 0, 0, 2, 0x41, 9};
    const std::vector<uint8_t> kFiltered{0, 0, 0, 1, 0x41, 9};

    AVBitStreamFilterContext* m_pFilter = av_bitstream_filter_init("h264_mp4toannexb");
    AVCodecParameters* m_pParameters = avcodec_parameters_alloc();
    std::vector<uint8_t> m_Out;
};

TEST_F(FormerFilterFailures, WithoutMemoryThereIsNone) {
    const Failing failing("new");
    EXPECT_EQ(av_bitstream_filter_init("h264_mp4toannexb"), nullptr);
}

TEST_F(FormerFilterFailures, AFilterThatWasNotMadeIsMadeWithTheNextPacket) {
    EXPECT_EQ(FilterWithout("av_bsf_alloc"), AVERROR(ENOMEM));
    EXPECT_EQ(Filter(), 1);
    EXPECT_EQ(m_Out, kFiltered);
}

TEST_F(FormerFilterFailures, AFilterThatWasNotToldTheStreamLetsPacketsThrough) {
    EXPECT_EQ(FilterWithout("avcodec_parameters_copy"), AVERROR(ENOMEM));
    EXPECT_EQ(Filter(), 1);
    EXPECT_EQ(m_Out, kPacket);
}

TEST_F(FormerFilterFailures, WithoutMemoryForAPacketOneFails) {
    EXPECT_EQ(FilterWithout("av_packet_alloc"), AVERROR(ENOMEM));
    EXPECT_EQ(Filter(), 1);
    EXPECT_EQ(m_Out, kFiltered);
}

TEST_F(FormerFilterFailures, WithoutMemoryForTheBytesOnePacketIsLost) {
    EXPECT_EQ(FilterWithout("av_malloc"), AVERROR(ENOMEM));
    EXPECT_EQ(Filter(), 1);
    EXPECT_EQ(m_Out, kFiltered);
}

}  // namespace
