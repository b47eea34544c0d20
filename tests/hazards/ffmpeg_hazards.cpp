// What plain FFmpeg calls do where the library does more than make them: docs/safety.md tells of each. Every hazard is
// tried in a process of its own, on the FFmpeg that the build was made with, and a line says whether it is there. No
// test runs this: it is for whoever moves the library to another FFmpeg.
//
//   ffmpeg_hazards FOLDER      the folder of the clips

#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "support/ffmpeg.h"

namespace {

constexpr unsigned int kTimeLimitSeconds = 20;

std::string g_Folder;
long g_AllocationsUntilFailure = -1;

}  // namespace

// Stands before the C library's, so that FFmpeg's allocations can be made to fail.
extern "C" int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
    if (g_AllocationsUntilFailure >= 0 && g_AllocationsUntilFailure-- == 0) {
        return ENOMEM;
    }
    *memory = aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
    return *memory != nullptr ? 0 : ENOMEM;
}

namespace {

// A block whose last byte stands before a page that nobody may touch.
class GuardedBlock {
public:
    explicit GuardedBlock(int size) {
        const auto page = static_cast<std::size_t>(getpagesize());
        const std::size_t room = (static_cast<std::size_t>(size) + page - 1) / page * page;
        auto* pages = static_cast<uint8_t*>(
            mmap(nullptr, room + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        mprotect(pages + room, page, PROT_NONE);
        m_pData = pages + room - size;
    }
    uint8_t* Data() const { return m_pData; }

private:
    uint8_t* m_pData;
};

// Tight pictures with guards, scaled or converted as the library asks for it.
void ScaleTight(AVPixelFormat from, int width, int height, AVPixelFormat to, int toWidth, int toHeight, bool guardTo) {
    SwsContext* scaler =
        sws_getContext(width, height, from, toWidth, toHeight, to, SWS_LANCZOS, nullptr, nullptr, nullptr);
    constexpr int kSlack = 1 << 16;
    const int fromSize = av_image_get_buffer_size(from, width, height, 1);
    const int toSize = av_image_get_buffer_size(to, toWidth, toHeight, 1);
    const GuardedBlock fromBlock(guardTo ? fromSize + kSlack : fromSize);
    const GuardedBlock toBlock(guardTo ? toSize : toSize + kSlack);
    uint8_t* fromPlanes[4] = {};
    uint8_t* toPlanes[4] = {};
    int fromLines[4] = {};
    int toLines[4] = {};
    av_image_fill_arrays(fromPlanes, fromLines, fromBlock.Data(), from, width, height, 1);
    av_image_fill_arrays(toPlanes, toLines, toBlock.Data(), to, toWidth, toHeight, 1);
    sws_scale(scaler, fromPlanes, fromLines, 0, height, toPlanes, toLines);
    sws_freeContext(scaler);
}

constexpr AVPixelFormat kFormats[] = {AV_PIX_FMT_YUV420P, AV_PIX_FMT_NV12,  AV_PIX_FMT_YUYV422,
                                      AV_PIX_FMT_RGB24,   AV_PIX_FMT_BGR24, AV_PIX_FMT_BGRA};

// All conversions but one, which is a hazard by itself.
void ScaleAll(bool guardTo) {
    for (const AVPixelFormat from : kFormats) {
        for (const AVPixelFormat to : kFormats) {
            for (int width = 8; width <= 72; ++width) {
                if (from == AV_PIX_FMT_NV12 && to == AV_PIX_FMT_YUV420P) {
                    continue;
                }
                ScaleTight(from, width, 16, to, width, 16, guardTo);
                ScaleTight(from, width, 16, to, width + 21, 18, guardTo);
            }
        }
    }
}

bool ScalerWritesPastTheEnd() {
    ScaleAll(true);
    return false;
}

bool ScalerReadsPastTheEnd() {
    ScaleAll(false);
    return false;
}

bool Nv12IsStoredAligned() {
    for (int width = 8; width <= 72; ++width) {
        ScaleTight(AV_PIX_FMT_NV12, width, 16, AV_PIX_FMT_YUV420P, width, 16, true);
    }
    return false;
}

bool ScalerEndsTheProcessWithoutAFormat() {
    SwsContext* scaler =
        sws_getContext(16, 16, AV_PIX_FMT_NONE, 16, 16, AV_PIX_FMT_YUV420P, SWS_LANCZOS, nullptr, nullptr, nullptr);
    sws_freeContext(scaler);
    return false;
}

bool OddYuyvRowIsTooLong() {
    int lines[4] = {};
    av_image_fill_linesizes(lines, AV_PIX_FMT_YUYV422, 33);
    return lines[0] != 2 * 33;
}

bool LargePicturesAreNotLaidOut() {
    int lines[4] = {1 << 17, 0, 0, 0};
    uint8_t* planes[4] = {};
    return av_image_fill_pointers(planes, AV_PIX_FMT_BGRA, 1 << 14, nullptr, lines) < 0;
}

struct Encoder {
    AVCodecContext* context;
    AVFrame* frame;
};

Encoder OpenAac(int64_t bitRate, int channels, int sampleRate) {
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
    AVCodecContext* context = avcodec_alloc_context3(codec);
    context->bit_rate = bitRate;
    context->sample_rate = sampleRate;
    context->sample_fmt = AV_SAMPLE_FMT_FLTP;
    context->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
    SetLayout(context, channels, channels == 1 ? AV_CH_LAYOUT_MONO : AV_CH_LAYOUT_STEREO);
    if (OpenSoundEncoder(context, codec) < 0) {
        avcodec_free_context(&context);
        return {nullptr, nullptr};
    }
    AVFrame* frame = av_frame_alloc();
    frame->nb_samples = context->frame_size;
    DescribeSound(frame, context);
    return {context, frame};
}

// The result for `count` frames of these samples, the last one's if all were taken.
int EncodeSamples(const Encoder& encoder, std::vector<float>& samples, int count) {
    int result = 0;
    for (int i = 0; i < count && result >= 0; ++i) {
        avcodec_fill_audio_frame(encoder.frame, 1, AV_SAMPLE_FMT_FLTP, reinterpret_cast<uint8_t*>(samples.data()),
                                 static_cast<int>(samples.size() * sizeof(float)), 1);
        AVPacket packet{};
        int got = 0;
        result = avcodec_encode_audio2(encoder.context, &packet, encoder.frame, &got);
        av_packet_unref(&packet);
    }
    return result;
}

bool AacCrashesWithoutBandwidth() {
    const Encoder encoder = OpenAac(1, 1, 8000);
    if (encoder.context == nullptr) {
        return false;
    }
    std::vector<float> samples(1024, 0.5F);
    EncodeSamples(encoder, samples, 4);
    return false;
}

bool AacLooksForEver() {
    for (const float large : {16384.F, 65536.F, 1048576.F, 1e7F, 1e8F, 1e9F}) {
        unsigned int random = 1;
        const Encoder encoder = OpenAac(24000, 1, 7350);
        std::vector<float> samples(1024);
        for (int frame = 0; frame < 30; ++frame) {
            for (float& sample : samples) {
                random = random * 1664525U + 1013904223U;
                sample = (random >> 31) != 0 ? large : -large;
            }
            EncodeSamples(encoder, samples, 1);
        }
    }
    return false;
}

bool AacRefusesGoodFramesAfterInfiniteOnes() {
    const Encoder encoder = OpenAac(64000, 1, 44100);
    std::vector<float> silence(1024, 0.F);
    std::vector<float> infinite(1024, std::numeric_limits<float>::infinity());
    EncodeSamples(encoder, silence, 2);
    const bool infiniteTaken = EncodeSamples(encoder, infinite, 1) >= 0;
    return infiniteTaken && EncodeSamples(encoder, silence, 1) < 0;
}

bool RateControlDividesByZero() {
    for (const AVCodecID id : {AV_CODEC_ID_MPEG4, AV_CODEC_ID_FLV1, AV_CODEC_ID_H263}) {
        for (const int rate : {1, 2, 3}) {
            const AVCodec* codec = avcodec_find_encoder(id);
            AVCodecContext* context = avcodec_alloc_context3(codec);
            context->width = 176;
            context->height = 144;
            context->pix_fmt = AV_PIX_FMT_YUV420P;
            context->time_base = AVRational{1, 25};
            context->bit_rate = rate;
            context->bit_rate_tolerance = 0;
            context->rc_max_rate = rate;
            context->rc_buffer_size = 4 * rate;
            const int opened = avcodec_open2(context, codec, nullptr);
            AVFrame* frame = av_frame_alloc();
            frame->width = 176;
            frame->height = 144;
            frame->format = AV_PIX_FMT_YUV420P;
            av_frame_get_buffer(frame, 0);
            for (int i = 0; opened >= 0 && i < 10; ++i) {
                frame->pts = i;
                AVPacket packet{};
                int got = 0;
                avcodec_encode_video2(context, &packet, frame, &got);
                av_packet_unref(&packet);
            }
        }
    }
    return false;
}

AVFormatContext* NewMuxer(const char* name) {
    AVFormatContext* context = nullptr;
    avformat_alloc_output_context2(&context, nullptr, name, nullptr);
    AVStream* stream = avformat_new_stream(context, nullptr);
    stream->time_base = AVRational{1, 25};
    StreamParameters* parameters = ParametersOf(stream);
    parameters->codec_type = AVMEDIA_TYPE_VIDEO;
    parameters->codec_id = AV_CODEC_ID_H264;
    parameters->width = 320;
    parameters->height = 240;
    avio_open_dyn_buf(&context->pb);
    return context;
}

void WriteSlice(AVFormatContext* context, int64_t pts) {
    static uint8_t slice[64 + AV_INPUT_BUFFER_PADDING_SIZE] = {0, 0, 0, 1, 0x65, 0x88};
    AVPacket packet{};
    packet.data = slice;
    packet.size = 64;
    packet.pts = pts;
    packet.dts = pts;
    packet.flags = AV_PKT_FLAG_KEY;
    av_interleaved_write_frame(context, &packet);
}

bool MuxerCrashesWithoutHeader() {
    for (const char* name : {"flv", "mp4", "3gp", "avi", "mpegts"}) {
        AVFormatContext* context = NewMuxer(name);
        WriteSlice(context, 0);
        WriteSlice(context, 1);
    }
    return false;
}

bool MuxerCrashesAfterTrailer() {
    for (const char* name : {"flv", "mp4", "3gp", "avi", "mpegts"}) {
        AVFormatContext* context = NewMuxer(name);
        if (avformat_write_header(context, nullptr) >= 0) {
            WriteSlice(context, 0);
            av_write_trailer(context);
            WriteSlice(context, 1);
            WriteSlice(context, 2);
            av_write_trailer(context);
        }
    }
    return false;
}

AVFormatContext* OpenClip(const char* name) {
    AVFormatContext* context = nullptr;
    const std::string path = g_Folder + "/" + name;
    if (avformat_open_input(&context, path.c_str(), nullptr, nullptr) < 0) {
        std::printf("%s cannot be opened; ", path.c_str());
        _exit(2);
    }
    return context;
}

// The sum of all pictures' bytes, with the size of each picture written into the context as other decoders want it.
uint64_t DecodeResized(bool writeSize) {
    AVFormatContext* input = OpenClip("h265_resized_reordered.265");
    const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_HEVC);
    AVCodecContext* context = avcodec_alloc_context3(codec);
    avcodec_open2(context, codec, nullptr);
    AVPacket* packet = av_packet_alloc();
    AVFrame* frame = av_frame_alloc();
    uint64_t sum = 0;
    while (av_read_frame(input, packet) >= 0) {
        avcodec_send_packet(context, packet);
        av_packet_unref(packet);
        while (avcodec_receive_frame(context, frame) >= 0) {
            if (writeSize) {
                context->width = frame->width;
                context->height = frame->height;
            }
            for (int y = 0; y < frame->height; ++y) {
                for (int x = 0; x < frame->width; ++x) {
                    sum = sum * 31 + frame->data[0][y * frame->linesize[0] + x];
                }
            }
        }
    }
    return sum;
}

bool WrittenSizeSpoilsH265() {
    return DecodeResized(true) != DecodeResized(false);
}

void DecodeBeginning(const char* clip) {
    AVFormatContext* input = nullptr;
    const std::string path = g_Folder + "/" + clip;
    if (avformat_open_input(&input, path.c_str(), nullptr, nullptr) < 0) {
        return;
    }
    const AVCodec* codec = avcodec_find_decoder(input->streams[0]->codecpar->codec_id);
    AVCodecContext* context = avcodec_alloc_context3(codec);
    AVFrame* frame = av_frame_alloc();
    AVPacket* packet = av_packet_alloc();
    if (context != nullptr && frame != nullptr && packet != nullptr && avcodec_open2(context, codec, nullptr) >= 0) {
        for (int i = 0; i < 6 && av_read_frame(input, packet) >= 0; ++i) {
            avcodec_send_packet(context, packet);
            while (avcodec_receive_frame(context, frame) >= 0) {
            }
            av_packet_unref(packet);
        }
    }
    av_packet_free(&packet);
    av_frame_free(&frame);
    avcodec_free_context(&context);
    avformat_close_input(&input);
}

/// How a process of its own ends that does this: 0 well, and the hazard is not there.
template <typename Action>
int StatusOf(Action action) {
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        const rlimit noCore{0, 0};
        setrlimit(RLIMIT_CORE, &noCore);
        alarm(kTimeLimitSeconds);
        _exit(action() ? 1 : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

std::string Verdict(int status) {
    if (WIFSIGNALED(status)) {
        const int signal = WTERMSIG(status);
        return signal == SIGALRM ? "THERE: does not return"
                                 : "THERE: ends the process by signal " + std::to_string(signal);
    }
    return WEXITSTATUS(status) == 0 ? "gone" : WEXITSTATUS(status) == 1 ? "THERE" : "not tried";
}

void TryAllocations(const char* clip) {
    constexpr long kMost = 4000;
    int crashes = 0;
    long tried = 0;
    for (long n = 0; n < kMost; ++n, ++tried) {
        const int status = StatusOf([n, clip] {
            g_AllocationsUntilFailure = n;
            DecodeBeginning(clip);
            return g_AllocationsUntilFailure >= 0;  // nothing was refused any more
        });
        if (WIFSIGNALED(status)) {
            ++crashes;
        } else if (WEXITSTATUS(status) == 1) {
            break;
        }
    }
    std::printf("%-66s %d of %ld end the process\n",
                (std::string("an allocation fails while decoding ") + clip).c_str(), crashes, tried);
}

struct Hazard {
    const char* name;
    bool (*isThere)();
};

constexpr Hazard kHazards[] = {
    {"the scaler writes past the end of a tight picture", ScalerWritesPastTheEnd},
    {"the scaler reads past the end of a tight picture", ScalerReadsPastTheEnd},
    {"NV12 into tight 4:2:0: stores to aligned addresses, or past the end", Nv12IsStoredAligned},
    {"a scaler without a pixel format ends the process", ScalerEndsTheProcessWithoutAFormat},
    {"a row of YUYV422 of odd width counts a column more", OddYuyvRowIsTooLong},
    {"a picture of 2^31 bytes is not laid out", LargePicturesAreNotLaidOut},
    {"AAC encoder: crash where the bit rate leaves no bandwidth", AacCrashesWithoutBandwidth},
    {"AAC encoder: large samples are looked at for ever", AacLooksForEver},
    {"AAC encoder: after infinite samples good frames are refused", AacRefusesGoodFramesAfterInfiniteOnes},
    {"MPEG-4, FLV1, H.263 encoders: bit rates 1 to 3 divide by 0", RateControlDividesByZero},
    {"muxers: a packet without a header", MuxerCrashesWithoutHeader},
    {"muxers: a packet after the trailer", MuxerCrashesAfterTrailer},
    {"H.265 decoder: a size written into its context spoils pictures", WrittenSizeSpoilsH265},
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: ffmpeg_hazards FOLDER-OF-CLIPS\n");
        return 2;
    }
    g_Folder = argv[1];
    avcodec_register_all();
    av_register_all();
    av_log_set_level(AV_LOG_QUIET);
    std::printf("libavcodec %u.%u.%u\n", AV_VERSION_MAJOR(avcodec_version()), AV_VERSION_MINOR(avcodec_version()),
                AV_VERSION_MICRO(avcodec_version()));
    for (const Hazard& hazard : kHazards) {
        std::printf("%-66s %s\n", hazard.name, Verdict(StatusOf(hazard.isThere)).c_str());
    }
    for (const char* clip : {"h264_baseline.264", "h265.265"}) {
        TryAllocations(clip);
    }
    return 0;
}
