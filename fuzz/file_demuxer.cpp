// Opens the input as a file, asks for its streams and reads its packets.
#include <memory>

#include "codrelay/factories.h"
#include "fuzz/input_reader.h"
#include "fuzz/read_every_byte.h"
#include "fuzz/temporary_file.h"

namespace {

constexpr int kMostReads = 500;

class PacketReader : public CDemuxerFileCallback {
public:
    int OnPacket(DEMUXER_PACKET* packet) override {
        ReadEveryByte(packet->data, static_cast<std::size_t>(packet->size));
        return 0;
    }
};

void AskForStreams(CDemuxerFileBase* demuxer) {
    for (int index = -1; index <= demuxer->GetStreamCount(); ++index) {
        int codec = 0;
        AUDIO_FORMAT format{};
        demuxer->GetStreamType(index);
        demuxer->GetVideoStreamInfo(index, &codec);
        demuxer->GetAudioStreamInfo(index, &codec, &format);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const TemporaryFile file;
    file.Fill(InputReader(data, size).Rest());
    PacketReader callback;
    const std::unique_ptr<CDemuxerFileBase> demuxer(Codrelay_DemuxerFile(0));
    if (!demuxer->Open(file.Path().c_str(), &callback)) {
        return 0;
    }
    AskForStreams(demuxer.get());
    // A packet that cannot be filtered looks like the end, and is none.
    for (int reads = 0; reads < kMostReads; ++reads) {
        if (demuxer->ReadNextFrame() == 0 && demuxer->ReadNextFrame() == 0) {
            break;
        }
    }
    AskForStreams(demuxer.get());
    demuxer->Close();
    return 0;
}
