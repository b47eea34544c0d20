// Every FFmpeg call that can fail fails once, wherever a life makes it: the lines say so, and the object works again.

#include "steadiness/failing_ffmpeg.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <new>
#include <set>
#include <stdexcept>
#include <string>

#include "codrelay/factories.h"
#include "codrelay/media_ids.h"
#include "common/log_capture.h"
#include "steadiness/failing_memory.h"
#include "steadiness/life.h"
#include "support/ffmpeg.h"

using testing::ElementsAreArray;
using uvqlog::Severity;

namespace {

std::string ScratchFile() {
    return testing::TempDir() + "failing_ffmpeg_" + std::to_string(getpid());
}

/// Where a picture cannot be laid out, there is no telling how much memory it wants: transforms answer with the
/// exceptions of an allocation.
bool Lead(Life* life) {
    try {
        return life->Build() && life->Create() && life->Work().has_value();
    } catch (const std::bad_alloc&) {
        return false;
    } catch (const std::length_error&) {
        return false;
    }
}

std::optional<std::uint64_t> LeadAgain(Life* life) {
    const bool ready = (life->IsBuilt() || life->Build()) && life->Create();
    return ready ? life->Work() : std::nullopt;
}

void Destroy(Life* life) {
    if (life->IsBuilt()) {
        life->Destroy();
    }
}

void End(Life* life) {
    Destroy(life);
    if (life->IsBuilt()) {
        life->Delete();
    }
}

const LifeKind& KindOf(const std::string& name) {
    for (const LifeKind& kind : AllLifeKinds()) {
        if (kind.name == name) {
            return kind;
        }
    }
    throw std::logic_error("no lives of kind " + name);
}

/// A kind of lives and what comes out of one.
struct Subject {
    explicit Subject(const LifeKind& kind) : life(kind.begin(nullptr, ScratchFile())) {
        av_log_set_level(AV_LOG_QUIET);
        expected = LeadAgain(life.get());
        End(life.get());
    }

    std::unique_ptr<Life> life;
    std::optional<std::uint64_t> expected;
};

}  // namespace

class FailingFfmpegTest : public testing::TestWithParam<LifeKind> {};

/// Leads a life in which that call fails, and another one. False once there are not so many calls.
bool LeadWithFailure(Subject* subject, const std::string& call, long nth) {
    failing_ffmpeg::Arm(call, nth);
    Lead(subject->life.get());
    const bool failed = failing_ffmpeg::Disarm();
    if (subject->life->IsBuilt()) {
        subject->life->Work();  // what a host may do before it gives up
    }
    Destroy(subject->life.get());
    EXPECT_EQ(LeadAgain(subject->life.get()), subject->expected);
    End(subject->life.get());
    return failed;
}

#ifdef CODRELAY_COUNTS_BLOCKS
long LiveBlocks() {
    return failing_memory::LiveBlocks();
}
#else
// A sanitizer's own allocator does not tell.
long LiveBlocks() {
    return 0;
}
#endif

TEST_P(FailingFfmpegTest, WhateverFailsTheObjectWorksAgain) {
    Subject subject(GetParam());
    ASSERT_TRUE(subject.expected.has_value());
    uvqlog::SetSink([](const uvqlog::LogEvent&) {});
    for (const std::string& call : failing_ffmpeg::AllCalls()) {
        bool failed = true;
        for (long nth = 1; failed; ++nth) {
            long lost = 1;
            for (int i = 0; lost > 0 && i < 4; ++i) {  // what is made once for all is made only once
                const long before = LiveBlocks();
                failed = LeadWithFailure(&subject, call, nth);
                lost = GetParam().leavesFfmpegBehind ? 0 : LiveBlocks() - before;
            }
            EXPECT_LE(lost, 0);
            ASSERT_FALSE(HasFailure()) << "after call " << nth << " of " << call;
        }
    }
    uvqlog::SetSink({});
}

