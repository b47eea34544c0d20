// Thins a film by the rate limit: every packet is decoded, since later pictures are built on earlier ones, but only as
// many pictures a second are copied out as the host has use for.
//
//   example_limit_rate FILE PICTURES-A-SECOND          (H.264 without reordered pictures; 0 for all of them)
#include <codrelay/codrelay.h>

#include <cstdio>
#include <cstdlib>

namespace {

struct Thinner : CDemuxerFileCallback {
    CVideoDecoderBase* decoder = nullptr;
    unsigned int rateLimit = 0;
    int packets = 0;
    int pictures = 0;
    int failures = 0;
    long long lastTime = -1;
    long long shortestGap = -1;

    int OnPacket(DEMUXER_PACKET* packet) override {
        if (packet->streamIndex != 0)
            return 0;
        ++packets;
        std::shared_ptr<CFrameBufferBase> picture;
        // The limit goes by the timestamps, which have to be milliseconds and to rise.
        const int status = decoder->Decode(packet->data, packet->size, picture, packet->pts, rateLimit);
        if (status == 0)
            Take(picture->m_nTimestamp);
        else if (status != 3)  // 3: no picture, or one that comes too soon
            ++failures;
        return 0;
    }

    void Take(long long time) {
        if (pictures > 0 && (shortestGap < 0 || time - lastTime < shortestGap))
            shortestGap = time - lastTime;
        lastTime = time;
        ++pictures;
    }
};

int Fail(const char* what) {
    std::fprintf(stderr, "%s\n", what);
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3)
        return Fail("usage: example_limit_rate FILE PICTURES-A-SECOND");
    Codrelay_Create(nullptr);

    Thinner thinner;
    thinner.rateLimit = static_cast<unsigned int>(std::strtoul(argv[2], nullptr, 10));
    thinner.decoder = Codrelay_VideoDecoder(VIDEO_CODEC_H264, "");
    thinner.decoder->AllowResolutionChange();
    // No stream's size: the first picture brings its own.
    if (thinner.decoder->CreateDecoder(CSP_YUV420P, 8192, 1, nullptr) != 1)
        return Fail("the decoder does not open");

    const std::unique_ptr<CDemuxerFileBase> file(Codrelay_DemuxerFile(0));
    if (!file->Open(argv[1], &thinner))
        return Fail("the file cannot be read");
    while (file->ReadNextFrame() == 1)
        continue;

    std::printf("%d packets, %d pictures, at least %lld ms apart\n", thinner.packets, thinner.pictures,
                thinner.shortestGap);
    thinner.decoder->DestroyDecoder();
    thinner.decoder->Delete();
    Codrelay_Destroy();
    return thinner.failures == 0 ? 0 : Fail("not all packets were decoded");
}
