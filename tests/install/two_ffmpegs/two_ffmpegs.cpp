// A host that uses the system's own FFmpeg and the library in one process: the system's encodes a picture and decodes
// it, the library decodes it too, and both say the same. Each has an FFmpeg of its own, unless they are of one major
// version: then the process has one, the system's, and it serves both.
#include <codrelay/codrelay.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>
#include <string>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/imgutils.h>
}

namespace {

constexpr int width = 320;
constexpr int height = 240;
using Bytes = std::vector<unsigned char>;

void Require(bool good, const char* what) {
    if (good)
        return;
    std::fprintf(stderr, "failed: %s\n", what);
    std::exit(1);
}

AVFrame* Gradient() {
    AVFrame* frame = av_frame_alloc();
    frame->format = AV_PIX_FMT_YUVJ420P;
    frame->width = width;
    frame->height = height;
    Require(av_frame_get_buffer(frame, 0) == 0, "a frame of the system's FFmpeg");
    for (int plane = 0; plane < 3; ++plane) {
        const int shift = plane == 0 ? 0 : 1;
        for (int y = 0; y < height >> shift; ++y)
            for (int x = 0; x < width >> shift; ++x)
                frame->data[plane][y * frame->linesize[plane] + x] = static_cast<unsigned char>(x + y * (plane + 1));
    }
    return frame;
}

Bytes EncodeBySystem(AVFrame* frame) {
    AVCodecContext* encoder = avcodec_alloc_context3(avcodec_find_encoder(AV_CODEC_ID_MJPEG));
    encoder->width = width;
    encoder->height = height;
    encoder->pix_fmt = AV_PIX_FMT_YUVJ420P;
    encoder->time_base = {1, 25};
    AVPacket* packet = av_packet_alloc();
    Require(avcodec_open2(encoder, nullptr, nullptr) == 0, "opening the system's encoder");
    Require(avcodec_send_frame(encoder, frame) == 0 && avcodec_receive_packet(encoder, packet) == 0,
            "encoding by the system's FFmpeg");
    const Bytes bytes(packet->data, packet->data + packet->size);
    av_packet_free(&packet);
    avcodec_free_context(&encoder);
    return bytes;
}

Bytes DecodeBySystem(Bytes jpeg) {
    AVCodecContext* decoder = avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_MJPEG));
    AVPacket* packet = av_packet_alloc();
    AVFrame* frame = av_frame_alloc();
    const int size = static_cast<int>(jpeg.size());
    jpeg.resize(jpeg.size() + AV_INPUT_BUFFER_PADDING_SIZE);
    packet->data = jpeg.data();
    packet->size = size;
    Require(avcodec_open2(decoder, nullptr, nullptr) == 0, "opening the system's decoder");
    Require(avcodec_send_packet(decoder, packet) == 0 && avcodec_receive_frame(decoder, frame) == 0,
            "decoding by the system's FFmpeg");
    Bytes picture(static_cast<std::size_t>(av_image_get_buffer_size(AV_PIX_FMT_YUVJ420P, width, height, 1)));
    av_image_copy_to_buffer(picture.data(), static_cast<int>(picture.size()), frame->data, frame->linesize,
                            AV_PIX_FMT_YUVJ420P, width, height, 1);
    av_frame_free(&frame);
    av_packet_free(&packet);
    avcodec_free_context(&decoder);
    return picture;
}

Bytes DecodeByLibrary(Bytes jpeg) {
    CVideoDecoderBase* decoder = Codrelay_VideoDecoder(VIDEO_CODEC_JPEG, "");
    Require(decoder->CreateDecoder(CSP_YUV420P, width, height, nullptr) == 1, "creating the library's decoder");
    std::shared_ptr<CFrameBufferBase> picture;
    Require(decoder->Decode(jpeg.data(), static_cast<int>(jpeg.size()), picture) == 0, "decoding by the library");
    decoder->DestroyDecoder();
    decoder->Delete();
    return Bytes(picture->GetConstData(), picture->GetConstData() + width * height * 3 / 2);
}

/// The files of that library in the process.
std::set<std::string> Loaded(const std::string& library) {
    std::ifstream maps("/proc/self/maps");
    std::set<std::string> files;
    std::string line;
    while (std::getline(maps, line))
        if (line.find("/" + library) != std::string::npos)
            files.insert(line.substr(line.find('/')));
    return files;
}

}  // namespace

int main() {
    Require(Codrelay_Create(nullptr) == 1, "starting the library");
    const std::string systems = "libavcodec.so." + std::to_string(avcodec_version() >> 16);
    const std::string librarys = LIBRARYS_LIBAVCODEC;
    Require(Loaded(systems).size() == 1 && Loaded(librarys).size() == 1, "one file of each FFmpeg in the process");
    Require(Loaded("libavcodec.so").size() == (systems == librarys ? 1 : 2), "no other FFmpeg in the process");

    AVFrame* frame = Gradient();
    const Bytes jpeg = EncodeBySystem(frame);
    av_frame_free(&frame);
    Require(DecodeBySystem(jpeg) == DecodeByLibrary(jpeg), "the same picture from both");
    Codrelay_Destroy();
    std::printf("%s and %s decoded %zu bytes to the same picture\n", systems.c_str(), librarys.c_str(), jpeg.size());
}
