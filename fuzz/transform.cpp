// Makes a transform of sizes, colour spaces and a part of the picture out of the input, and transforms a few pictures.
#include <stdexcept>

#include "codrelay/factories.h"
#include "codrelay/ffmpeg_layer.h"
#include "fuzz/input_reader.h"
#include "fuzz/picture.h"
#include "fuzz/read_every_byte.h"

namespace {

constexpr int kFurthest = 512;
constexpr int kMostPictures = 3;

struct Request {
    unsigned int inColorSpace;
    unsigned int outColorSpace;
    int inWidth;
    int inHeight;
    int outWidth;
    int outHeight;
};

// The last bit is no colour space.
unsigned int ColorSpace(InputReader* input) {
    return 1U << input->Number<std::uint8_t>() % 8;
}

Request MakeRequest(InputReader* input) {
    Request request{};
    request.inColorSpace = ColorSpace(input);
    request.outColorSpace = ColorSpace(input);
    request.inWidth = input->Side();
    request.inHeight = input->Side();
    request.outWidth = input->Side();
    request.outHeight = input->Side();
    return request;
}

std::shared_ptr<CVideoTransformBase> MakeByPercents(const Request& request, InputReader* input) {
    CVideoTransformBase::ZOOM_RECT zoom{};
    zoom.left = input->SignedByte();
    zoom.top = input->SignedByte();
    zoom.right = input->SignedByte();
    zoom.bottom = input->SignedByte();
    // There is no part of a BGRA picture: cropping one ends the process, as hosts are told.
    const bool isWhole = input->Number<std::uint8_t>() % 4 == 0 || request.inColorSpace == CSP_BGRA;
    return Codrelay_VideoTransform(request.inColorSpace, request.inWidth, request.inHeight, isWhole ? nullptr : &zoom,
                                   request.outColorSpace, request.outWidth, request.outHeight);
}

std::shared_ptr<CVideoTransformBase> MakeByPixels(const Request& request, InputReader* input) {
    CVideoTransformBase::CROP_RECT crop{0, 0, request.inWidth, request.inHeight};
    if (request.inColorSpace != CSP_BGRA) {
        crop.x = input->Between(-kFurthest, kFurthest);
        crop.y = input->Between(-kFurthest, kFurthest);
        crop.w = input->Between(-kFurthest, kFurthest);
        crop.h = input->Between(-kFurthest, kFurthest);
    }
    try {
        return NewFFmpegVideoTransform(request.inColorSpace, request.inWidth, request.inHeight, crop,
                                       request.outColorSpace, request.outWidth, request.outHeight);
    } catch (const std::length_error&) {
        return nullptr;  // as this factory tells that there is no such format
    }
}

void TransformPictures(const Request& request, CVideoTransformBase* transform, InputReader* input) {
    Picture picture(request.inColorSpace, request.inWidth, request.inHeight);
    for (int i = 0; i < kMostPictures; ++i) {
        const auto first = input->Number<std::uint8_t>();
        picture.Draw(first, input->Number<std::uint8_t>());
        CFrameBufferBase* const result = transform->Transform(&picture);
        if (result != nullptr) {
            ReadEveryByte(result->GetConstData(),
                          BytesOfPicture(request.outColorSpace, request.outWidth, request.outHeight));
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    InputReader input(data, size);
    const bool byPercents = input.Number<std::uint8_t>() % 2 == 0;
    const Request request = MakeRequest(&input);
    const auto transform = byPercents ? MakeByPercents(request, &input) : MakeByPixels(request, &input);
    if (transform != nullptr) {
        TransformPictures(request, transform.get(), &input);
    }
    return 0;
}
