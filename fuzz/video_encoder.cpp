// Makes a video encoder of any codec with settings out of the input, and encodes pictures of changing sizes into
// buffers that may be too small.
#include "codrelay/ffmpeg_layer.h"
#include "codrelay/media_ids.h"
#include "fuzz/input_reader.h"
#include "fuzz/picture.h"
#include "fuzz/read_every_byte.h"

namespace {

constexpr int kMostPictures = 8;

struct Size {
    int width;
    int height;
};

constexpr Size kSizesOfH263[] = {{128, 96}, {176, 144}, {352, 288}};

// A size that H.263 has, or any.
Size MakeSize(InputReader* input) {
    const auto choice = input->Number<std::uint8_t>();
    if (choice < 128) {
        return kSizesOfH263[choice % std::size(kSizesOfH263)];
    }
    const int width = input->Side();
    return {width, input->Side()};
}

bool Create(CVideoEncoderBase* encoder, Size size, InputReader* input) {
    const auto frameRate = input->Number<std::uint32_t>();
    const auto bitRate = input->Number<std::uint32_t>();
    const unsigned int mode = input->Number<std::uint8_t>() % 4;
    const auto keyInterval = input->Number<std::int16_t>();
    return encoder->CreateEncoder(encoder->GetSupportedColorSpaces(), static_cast<unsigned int>(size.width),
                                  static_cast<unsigned int>(size.height), frameRate, bitRate, 0, mode,
                                  keyInterval) == 1;
}

void EncodePicture(CVideoEncoderBase* encoder, Size size, InputReader* input) {
    Picture picture(encoder->GetColorSpace(), size.width, size.height);
    const auto first = input->Number<std::uint8_t>();
    picture.Draw(first, input->Number<std::uint8_t>());
    const auto choice = input->Number<std::uint8_t>();
    int keyFrame = choice & 1;
    const auto room = static_cast<unsigned int>(
        (choice & 2) != 0 ? input->Number<std::uint16_t>()
                          : encoder->GetMaxOutFrameLength(static_cast<unsigned int>(size.width),
                                                          static_cast<unsigned int>(size.height)));
    const std::unique_ptr<unsigned char[]> out(new unsigned char[room]);
    const int written = encoder->Encode(&picture, out.get(), room, &keyFrame);
    if (written > 0) {
        ReadEveryByte(out.get(), static_cast<std::size_t>(written));
    }
}

void EncodePictures(CVideoEncoderBase* encoder, Size size, InputReader* input) {
    for (int i = 0; i < kMostPictures && !input->IsAtEnd() && encoder->IsCreated() != 0; ++i) {
        if (input->Number<std::uint8_t>() % 8 == 0) {
            size = MakeSize(input);
            if (encoder->ChangeEncoderResolution(static_cast<unsigned int>(size.width),
                                                 static_cast<unsigned int>(size.height)) == 0) {
                return;
            }
        }
        EncodePicture(encoder, size, input);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    InputReader input(data, size);
    const int codec = VIDEO_CODEC_FLV + input.Number<std::uint8_t>() % (VIDEO_CODEC_H264 - VIDEO_CODEC_FLV + 1);
    // Mostly what the codecs take.
    const auto choice = input.Number<std::uint8_t>();
    const unsigned int colorSpace = choice < 192 ? CSP_YUV420P : 1U << choice % 7;
    CVideoEncoderBase* const encoder = NewFFmpegVideoEncoder(codec, colorSpace, "");
    if (encoder == nullptr) {
        return 0;
    }
    const Size pictureSize = MakeSize(&input);
    if (Create(encoder, pictureSize, &input)) {
        EncodePictures(encoder, pictureSize, &input);
    }
    encoder->DestroyEncoder();
    encoder->Delete();
    return 0;
}
