#include <codrelay/codrelay.h>

#include <cstdio>

struct Player : CDemuxerFileCallback {
    CVideoDecoderBase* decoder = Codrelay_VideoDecoder(VIDEO_CODEC_H264, "");
    int OnPacket(DEMUXER_PACKET* packet) override {
        std::shared_ptr<CFrameBufferBase> picture;
        if (packet->streamIndex == 0 && decoder->Decode(packet->data, packet->size, picture, packet->pts, 0) == 0)
            std::printf("%u x %u at %lld ms\n", picture->m_nWidth, picture->m_nHeight, picture->m_nTimestamp);
        return 0;
    }
};

int main(int argc, char** argv) {
    Codrelay_Create(nullptr);
    Player player;
    player.decoder->AllowResolutionChange();
    player.decoder->CreateDecoder(CSP_YUV420P, 8192, 1, nullptr);  // no stream's size: the first picture brings its own
    std::unique_ptr<CDemuxerFileBase> file(Codrelay_DemuxerFile(0));
    if (argc == 2 && file->Open(argv[1], &player))
        while (file->ReadNextFrame() == 1)
            continue;
    player.decoder->DestroyDecoder();
    player.decoder->Delete();
    Codrelay_Destroy();
}
