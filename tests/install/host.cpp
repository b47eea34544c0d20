// A stranger's host: decodes the first packet of an H.264 file that holds 320x240 pictures.
#include <codrelay/codrelay.h>
#include <uvqlog/control.h>

#include <cstdio>

namespace {

struct FirstPicture : CDemuxerFileCallback {
    CVideoDecoderBase* decoder = nullptr;
    std::shared_ptr<CFrameBufferBase> picture;
    int status = -1;

    int OnPacket(DEMUXER_PACKET* packet) override {
        status = decoder->Decode(packet->data, packet->size, picture);
        return 0;
    }
};

int Failure(const char* what) {
    std::fprintf(stderr, "%s\n", what);
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    uvqlog::SetThreshold(uvqlog::Severity::Warning);
    if (argc != 2 || Codrelay_Create(nullptr) != 1)
        return Failure("usage: host FILE");
    FirstPicture first;
    first.decoder = Codrelay_VideoDecoder(VIDEO_CODEC_H264, "");
    if (first.decoder == nullptr || first.decoder->CreateDecoder(CSP_YUV420P, 320, 240, nullptr) != 1)
        return Failure("no decoder");
    const std::unique_ptr<CDemuxerFileBase> file(Codrelay_DemuxerFile(0));
    if (!file->Open(argv[1], &first) || file->ReadNextFrame() != 1)
        return Failure("no packet");
    first.decoder->DestroyDecoder();
    first.decoder->Delete();
    Codrelay_Destroy();
    if (first.status != 0 || first.picture->m_nWidth != 320 || first.picture->m_nHeight != 240)
        return Failure("no picture of 320x240");
    std::printf("a picture of %u x %u\n", first.picture->m_nWidth, first.picture->m_nHeight);
    return 0;
}
