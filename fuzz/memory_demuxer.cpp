// Pushes the input into a memory demuxer: a byte that chooses the format, a byte of how many chunk sizes there are,
// the sizes, which are gone through again and again, and the container.
#include "container/demuxer_mem.h"
#include "fuzz/input_reader.h"
#include "fuzz/read_every_byte.h"

namespace {

constexpr const char* kFormats[] = {"WAV format",
                                    "ASF format",
                                    "AVI (Audio Video Interleaved)",
                                    "FLV (Flash Video)",
                                    "MPEG-TS (MPEG-2 Transport Stream)",
                                    "raw H.264 video",
                                    "MP2/3 (MPEG audio layer 2/3)",
                                    "no such format"};
constexpr std::size_t kBufferSize = 524288;

class PacketReader : public CDemuxerMemCallback {
public:
    int OnVideoStream(int /*streamIndex*/, int /*codecId*/) override { return 0; }
    int OnAudioStream(int /*streamIndex*/, int /*codecId*/, AUDIO_FORMAT* /*format*/) override { return 0; }
    int OnPacket(DEMUXER_PACKET* packet) override {
        ReadEveryByte(packet->data, static_cast<std::size_t>(packet->size));
        return 0;
    }
};

std::vector<unsigned int> ChunkSizes(InputReader* input) {
    std::vector<unsigned int> sizes(1 + input->Number<std::uint8_t>() % 16);
    for (unsigned int& size : sizes) {
        const unsigned int root = input->Number<std::uint8_t>();
        size = root * root + (root == 0 ? 1 : 0);
    }
    return sizes;
}

bool WriteInChunks(CDemuxerMemBase* demuxer, const std::vector<unsigned char>& bytes,
                   const std::vector<unsigned int>& sizes) {
    std::size_t position = 0;
    for (std::size_t i = 0; position < bytes.size(); ++i) {
        const std::size_t size = std::min<std::size_t>(sizes[i % sizes.size()], bytes.size() - position);
        std::vector<unsigned char> chunk(bytes.begin() + static_cast<std::ptrdiff_t>(position),
                                         bytes.begin() + static_cast<std::ptrdiff_t>(position + size));
        if (!demuxer->WriteData(chunk.data(), static_cast<unsigned int>(size))) {
            return false;
        }
        position += size;
    }
    return true;
}

// The last byte is stored when the reader has taken all before it.
void FillUp(CDemuxerMemBase* demuxer, std::size_t written) {
    std::vector<unsigned char> filler(kBufferSize - written % kBufferSize + 1);
    demuxer->WriteData(filler.data(), static_cast<unsigned int>(filler.size()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    InputReader input(data, size);
    PacketReader callback;
    CDemuxerMemBase* const demuxer = new CDemuxerMem;
    demuxer->Create(input.OneOf(kFormats), &callback);
    const std::vector<unsigned int> sizes = ChunkSizes(&input);
    const std::vector<unsigned char> container = input.Rest();
    if (WriteInChunks(demuxer, container, sizes)) {
        FillUp(demuxer, container.size());
    }
    demuxer->Delete();
    return 0;
}