std::string NameOfKind(const testing::TestParamInfo<LifeKind>& kind) {
    return kind.param.name;
}

INSTANTIATE_TEST_SUITE_P(Lives, FailingFfmpegTest, testing::ValuesIn(AllLifeKinds()), NameOfKind);

/// What one failed call does to a life, from the factory to the end of the work.
struct FailedCall {
    const char* kind;
    const char* call;
    long nth;
    bool endsWell;
    std::vector<LoggedLine> lines;  // from Severity::Warning up
};

void PrintTo(const FailedCall& failed, std::ostream* out) {
    *out << failed.call << " in " << failed.kind;
}

class FailedCallTest : public testing::TestWithParam<FailedCall> {};

TEST_P(FailedCallTest, IsToldAndTheObjectWorksAgain) {
    const FailedCall& failed = GetParam();
    Subject subject(KindOf(failed.kind));
    LogCapture log(Severity::Warning);
    failing_ffmpeg::Arm(failed.call, failed.nth);
    EXPECT_EQ(Lead(subject.life.get()), failed.endsWell);
    EXPECT_TRUE(failing_ffmpeg::Disarm());
    EXPECT_THAT(log.Take(), ElementsAreArray(failed.lines));
    Destroy(subject.life.get());
    EXPECT_EQ(LeadAgain(subject.life.get()), subject.expected);
    End(subject.life.get());
}

