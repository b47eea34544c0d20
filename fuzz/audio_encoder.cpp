// Makes an audio encoder with settings out of the input, and encodes blocks of it into buffers that may be too small.
#include "codrelay/factories.h"
#include "codrelay/media_ids.h"
#include "fuzz/input_reader.h"
#include "fuzz/read_every_byte.h"

namespace {

constexpr int kIds[] = {AUDIO_CODEC_AAC, AUDIO_CODEC_MP3, AUDIO_CODEC_PCM_S16LE, AUDIO_CODEC_AMRNB, AUDIO_CODEC_MULAW};
constexpr int kMostBlocks = 32;

enum Wish : unsigned int {
    kOwnFormat = 1,
    kLittleRoom = 2,
    kOwnTimes = 4,
};

AUDIO_FORMAT MakeFormat(CAudioEncoderBase* encoder, unsigned int wishes, InputReader* input) {
    AUDIO_FORMAT format{};
    format.sampleRate = input->Number<std::int32_t>();
    format.channels = input->SignedByte();
    const auto choice = input->Number<std::uint8_t>();
    format.sampleFormat = (wishes & kOwnFormat) != 0 ? 1 << choice % 10 : encoder->GetDefaultFormat();
    return format;
}

// Samples are not read from the input but drawn from a byte of it: frames are longer than useful inputs.
void EncodeBlocks(CAudioEncoderBase* encoder, unsigned int wishes, InputReader* input) {
    const unsigned int room = (wishes & kLittleRoom) != 0 ? input->Number<std::uint16_t>()
                                                          : static_cast<unsigned int>(encoder->GetMinOutBufLen());
    const std::unique_ptr<unsigned char[]> out(new unsigned char[room]);
    for (int i = 0; i < kMostBlocks && !input->IsAtEnd(); ++i) {
        const std::size_t length = input->Number<std::uint16_t>() % 20000;
        std::vector<unsigned char> block(length, input->Number<std::uint8_t>());
        long long pts = (wishes & kOwnTimes) != 0 ? input->Number<std::int64_t>() : 0;
        unsigned int consumed = 0;
        unsigned int written = 0;
        if (encoder->Encode(block.data(), static_cast<unsigned int>(block.size()), out.get(), room, consumed, written,
                            pts) == 1) {
            ReadEveryByte(out.get(), written);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    InputReader input(data, size);
    CAudioEncoderBase* const encoder = Codrelay_AudioEncoder(input.OneOf(kIds));
    if (encoder == nullptr) {
        return 0;
    }
    const auto wishes = input.Number<std::uint8_t>();
    const AUDIO_FORMAT format = MakeFormat(encoder, wishes, &input);
    if (encoder->CreateEncoder(&format, input.Number<std::uint32_t>())) {
        EncodeBlocks(encoder, wishes, &input);
    }
    encoder->DestroyEncoder();
    encoder->Delete();
    return 0;
}
