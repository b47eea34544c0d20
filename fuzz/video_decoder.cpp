// Feeds a stream of packets to a video decoder of any codec and colour space, with and without pictures that change
// their size, a rate limit, pictures that the host keeps, and an end of the stream.
#include "codrelay/ffmpeg_layer.h"
#include "codrelay/media_ids.h"
#include "front/registry/picture_size.h"
#include "fuzz/input_reader.h"
#include "fuzz/read_every_byte.h"

namespace {

constexpr std::size_t kMostKept = 9;  // one more than a decoder has
constexpr int kMostPackets = 64;

enum Wish : unsigned int {
    kChangesOfSize = 1,
    kTimestamps = 2,
    kKeptPictures = 4,
    kEndOfStream = 8,
    kSecondCreation = 16,
};

/// Gives up once: the next time pictures were let go.
class ImpatientCallback : public CFrameBufferStreamCallback {
public:
    explicit ImpatientCallback(std::vector<std::shared_ptr<CFrameBufferBase>>* kept) : m_pKept(kept) {}

    bool WaitForFreeFrame() override {
        const bool wasEmpty = m_pKept->empty();
        m_pKept->clear();
        return !wasEmpty;
    }

private:
    std::vector<std::shared_ptr<CFrameBufferBase>>* m_pKept;
};

class Host {
public:
    Host(CVideoDecoderBase* decoder, InputReader* input)
        : m_pDecoder(decoder),
          m_pInput(input),
          m_nWishes(input->Number<std::uint8_t>()),
          m_nRateLimit(input->Number<std::uint8_t>()),
          m_nWidth(static_cast<unsigned int>(input->Side())),
          m_nHeight(static_cast<unsigned int>(input->Side())) {}

    void Run() {
        if (Wants(kChangesOfSize)) {
            m_pDecoder->AllowResolutionChange();
        }
        DecodeStream();
        if (Wants(kSecondCreation)) {
            DecodeStream();
        }
    }

private:
    bool Wants(Wish wish) const { return (m_nWishes & wish) != 0; }

    void DecodeStream() {
        if (m_pDecoder->CreateDecoder(m_pDecoder->GetOutputColorSpace(), m_nWidth, m_nHeight, &m_Callback) == 1) {
            for (int i = 0; i < kMostPackets && !m_pInput->IsAtEnd(); ++i) {
                std::vector<unsigned char> packet = m_pInput->Block();
                DecodePacket(packet.data(), static_cast<int>(packet.size()));
            }
            if (Wants(kEndOfStream)) {
                DecodePacket(nullptr, 1);
            }
        }
        m_pDecoder->DestroyDecoder();
    }

    void DecodePacket(unsigned char* data, int length) {
        std::shared_ptr<CFrameBufferBase> frame;
        m_nTimestamp += 10;
        const int status = Wants(kTimestamps) ? m_pDecoder->Decode(data, length, frame, m_nTimestamp, m_nRateLimit)
                                              : m_pDecoder->Decode(data, length, frame);
        if (status != 0) {
            return;
        }
        ReadPicture(*frame);
        if (Wants(kKeptPictures) && m_Kept.size() < kMostKept) {
            m_Kept.push_back(frame);
        }
    }

    // A converted picture does not tell its size; it is known only where it cannot change.
    void ReadPicture(const CFrameBufferBase& frame) {
        const bool tellsSize = frame.m_nWidth != 0;
        if (!tellsSize && Wants(kChangesOfSize)) {
            return;
        }
        const unsigned int width = tellsSize ? frame.m_nWidth : m_nWidth;
        const unsigned int height = tellsSize ? frame.m_nHeight : m_nHeight;
        ReadEveryByte(const_cast<CFrameBufferBase&>(frame).GetConstData(),
                      PictureSize(m_pDecoder->GetOutputColorSpace(), width, height));
    }

    CVideoDecoderBase* m_pDecoder;
    InputReader* m_pInput;
    unsigned int m_nWishes;
    unsigned int m_nRateLimit;
    unsigned int m_nWidth;
    unsigned int m_nHeight;
    long long m_nTimestamp = 0;
    std::vector<std::shared_ptr<CFrameBufferBase>> m_Kept;
    ImpatientCallback m_Callback{&m_Kept};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    InputReader input(data, size);
    const int codec = VIDEO_CODEC_FLV + input.Number<std::uint8_t>() % (VIDEO_CODEC_H265 - VIDEO_CODEC_FLV + 1);
    const unsigned int colorSpace = 1U << input.Number<std::uint8_t>() % 8;  // the last is none
    CVideoDecoderBase* const decoder = NewFFmpegVideoDecoder(codec, colorSpace, "");
    Host(decoder, &input).Run();
    decoder->Delete();
    return 0;
}
