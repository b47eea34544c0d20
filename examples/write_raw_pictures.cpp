// Decodes the first video stream of a file and writes its pictures one after the other, as planar 4:2:0.
//
//   example_write_raw_pictures FILE OUT
//   ffplay -f rawvideo -pixel_format yuv420p -video_size WIDTHxHEIGHT OUT
#include <codrelay/codrelay.h>

#include <cstdio>
#include <fstream>

namespace {

struct DecoderEnd {
    void operator()(CVideoDecoderBase* decoder) const {
        decoder->DestroyDecoder();
        decoder->Delete();
    }
};
using Decoder = std::unique_ptr<CVideoDecoderBase, DecoderEnd>;

std::streamsize BytesOf(const CFrameBufferBase& picture) {
    const auto width = static_cast<std::streamsize>(picture.m_nWidth);
    const auto height = static_cast<std::streamsize>(picture.m_nHeight);
    return width * height + 2 * ((width + 1) / 2) * ((height + 1) / 2);
}

/// Takes the packets of one stream, and writes what comes out of the decoder.
class PictureWriter : public CDemuxerFileCallback {
public:
    PictureWriter(int stream, Decoder decoder, const char* path)
        : m_Stream(stream), m_Decoder(std::move(decoder)), m_Out(path, std::ios::binary) {}

    int OnPacket(DEMUXER_PACKET* packet) override {
        if (packet->streamIndex == m_Stream)
            Decode(packet->data, packet->size, packet->pts);
        return 0;
    }

    /// A null packet tells the end of the stream. One picture that was held back comes out; of more only the last does.
    void Finish() { Decode(nullptr, 1, 0); }

    bool IsGood() { return m_nFailures == 0 && m_nPictures > 0 && m_Out.flush().good(); }
    int GetPictures() const { return m_nPictures; }

private:
    void Decode(unsigned char* data, int size, long long time) {
        std::shared_ptr<CFrameBufferBase> picture;
        const int status = m_Decoder->Decode(data, size, picture, time, 0);
        if (status == 3)
            return;  // no picture this time
        if (status != 0) {
            std::fprintf(stderr, "a packet was not decoded: status %d\n", status);
            ++m_nFailures;
            return;
        }
        m_Out.write(reinterpret_cast<const char*>(picture->GetConstData()), BytesOf(*picture));
        ++m_nPictures;
    }

    int m_Stream;
    Decoder m_Decoder;
    std::ofstream m_Out;
    int m_nPictures = 0;
    int m_nFailures = 0;
};

/// The index and the codec of the first video stream; false where there is none.
bool FindVideo(CDemuxerFileBase& file, int& stream, int& codec) {
    for (stream = 0; stream < file.GetStreamCount(); ++stream)
        if (file.GetVideoStreamInfo(stream, &codec))
            return true;
    return false;
}

int Fail(const char* what) {
    std::fprintf(stderr, "%s\n", what);
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3)
        return Fail("usage: example_write_raw_pictures FILE OUT");
    Codrelay_Create(nullptr);

    // Opened once to learn what is in it, and a second time to read, when the one who takes the packets is there.
    const std::unique_ptr<CDemuxerFileBase> file(Codrelay_DemuxerFile(0));
    int stream = 0;
    int codec = VIDEO_CODEC_NONE;
    if (!file->Open(argv[1], nullptr))
        return Fail("the file cannot be read");
    if (!FindVideo(*file, stream, codec))
        return Fail("the file has no video");

    Decoder decoder(Codrelay_VideoDecoder(codec, ""));
    if (!decoder)
        return Fail("there is no decoder for this video");
    // The first picture brings its own size. A likelier one than this could be taken for what the container says, and
    // pictures be cut to it.
    decoder->AllowResolutionChange();
    if (decoder->CreateDecoder(CSP_YUV420P, 8192, 1, nullptr) != 1)
        return Fail("the decoder does not open");

    PictureWriter writer(stream, std::move(decoder), argv[2]);
    if (!file->Open(argv[1], &writer))
        return Fail("the file cannot be read");
    while (file->ReadNextFrame() == 1)
        continue;
    writer.Finish();
    std::printf("%d pictures\n", writer.GetPictures());
    Codrelay_Destroy();
    return writer.IsGood() ? 0 : Fail("not all went well");
}
