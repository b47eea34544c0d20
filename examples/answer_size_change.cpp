// Answers a stream whose pictures change their size: the decoder tells by status 5, the host allows it, and a transform
// for each size brings all pictures to the one that the host shows.
//
//   example_answer_size_change FILE          (H.264)
#include <codrelay/codrelay.h>

#include <cstdio>

namespace {

constexpr int kShownWidth = 320;
constexpr int kShownHeight = 240;

class Screen {
public:
    /// False where the picture cannot be brought to the screen's size.
    bool Show(CFrameBufferBase& picture) {
        if (picture.m_nWidth != m_nWidth || picture.m_nHeight != m_nHeight)
            Adapt(picture.m_nWidth, picture.m_nHeight);
        CFrameBufferBase* shown = m_Transform ? m_Transform->Transform(&picture) : nullptr;
        // A transform that has nothing to do hands the very picture back.
        if (shown == nullptr)
            return false;
        ++m_nShown;
        return true;
    }
    int GetShown() const { return m_nShown; }

private:
    void Adapt(unsigned int width, unsigned int height) {
        m_nWidth = width;
        m_nHeight = height;
        m_Transform = Codrelay_VideoTransform(CSP_YUV420P, static_cast<int>(width), static_cast<int>(height), nullptr,
                                              CSP_YUV420P, kShownWidth, kShownHeight);
        std::printf("from picture %d on: %u x %u, shown as %d x %d\n", m_nShown, width, height, kShownWidth,
                    kShownHeight);
    }

    unsigned int m_nWidth = 0;
    unsigned int m_nHeight = 0;
    std::shared_ptr<CVideoTransformBase> m_Transform;
    int m_nShown = 0;
};

struct Player : CDemuxerFileCallback {
    CVideoDecoderBase* decoder = nullptr;
    Screen screen;
    int packets = 0;
    int failures = 0;

    int OnPacket(DEMUXER_PACKET* packet) override {
        if (packet->streamIndex != 0)
            return 0;
        std::shared_ptr<CFrameBufferBase> picture;
        const int status = decoder->Decode(packet->data, packet->size, picture, packet->pts, 0);
        if (status == 0 && !screen.Show(*picture))
            ++failures;
        if (status == 5)
            AllowOtherSizes();
        if (status == 2 || status == 4)
            ++failures;
        ++packets;
        return 0;
    }

    /// The picture that told it is lost; a host that wants all of them allows other sizes from the start.
    void AllowOtherSizes() {
        std::printf("packet %d brought another size than the decoder's: allowed from here on\n", packets);
        decoder->AllowResolutionChange();
    }
};

int Fail(const char* what) {
    std::fprintf(stderr, "%s\n", what);
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2)
        return Fail("usage: example_answer_size_change FILE");
    Codrelay_Create(nullptr);

    Player player;
    player.decoder = Codrelay_VideoDecoder(VIDEO_CODEC_H264, "");
    // A size in whole blocks of 16 pixels: to any other, FFmpeg cuts pictures that are a little larger, and no status
    // tells of them.
    if (player.decoder->CreateDecoder(CSP_YUV420P, kShownWidth, kShownHeight, nullptr) != 1)
        return Fail("the decoder does not open");

    const std::unique_ptr<CDemuxerFileBase> file(Codrelay_DemuxerFile(0));
    if (!file->Open(argv[1], &player))
        return Fail("the file cannot be read");
    while (file->ReadNextFrame() == 1)
        continue;

    std::printf("%d packets, %d pictures shown\n", player.packets, player.screen.GetShown());
    player.decoder->DestroyDecoder();
    player.decoder->Delete();
    Codrelay_Destroy();
    return player.failures == 0 ? 0 : Fail("not all pictures were decoded and shown");
}
