// Puts an H.264 stream into MPEG-TS in memory. The container comes out in pieces, which a server would send as they
// are; here they go into a file.
//
//   example_mux_to_memory FILE.264 OUT.ts
#include <codrelay/codrelay.h>

#include <cstdio>
#include <fstream>

namespace {

/// The dance around every write: begin, write, take the piece, give it back.
class PieceWriter {
public:
    PieceWriter(CMuxerMemBase& muxer, const char* path) : m_Muxer(muxer), m_Out(path, std::ios::binary) {}

    template <typename Write>
    void Take(Write write) {
        if (m_Muxer.BeginWriteBuf() != 1 || write(m_Muxer) != 1)
            m_bFailed = true;
        unsigned char* piece = nullptr;
        const int bytes = m_Muxer.GetWriteBuf(piece);
        // Often there is none: libavformat holds packets back to put them in order.
        if (bytes > 0)
            Send(piece, bytes);
        m_Muxer.FreeWriteBuf(piece);
    }

    bool IsGood() { return !m_bFailed && m_Out.flush().good(); }
    int GetPieces() const { return m_nPieces; }
    long long GetBytes() const { return m_nBytes; }

private:
    void Send(const unsigned char* piece, int bytes) {
        m_Out.write(reinterpret_cast<const char*>(piece), bytes);
        ++m_nPieces;
        m_nBytes += bytes;
    }

    CMuxerMemBase& m_Muxer;
    std::ofstream m_Out;
    bool m_bFailed = false;
    int m_nPieces = 0;
    long long m_nBytes = 0;
};

struct Feeder : CDemuxerFileCallback {
    explicit Feeder(PieceWriter& writer) : m_Writer(writer) {}

    int OnPacket(DEMUXER_PACKET* packet) override {
        // A bare stream has no times of its own; 25 pictures a second are 40 ms each. The first stands at 40.
        const long long time = 40LL * ++m_nPackets;
        m_Writer.Take([&](CMuxerMemBase& muxer) {
            return muxer.WriteFrame(packet->data, packet->size, static_cast<int>(packet->keyFrame), time);
        });
        return 0;
    }

    PieceWriter& m_Writer;
    int m_nPackets = 0;
};

int Fail(const char* what) {
    std::fprintf(stderr, "%s\n", what);
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3)
        return Fail("usage: example_mux_to_memory FILE.264 OUT.ts");
    Codrelay_Create(nullptr);
    // What FFmpeg itself writes to stderr; it warns of much that is as it should be.
    Codrelay_SetFfmpegLogLevel("error");

    MUXER_PARAM param = {};
    param.videoCodec = VIDEO_CODEC_H264;
    param.audioCodec = -1;  // no sound
    param.width = 320;
    param.height = 240;
    CMuxerMemBase* muxer = Codrelay_MuxerMem(MUXER_FORMAT_MPEGTS, &param);
    if (muxer == nullptr)
        return Fail("there is no such muxer");

    PieceWriter writer(*muxer, argv[2]);
    Feeder feeder(writer);
    const std::unique_ptr<CDemuxerFileBase> file(Codrelay_DemuxerFile(0));
    if (!file->Open(argv[1], &feeder))
        return Fail("the file cannot be read");
    writer.Take([](CMuxerMemBase& m) { return m.WriteHeader(); });
    while (file->ReadNextFrame() == 1)
        continue;
    writer.Take([](CMuxerMemBase& m) { return m.WriteTrailer(); });
    muxer->Delete();
    Codrelay_Destroy();

    std::printf("%d packets in, %d pieces and %lld bytes out\n", feeder.m_nPackets, writer.GetPieces(),
                writer.GetBytes());
    return writer.IsGood() && feeder.m_nPackets > 0 ? 0 : Fail("not all went well");
}
