// Pushes a WAV file into the memory demuxer in small pieces, as if it came over a network, and takes the sound out.
//
//   example_demux_from_memory FILE.wav OUT.pcm
#include <codrelay/codrelay.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <vector>

namespace {

/// Every call comes on the demuxer's own thread; nobody else looks at the fields before that thread has ended.
struct Sound : CDemuxerMemCallback {
    explicit Sound(const char* path) : out(path, std::ios::binary) {}

    int OnVideoStream(int, int) override { return 0; }
    int OnAudioStream(int, int codecId, AUDIO_FORMAT* streamFormat) override {
        codec = codecId;
        format = *streamFormat;  // borrowed for the call
        return 0;
    }
    int OnPacket(DEMUXER_PACKET* packet) override {
        const long long size = std::min<long long>(packet->size, left);
        out.write(reinterpret_cast<const char*>(packet->data), size);
        left -= size;
        bytes += size;
        return 0;
    }

    std::ofstream out;
    int codec = -1;
    AUDIO_FORMAT format = {0, 0, 0};
    long long left = 0;  // bytes of sound that are still to come
    long long bytes = 0;
};

/// How many bytes of sound a WAV file has: what is behind the head of its chunk "data". A host that reads from a
/// network looks for it in the first bytes that pass.
long long SoundBytes(std::ifstream& file) {
    const long long fileBytes = file.seekg(0, std::ios::end).tellg();
    unsigned char head[8] = {};
    long long at = 12;  // "RIFF", a length, "WAVE"
    while (file.seekg(at).read(reinterpret_cast<char*>(head), sizeof(head)) && std::memcmp(head, "data", 4) != 0) {
        const long long size = head[4] | head[5] << 8 | head[6] << 16 | static_cast<long long>(head[7]) << 24;
        at += 8 + size + size % 2;
    }
    const bool found = file.good();
    file.clear();
    file.seekg(0);
    return found ? fileBytes - at - 8 : 0;
}

/// What lies in the buffer when the demuxer goes is lost. A write that crosses the buffer's end waits until the reader
/// has taken all that is before it; so zeros up to there, and one more, push the last of the sound through. A WAV
/// file that came through a pipe or was cut does not tell where its sound ends, and they come out as more of it: that
/// is why the sound is counted.
bool PushRest(CDemuxerMemBase& demuxer, std::size_t written) {
    constexpr std::size_t buffer = 524288;
    std::vector<unsigned char> zeros(buffer - written % buffer + 1);
    return demuxer.WriteData(zeros.data(), static_cast<unsigned int>(zeros.size()));
}

/// The number of bytes pushed, 0 where the reader ended early.
std::size_t Push(CDemuxerMemBase& demuxer, std::ifstream& file) {
    std::vector<unsigned char> piece(1400);
    std::size_t written = 0;
    while (file.read(reinterpret_cast<char*>(piece.data()), static_cast<std::streamsize>(piece.size())),
           file.gcount() > 0) {
        // Waits where the reader is behind; false when it has ended, on bytes that are no WAV file.
        if (!demuxer.WriteData(piece.data(), static_cast<unsigned int>(file.gcount())))
            return 0;
        written += static_cast<std::size_t>(file.gcount());
    }
    return written;
}

int Fail(const char* what) {
    std::fprintf(stderr, "%s\n", what);
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3)
        return Fail("usage: example_demux_from_memory FILE.wav OUT.pcm");
    std::ifstream file(argv[1], std::ios::binary);
    if (!file)
        return Fail("the file cannot be read");
    Codrelay_Create(nullptr);

    Sound sound(argv[2]);
    sound.left = SoundBytes(file);
    CDemuxerMemBase* demuxer = Codrelay_DemuxerMem(DEMUXER_FORMAT_WAV, &sound);
    if (demuxer == nullptr)
        return Fail("there is no thread to be had");
    const std::size_t written = Push(*demuxer, file);
    if (written > 0)
        PushRest(*demuxer, written);
    // Waits for the reader; the line in the log that it is gone is routine.
    demuxer->Delete();
    Codrelay_Destroy();

    std::printf("%zu bytes in, codec %d, %d Hz, %d channels, %lld bytes of sound\n", written, sound.codec,
                sound.format.sampleRate, sound.format.channels, sound.bytes);
    return sound.bytes > 0 && sound.out.flush() ? 0 : Fail("no sound came out");
}