const FailedCall kFailedCalls[] = {
    {"DecodeH264",
     "av_frame_alloc",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CVideoEncoder::CreateDecoder:Frame alloc error!")}},
    {"DecodeH264",
     "av_image_copy_to_buffer",
     1,
     false,
     {Ffmpeg(Severity::Critical, "failed to copy frame: Input/output error")}},
    {"DecodeH264",
     "avcodec_find_decoder_by_name",
     1,
     false,
     {Ffmpeg(Severity::Error, "FindCodec: Can't find codec 0. CodecId = 27, codecName = h264, Encoder = 0"),
      Ffmpeg(Severity::Critical, "CVideoDecoder::CreateDecoder: find decoder failed! CodecId = 27, CodecName = h264")}},
    {"DecodeH264",
     "avcodec_alloc_context3",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CVideoDecoder::CreateDecoder: alloc context error!")}},
    {"DecodeH264",
     "avcodec_open2",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CVideoDecoder::OpenEncoder: avcodec open error = -5")}},
    {"DecodeH264",
     "avcodec_send_packet",
     4,
     false,
     {Ffmpeg(Severity::Error,
             "CVideoDecoder::DecodeImpl: Error submitting the packet to the video decoder:  err: (-5) Input/output "
             "error")}},
    {"DecodeH264",
     "avcodec_receive_frame",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CVideoDecoder::Decode: video decode error: Input/output error")}},
    {"DecodeH264ToRgb",
     "av_image_fill_linesizes",
     1,
     false,
     {Ffmpeg(Severity::Error, "decoder uses transform"),
      Ffmpeg(Severity::Warning,
             "<DecoderCspTransform> CreateTransform: from: fmt: 0, w: 320, h: 240, to: fmt: 2, w: 320, h: 240"),
      Ffmpeg(Severity::Critical, "<DecoderCspTransform> CreateTransform: failed to fill linesizes"),
      Ffmpeg(Severity::Warning,
             "<DecoderCspTransform> CreateTransform: from: fmt: 0, w: 320, h: 240, to: fmt: 2, w: 320, h: 240")}},
    {"DecodeH264ToRgb",
     "av_image_fill_pointers",
     1,
     false,
     {Ffmpeg(Severity::Error, "decoder uses transform"),
      Ffmpeg(Severity::Warning,
             "<DecoderCspTransform> CreateTransform: from: fmt: 0, w: 320, h: 240, to: fmt: 2, w: 320, h: 240"),
      Ffmpeg(Severity::Critical, "<DecoderCspTransform> CreateTransform: failed to get the output size"),
      Ffmpeg(Severity::Warning,
             "<DecoderCspTransform> CreateTransform: from: fmt: 0, w: 320, h: 240, to: fmt: 2, w: 320, h: 240")}},
    {"DecodeH264ToRgb",
     "sws_getContext",
     1,
     false,
     {Ffmpeg(Severity::Error, "decoder uses transform"),
      Ffmpeg(Severity::Warning,
             "<DecoderCspTransform> CreateTransform: from: fmt: 0, w: 320, h: 240, to: fmt: 2, w: 320, h: 240"),
      Ffmpeg(Severity::Critical, "<DecoderCspTransform> CreateTransform: failed to get get new sws context"),
      Ffmpeg(Severity::Warning,
             "<DecoderCspTransform> CreateTransform: from: fmt: 0, w: 320, h: 240, to: fmt: 2, w: 320, h: 240")}},
    {"DecodeH264ToRgb",
     "sws_scale",
     1,
     false,
     {Ffmpeg(Severity::Error, "decoder uses transform"),
      Ffmpeg(Severity::Warning,
             "<DecoderCspTransform> CreateTransform: from: fmt: 0, w: 320, h: 240, to: fmt: 2, w: 320, h: 240"),
      Ffmpeg(Severity::Critical, "<DecoderCspTransform> Transform: sws_scale got error")}},
    {"EncodeH264", "av_dict_set", 1, true, {}},
    {"EncodeMpeg4AndChangeSize",
     "av_frame_alloc",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CVideoEncoder::CreateEncoder:Frame alloc error!")}},
    {"EncodeMpeg4AndChangeSize", "av_image_fill_arrays", 1, false, {}},
    {"EncodeMpeg4AndChangeSize",
     "avcodec_find_encoder_by_name",
     1,
     false,
     {Ffmpeg(Severity::Error, "FindCodec: Can't find codec 0. CodecId = 12, codecName = mpeg4, Encoder = 1"),
      Ffmpeg(Severity::Critical, "CVideoEncoder::OpenEncoder: find encoder failed! CodecId = 12, CodecName = mpeg4"),
      Ffmpeg(Severity::Critical, "CVideoEncoder::CreateEncoder: Open encoder error 12")}},
    {"EncodeMpeg4AndChangeSize",
     "avcodec_alloc_context3",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CVideoEncoder::OpenEncoder: alloc context error!"),
      Ffmpeg(Severity::Critical, "CVideoEncoder::CreateEncoder: Open encoder error 12")}},
    {"EncodeMpeg4AndChangeSize",
     "avcodec_open2",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CVideoEncoder::OpenEncoder: avcodec open error = -5"),
      Ffmpeg(Severity::Critical, "CVideoEncoder::CreateEncoder: Open encoder error 12")}},
    {"EncodeMpeg4AndChangeSize", "avcodec_encode_video2", 1, false, {}},
    {"CropAndConvert",
     "av_image_fill_linesizes",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CFfmpegVideoTransform::New: fill src line size failed")}},
    {"CropAndConvert", "av_image_fill_pointers", 1, false, {}},
    {"CropAndConvert", "sws_getContext", 1, false, {Ffmpeg(Severity::Critical, "CFfmpegVideoTransform::New: failed")}},
    {"CropAndConvert",
     "sws_scale",
     1,
     false,
     {Ffmpeg(Severity::Error, "CFfmpegVideoTransform::Transform:  sws_scale failed")}},
    {"Crop", "av_image_fill_linesizes", 1, false, {}},
    {"Crop", "av_image_fill_pointers", 1, false, {}},
    {"DecodeAac",
     "av_frame_alloc",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CAudioDecoder::Decode: Could not allocate audio frame")}},
    {"DecodeAac",
     "av_packet_alloc",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CAudioDecoder::CreateDecoder: could not allocate audio packet")}},
    {"DecodeAac",
     "av_malloc",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CAudioDecoder::CreateDecoder: alloc extra data error!")}},
    {"DecodeAac", "av_samples_get_buffer_size", 1, true, {}},
    {"DecodeAac",
     "av_get_packed_sample_fmt",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CAudioDecoder::CreateDecoder: get audio format error!")}},
    {"DecodeAac",
     "avcodec_find_decoder_by_name",
     1,
     false,
     {Ffmpeg(Severity::Error, "FindCodec: Can't find codec 0. CodecId = 86018, codecName = aac, Encoder = 0"),
      Ffmpeg(Severity::Critical, "CAudioDecoder::CreateDecoder: codec not found: aac (id: 86018)")}},
    {"DecodeAac",
     "avcodec_alloc_context3",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CAudioDecoder::CreateDecoder: could not allocate audio codec context")}},
    {"DecodeAac",
     "avcodec_open2",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CAudioDecoder::CreateDecoder: could not open codec: Input/output error")}},
    {"DecodeAac",
     "avcodec_send_packet",
     1,
     false,
     {Ffmpeg(Severity::Error,
             "CAudioDecoder::DecodePacket: Error submitting the packet to the decoder: Input/output error")}},
    {"DecodeAac",
     "avcodec_receive_frame",
     1,
     false,
     {Ffmpeg(Severity::Error, "CAudioDecoder::DecodePacket: Error during decoding: Input/output error")}},
    {"DecodeAac",
     "swr_alloc_set_opts",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CAudioResampler::Create: resampler alloc error!")}},
    {"DecodeAac",
     "swr_init",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CAudioResampler::Create: resampler init error: -5")}},
    {"DecodeAac",
     "swr_convert",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CAudioDecoder::DecodePacket: failed to resample planar data: Input/output error")}},
    {"DecodeOpus", "opus_decoder_get_size", 1, false, {}},
    {"DecodeOpus", "opus_decoder_init", 1, false, {}},
    {"DecodeOpus", "opus_decode", 1, false, {}},
    {"EncodeAac",
     "av_frame_alloc",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CAudioEncoder::OpenEncoder: alloc frame error!"),
      Ffmpeg(Severity::Critical, "CAudioEncoder::CreateEncoder: Open encoder error!")}},
    {"EncodeAac",
     "avcodec_find_encoder_by_name",
     1,
     false,
     {Ffmpeg(Severity::Error, "FindCodec: Can't find codec 0. CodecId = 86018, codecName = aac, Encoder = 1"),
      Ffmpeg(Severity::Critical, "CAudioEncoder::OpenEncoder: find codec 86018, aacerror!"),
      Ffmpeg(Severity::Critical, "CAudioEncoder::CreateEncoder: Open encoder error!")}},
    {"EncodeAac",
     "avcodec_alloc_context3",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CAudioEncoder::OpenEncoder: alloc context error!"),
      Ffmpeg(Severity::Critical, "CAudioEncoder::CreateEncoder: Open encoder error!")}},
    {"EncodeAac",
     "avcodec_open2",
     1,
     false,
     {Ffmpeg(Severity::Critical,
             "CAudioEncoder::OpenEncoder: avcodec open error. sampleRate = 44100, channels = 2, sampleFormat = 8"),
      Ffmpeg(Severity::Critical, "CAudioEncoder::CreateEncoder: Open encoder error!")}},
    {"EncodeAac",
     "avcodec_encode_audio2",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CAudioEncoder::Encode: encoding failed: -5")}},
    {"EncodeAac",
     "avcodec_fill_audio_frame",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CAudioEncoder::Encode: fill frame failed!")}},
    {"Resample",
     "swr_alloc_set_opts",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CAudioResampler::Create: resampler alloc error!")}},
    {"Resample",
     "swr_init",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CAudioResampler::Create: resampler init error: -5")}},
    {"Resample", "swr_convert", 1, false, {Ffmpeg(Severity::Error, "CAudioResampler::Resample: error!")}},
    {"DemuxMp4",
     "avformat_open_input",
     1,
     false,
     {Ffmpeg(Severity::Error, "FfmepgFileDemuxer avformat_open_input error")}},
    {"DemuxMp4",
     "avformat_find_stream_info",
     1,
     false,
     {Ffmpeg(Severity::Error, "FfmepgFileDemuxer avformat_find_stream_info error")}},
    {"DemuxMp4", "av_read_frame", 1, false, {}},
    {"DemuxMp4",
     "av_bitstream_filter_init",
     1,
     false,
     {Ffmpeg(Severity::Error, "FfmepgFileDemuxer cretate filter error")}},
    {"DemuxMp4",
     "av_bitstream_filter_filter",
     1,
     false,
     {Ffmpeg(Severity::Error, "FfmepgFileDemuxer filter filter error")}},
    {"DemuxAsfFromMemory",
     "av_malloc",
     1,
     true,
     {Ffmpeg(Severity::Critical, "FfmpegDemuxer::Open: avio_alloc_context() FAILED!"),
      Ffmpeg(Severity::Critical, "DemuxerThreadProc: FAILED to open demuxer stream!"),
      Ffmpeg(Severity::Critical, "DemuxerThreadProc: FAILED to read next frame!")}},
    {"DemuxAsfFromMemory",
     "av_iformat_next",
     1,
     true,
     {Ffmpeg(Severity::Error, "FfmpegDemuxer::Create: FindInFormat(ASF format) FAILED!"),
      Ffmpeg(Severity::Critical, "DemuxerThreadProc: FAILED to create ffmpeg demuxer!"),
      Ffmpeg(Severity::Critical, "DemuxerThreadProc: FAILED to read next frame!")}},
    {"DemuxAsfFromMemory",
     "avformat_alloc_context",
     1,
     true,
     {Ffmpeg(Severity::Critical, "FfmpegDemuxer::Open: avformat_alloc_context() FAILED!"),
      Ffmpeg(Severity::Critical, "DemuxerThreadProc: FAILED to open demuxer stream!"),
      Ffmpeg(Severity::Critical, "DemuxerThreadProc: FAILED to read next frame!")}},
    {"DemuxAsfFromMemory",
     "avformat_open_input",
     1,
     true,
     {Ffmpeg(Severity::Critical, "FfmpegDemuxer::Open: avformat_open_input() FAILED!"),
      Ffmpeg(Severity::Critical, "DemuxerThreadProc: FAILED to open demuxer stream!"),
      Ffmpeg(Severity::Critical, "DemuxerThreadProc: FAILED to read next frame!")}},
    {"DemuxAsfFromMemory",
     "av_read_frame",
     1,
     false,
     {Ffmpeg(Severity::Critical, "FfmpegDemuxer::Open: avformat_open_input() FAILED!"),
      Ffmpeg(Severity::Critical, "DemuxerThreadProc: FAILED to open demuxer stream!"),
      Ffmpeg(Severity::Critical, "DemuxerThreadProc: FAILED to read next frame!")}},
    {"DemuxAsfFromMemory",
     "avio_alloc_context",
     1,
     true,
     {Ffmpeg(Severity::Critical, "FfmpegDemuxer::Open: avio_alloc_context() FAILED!"),
      Ffmpeg(Severity::Critical, "DemuxerThreadProc: FAILED to open demuxer stream!"),
      Ffmpeg(Severity::Critical, "DemuxerThreadProc: FAILED to read next frame!")}},
    {"MuxMp4",
     "av_oformat_next",
     1,
     false,
     {Ffmpeg(Severity::Error, "CMuxerFile::Create: FindOutFormat(MP4 (MPEG-4 Part 14)) failed!"),
      Ffmpeg(Severity::Critical, "NewFFmpegMuxerFile: Create 2 failed!")}},
    {"MuxMp4",
     "avformat_alloc_output_context2",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CMuxerFile::Create: avformat_alloc_output_context2 failed!"),
      Ffmpeg(Severity::Critical, "NewFFmpegMuxerFile: Create 2 failed!")}},
    {"MuxMp4",
     "avformat_new_stream",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CMuxerFile::AddVideoStream: Could not alloc stream"),
      Ffmpeg(Severity::Error, "CMuxerFile::Create: AddVideoStream failed"),
      Ffmpeg(Severity::Critical, "NewFFmpegMuxerFile: Create 2 failed!")}},
    {"MuxMp4", "avformat_write_header", 1, false, {Ffmpeg(Severity::Error, "CMuxerFile::WriteHeader: failed")}},
    {"MuxMp4",
     "av_interleaved_write_frame",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CMuxerFile::WriteFrame: write_frame error: pts = 1, prevPts = 0")}},
    {"MuxMp4", "av_write_trailer", 1, false, {Ffmpeg(Severity::Error, "CMuxerFile::WriteTrailer: failed")}},
    {"MuxMp4",
     "avio_open",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CMuxerFile::WriteHeader: open " + ScratchFile() + " failed. Error = -5")}},
    {"MuxMp4", "avio_size", 1, false, {}},
    {"MuxMpegTsIntoMemory",
     "av_oformat_next",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CMuxerMem::Create: FindOutFormat(MPEG-2 transport stream format) failed!"),
      Ffmpeg(Severity::Critical, "Create Muxer 7 failed!")}},
    {"MuxMpegTsIntoMemory",
     "avformat_alloc_output_context2",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CMuxerMem::Create: avformat_alloc_output_context2 failed!"),
      Ffmpeg(Severity::Critical, "Create Muxer 7 failed!")}},
    {"MuxMpegTsIntoMemory",
     "avformat_new_stream",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CMuxerMem::AddVideoStream: Could not alloc stream"),
      Ffmpeg(Severity::Critical, "CMuxerMem::Create: av_new_stream"),
      Ffmpeg(Severity::Critical, "Create Muxer 7 failed!")}},
    {"MuxMpegTsIntoMemory",
     "avformat_write_header",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CMuxerMem::WriteHeader: failed")}},
    {"MuxMpegTsIntoMemory",
     "av_interleaved_write_frame",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CMuxerMem::WriteFrame: write_frame error: pts = 1, prevPts = 0")}},
    {"MuxMpegTsIntoMemory",
     "av_write_trailer",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CMuxerMem::WriteTrailer: failed")}},
    {"MuxMpegTsIntoMemory",
     "avio_open_dyn_buf",
     1,
     false,
     {Ffmpeg(Severity::Critical, "CMuxerMem::BeginWriteBuf: failed!")}},
};

std::string NameOfCall(const testing::TestParamInfo<FailedCall>& failed) {
    return std::string(failed.param.kind) + "_" + failed.param.call;
}

INSTANTIATE_TEST_SUITE_P(Calls, FailedCallTest, testing::ValuesIn(kFailedCalls), NameOfCall);

TEST(FailingFfmpeg, LengthOfAPictureThatHasNoneIsTheMarginBesideTheError) {
    CVideoEncoderBase* const encoder = Codrelay_VideoEncoder(VIDEO_CODEC_MPEG4, std::string());
    failing_ffmpeg::Arm("avpicture_get_size", 1);
    EXPECT_EQ(encoder->GetMaxOutFrameLength(176, 144), AVERROR(EIO) + 64);
    EXPECT_TRUE(failing_ffmpeg::Disarm());
    EXPECT_EQ(encoder->GetMaxOutFrameLength(176, 144), 176 * 144 * 3 / 2 + 64);
    encoder->Delete();
}
