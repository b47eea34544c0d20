#include <cstdlib>
#include <memory>

#include "codrelay/codrelay.h"

namespace {

class Decoding : public CDemuxerFileCallback {
public:
    explicit Decoding(int count) : m_nLeft(count) {}
    ~Decoding() override {
        m_pDecoder->DestroyDecoder();
        m_pDecoder->Delete();
    }
    Decoding(const Decoding&) = delete;
    Decoding& operator=(const Decoding&) = delete;

    bool Create() { return m_pDecoder->CreateDecoder(CSP_YUV420P, 640, 360, nullptr) == 1; }
    int Left() const { return m_nLeft; }

    int OnPacket(DEMUXER_PACKET* packet) override {
        if (packet->streamIndex == 0 && m_pDecoder->Decode(packet->data, packet->size, m_pPicture) == 0) {
            m_nLeft -= m_pPicture->GetData() != nullptr ? 1 : 0;
        }
        return 0;
    }

private:
    CVideoDecoderBase* m_pDecoder = Codrelay_VideoDecoder(VIDEO_CODEC_H264, "");
    std::shared_ptr<CFrameBufferBase> m_pPicture;
    int m_nLeft;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        return 2;
    }
    Codrelay_Create(nullptr);
    Decoding decoding(std::atoi(argv[2]));
    const std::unique_ptr<CDemuxerFileBase> demuxer(Codrelay_DemuxerFile(0));
    if (!decoding.Create() || !demuxer->Open(argv[1], &decoding)) {
        return 1;
    }
    while (decoding.Left() > 0 && demuxer->ReadNextFrame() == 1) {
    }
    return decoding.Left() == 0 ? 0 : 1;
}
