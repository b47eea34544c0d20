// Holds pictures beyond their decoder's life. A picture belongs to whoever has its pointer; a decoder lends eight of
// one size at a time, and takes no packet while all eight are out.
//
//   example_hold_pictures FILE          (H.264)
#include <codrelay/codrelay.h>

#include <cstdio>
#include <numeric>
#include <vector>

namespace {

using Picture = std::shared_ptr<CFrameBufferBase>;

/// Asked when all eight pictures are out. One that could let some go, or wait for a thread that does, would say true.
struct NothingToSpare : CFrameBufferStreamCallback {
    bool WaitForFreeFrame() override {
        asked = true;
        return false;
    }
    bool asked = false;
};

/// Keeps every picture until the decoder has none left.
struct Collector : CDemuxerFileCallback {
    CVideoDecoderBase* decoder = nullptr;
    std::vector<Picture> pictures;
    int status = 3;

    int OnPacket(DEMUXER_PACKET* packet) override {
        if (packet->streamIndex != 0)
            return 0;
        Picture picture;
        status = decoder->Decode(packet->data, packet->size, picture, packet->pts, 0);
        if (status == 0)
            pictures.push_back(picture);
        return 0;
    }
    /// 0 is a picture, 3 none this time; 4 is no room.
    bool WantsMore() const { return status == 0 || status == 3; }
};

unsigned long Checksum(const Picture& picture) {
    const unsigned long luma = static_cast<unsigned long>(picture->m_nWidth) * picture->m_nHeight;
    const unsigned char* data = picture->GetConstData();
    return std::accumulate(data, data + luma, 0UL, [](unsigned long sum, unsigned char y) { return sum * 31 + y; });
}

int Fail(const char* what) {
    std::fprintf(stderr, "%s\n", what);
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2)
        return Fail("usage: example_hold_pictures FILE");
    Codrelay_Create(nullptr);

    NothingToSpare room;
    Collector collector;
    collector.decoder = Codrelay_VideoDecoder(VIDEO_CODEC_H264, "");
    collector.decoder->AllowResolutionChange();
    // No stream's size: the first picture brings its own.
    if (collector.decoder->CreateDecoder(CSP_YUV420P, 8192, 1, &room) != 1)
        return Fail("the decoder does not open");

    std::unique_ptr<CDemuxerFileBase> file(Codrelay_DemuxerFile(0));
    if (!file->Open(argv[1], &collector))
        return Fail("the file cannot be read");
    while (collector.WantsMore() && file->ReadNextFrame() == 1)
        continue;
    std::printf("%zu pictures held, status %d, %s\n", collector.pictures.size(), collector.status,
                room.asked ? "asked for room" : "never asked for room");

    std::vector<unsigned long> before;
    for (const Picture& picture : collector.pictures)
        before.push_back(Checksum(picture));

    // The decoder goes, and the file; the pictures stay.
    collector.decoder->DestroyDecoder();
    collector.decoder->Delete();
    file.reset();

    std::size_t same = 0;
    for (std::size_t i = 0; i < before.size(); ++i)
        same += Checksum(collector.pictures[i]) == before[i] ? 1 : 0;
    std::printf("%zu of them unchanged after their decoder's end\n", same);
    // Letting them go frees them, now that there is no decoder to give them back to.
    collector.pictures.clear();
    Codrelay_Destroy();
    return same != 0 && same == before.size() ? 0 : Fail("pictures changed, or there were none");
}
