// Makes a resampler of any two formats and converts blocks of the input, then makes it anew the other way round.
#include <utility>

#include "codrelay/factories.h"
#include "fuzz/input_reader.h"
#include "fuzz/read_every_byte.h"

namespace {

constexpr int kMostBlocks = 16;
constexpr unsigned int kMostRoom = 16 << 20;

// Mostly one sample format, seldom none or several.
AUDIO_FORMAT MakeFormat(InputReader* input) {
    AUDIO_FORMAT format{};
    format.sampleRate = input->Number<std::int32_t>();
    format.channels = input->SignedByte();
    const int choice = input->Number<std::uint8_t>();
    format.sampleFormat = choice < 250 ? 1 << choice % 10 : choice;
    return format;
}

void ResampleBlocks(CAudioResamplerBase* resampler, unsigned int inRoom, unsigned int outRoom, InputReader* input) {
    const std::unique_ptr<unsigned char[]> out(new unsigned char[outRoom]);
    for (int i = 0; i < kMostBlocks && !input->IsAtEnd(); ++i) {
        std::vector<unsigned char> in = input->Block();
        unsigned int outLength = 0;
        resampler->Resample(in.data(), std::min(static_cast<unsigned int>(in.size()), inRoom), out.get(), outLength);
        ReadEveryByte(out.get(), outLength);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    InputReader input(data, size);
    AUDIO_FORMAT in = MakeFormat(&input);
    AUDIO_FORMAT out = MakeFormat(&input);
    const unsigned int inRoom = input.Number<std::uint16_t>();
    CAudioResamplerBase* const resampler = Codrelay_AudioResampler();
    for (int round = 0; round < 2; ++round) {
        unsigned int outRoom = 0;
        if (resampler->Create(&in, &out, inRoom, outRoom) && outRoom <= kMostRoom) {
            ResampleBlocks(resampler, inRoom, outRoom, &input);
        }
        std::swap(in, out);
    }
    resampler->Destroy();
    resampler->Delete();
    return 0;
}
