// Makes a muxer, on a file or on memory, with parameters out of the input, and drives it by the rest: blocks of video
// and sound, MP3 among it, which is cut into frames, in any order around the header and the trailer.
#include <memory>

#include "codrelay/factories.h"
#include "codrelay/media_ids.h"
#include "fuzz/input_reader.h"
#include "fuzz/read_every_byte.h"
#include "fuzz/temporary_file.h"
#include "support/ffmpeg.h"

namespace {

// What a file muxer without a trailer leaves open by design is closed here, or a long run would run out of it.
AVIOContext* g_pOpenFile = nullptr;

constexpr int kMostSteps = 100;
constexpr int kVideoCodecs[] = {VIDEO_CODEC_H264,  VIDEO_CODEC_H265, VIDEO_CODEC_MPEG4, VIDEO_CODEC_FLV,
                                VIDEO_CODEC_MJPEG, VIDEO_CODEC_H263, VIDEO_CODEC_JPEG,  VIDEO_CODEC_NONE};
constexpr int kAudioCodecs[] = {AUDIO_CODEC_MP3,  AUDIO_CODEC_AAC,       AUDIO_CODEC_PCM_S16LE,     AUDIO_CODEC_MULAW,
                                AUDIO_CODEC_ALAW, AUDIO_CODEC_AMRNB,     AUDIO_CODEC_AMRWB,         AUDIO_CODEC_G726_32,
                                AUDIO_CODEC_OPUS, AUDIO_CODEC_PCM_S16BE, AUDIO_CODEC_ADPCM_IMA_WAV, -1};
constexpr int kRates[] = {8000, 22050, 44100, 48000, 64000, 128000, 0, -1};

enum Step { kVideo, kKeyVideo, kSound, kMoreSound, kHeader, kTrailer, kBuffer, kSize, kSteps };

// A rate that streams have, or any.
int Rate(InputReader* input) {
    const auto choice = input->Number<std::uint8_t>();
    return choice < 192 ? kRates[choice % std::size(kRates)] : input->Number<std::int32_t>();
}

MUXER_PARAM MakeParam(InputReader* input) {
    MUXER_PARAM param{};
    param.videoCodec = input->OneOf(kVideoCodecs);
    param.audioCodec = input->OneOf(kAudioCodecs);
    param.width = input->Number<std::int16_t>();
    param.height = input->Number<std::int16_t>();
    param.sampleRate = Rate(input);
    param.channels = input->SignedByte();
    param.audioBitRate = Rate(input);
    param.durationSec = input->Number<std::int16_t>();
    return param;
}

// Small steps of time, now and then a leap to anywhere.
void Advance(long long* time, InputReader* input) {
    const int step = input->SignedByte();
    *time =
        step == -128
            ? input->Number<std::int64_t>()
            : static_cast<long long>(static_cast<unsigned long long>(*time) + static_cast<unsigned long long>(step));
}

/// A block of sound, with the one more byte that hosts allow for where its length asks for it.
std::vector<unsigned char> SoundBlock(InputReader* input, int* size) {
    std::vector<unsigned char> block = input->Block();
    *size = static_cast<int>(block.size());
    if (*size % 209 == 105) {
        block.push_back(0);
        block.shrink_to_fit();
    }
    return block;
}

/// Both kinds of muxers write alike.
template <typename Muxer>
class Host {
public:
    Host(Muxer* muxer, InputReader* input) : m_pMuxer(muxer), m_pInput(input) {}

    void Run() {
        for (int i = 0; i < kMostSteps && !m_pInput->IsAtEnd(); ++i) {
            const int step = m_pInput->Number<std::uint8_t>() % kSteps;
            Before(m_pMuxer);
            Take(step);
            After(m_pMuxer, step);
        }
        Before(m_pMuxer);
        Take(kTrailer);
        After(m_pMuxer, kTrailer);
    }

private:
    void Take(int step) {
        switch (step) {
            case kVideo:
            case kKeyVideo: {
                std::vector<unsigned char> block = m_pInput->Block();
                Advance(&m_nTime, m_pInput);
                m_pMuxer->WriteFrame(block.data(), static_cast<int>(block.size()), step == kKeyVideo ? 1 : 0, m_nTime);
                break;
            }
            case kSound:
            case kMoreSound: {
                int size = 0;
                std::vector<unsigned char> block = SoundBlock(m_pInput, &size);
                Advance(&m_nTime, m_pInput);
                m_pMuxer->WriteSound(block.data(), size, m_nTime);
                break;
            }
            case kHeader:
                // A second header before the trailer is not allowed.
                if (!m_bHeaderTried) {
                    m_bHeaderTried = true;
                    m_pMuxer->WriteHeader();
                }
                break;
            case kTrailer:
                m_pMuxer->WriteTrailer();
                break;
            default:
                break;
        }
    }

    void Before(CMuxerFileBase* /*muxer*/) {}
    void After(CMuxerFileBase* muxer, int step) {
        if (step == kSize) {
            muxer->GetFileSize();
        }
    }

    void Before(CMuxerMemBase* muxer) {
        if (m_bWantsBuffer) {
            muxer->BeginWriteBuf();
        }
    }
    void After(CMuxerMemBase* muxer, int step) {
        m_bWantsBuffer = step != kBuffer || !m_bWantsBuffer;
        unsigned char* piece = nullptr;
        const int size = muxer->GetWriteBuf(piece);
        if (piece != nullptr) {
            ReadEveryByte(piece, static_cast<std::size_t>(size));
        }
        muxer->FreeWriteBuf(piece);
    }

    Muxer* m_pMuxer;
    InputReader* m_pInput;
    long long m_nTime = 0;
    bool m_bHeaderTried = false;
    bool m_bWantsBuffer = true;
};

template <typename Muxer>
void Drive(Muxer* muxer, InputReader* input) {
    if (muxer != nullptr) {
        Host<Muxer>(muxer, input).Run();
        muxer->Delete();
    }
}

}  // namespace

extern "C" int __real_avio_open(AVIOContext** context, const char* url, int flags);
extern "C" int __wrap_avio_open(AVIOContext** context, const char* url, int flags) {
    const int result = __real_avio_open(context, url, flags);
    g_pOpenFile = result >= 0 ? *context : nullptr;
    return result;
}

extern "C" int __real_avio_closep(AVIOContext** context);
extern "C" int __wrap_avio_closep(AVIOContext** context) {
    g_pOpenFile = nullptr;
    return __real_avio_closep(context);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    InputReader input(data, size);
    const bool intoFile = input.Number<std::uint8_t>() % 2 == 0;
    const int format = input.Number<std::uint8_t>() % (MUXER_FORMAT_MPEGTS + 2);
    MUXER_PARAM param = MakeParam(&input);
    if (intoFile) {
        const TemporaryFile file;
        Drive(Codrelay_MuxerFile(format, &param, file.Path().c_str()), &input);
        __real_avio_closep(&g_pOpenFile);
    } else {
        Drive(Codrelay_MuxerMem(format, &param), &input);
    }
    return 0;
}
