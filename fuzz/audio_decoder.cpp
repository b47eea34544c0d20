// Feeds a stream of packets to an audio decoder of any id, set up with any rate and number of channels: AAC writes its
// own configuration from those.
#include "codrelay/factories.h"
#include "codrelay/media_ids.h"
#include "fuzz/input_reader.h"
#include "fuzz/read_every_byte.h"

namespace {

constexpr int kIds[] = {AUDIO_CODEC_AMRNB,     AUDIO_CODEC_AMRWB,         AUDIO_CODEC_AAC,       AUDIO_CODEC_MP3,
                        AUDIO_CODEC_G726_16,   AUDIO_CODEC_G726_24,       AUDIO_CODEC_G726_32,   AUDIO_CODEC_G726_40,
                        AUDIO_CODEC_OPUS,      AUDIO_CODEC_MULAW,         AUDIO_CODEC_ALAW,      AUDIO_CODEC_PCM_U16LE,
                        AUDIO_CODEC_PCM_S16LE, AUDIO_CODEC_ADPCM_IMA_WAV, AUDIO_CODEC_PCM_S16BE, 2};
constexpr int kMostPackets = 64;

enum Wish : unsigned int {
    kLittleRoom = 1,
    kLostPackets = 2,
    kSecondCreation = 4,
};

void DecodePackets(CAudioDecoderBase* decoder, unsigned int wishes, InputReader* input) {
    const auto room = (wishes & kLittleRoom) != 0 ? input->Number<std::uint16_t>()
                                                  : static_cast<unsigned int>(decoder->GetMinOutBufLen());
    const std::unique_ptr<unsigned char[]> out(new unsigned char[room]);
    for (int i = 0; i < kMostPackets && !input->IsAtEnd(); ++i) {
        std::vector<unsigned char> packet = input->Block();
        const bool isLost = (wishes & kLostPackets) != 0 && packet.empty();
        unsigned int consumed = 0;
        unsigned int written = 0;
        decoder->Decode(isLost ? nullptr : packet.data(), static_cast<unsigned int>(packet.size()),
                        reinterpret_cast<short*>(out.get()), room, consumed, written);
        ReadEveryByte(out.get(), written);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    InputReader input(data, size);
    CAudioDecoderBase* const decoder = Codrelay_AudioDecoder(input.OneOf(kIds));
    if (decoder == nullptr) {
        return 0;
    }
    const auto wishes = input.Number<std::uint8_t>();
    for (int creations = (wishes & kSecondCreation) != 0 ? 2 : 1; creations > 0; --creations) {
        const int channels = input.SignedByte();
        const auto sampleRate = input.Number<std::int32_t>();
        int sampleFormat = 0;
        if (decoder->CreateDecoder(channels, sampleRate, sampleFormat, nullptr, 0)) {
            DecodePackets(decoder, wishes, &input);
        }
        decoder->DestroyDecoder();
    }
    decoder->Delete();
    return 0;
}
