// Decodes the Opus stream of a file into 16-bit samples at 48000 Hz, interleaved.
//
//   example_decode_opus FILE.opus OUT.pcm
#include <codrelay/codrelay.h>

#include <cstdio>
#include <fstream>
#include <vector>

namespace {

constexpr int kRate = 48000;

struct Player : CDemuxerFileCallback {
    CAudioDecoderBase* decoder = nullptr;
    int stream = 0;
    int channels = 0;
    std::vector<short> samples;
    std::ofstream out;
    int packets = 0;
    int failures = 0;
    long long samplesPerChannel = 0;

    int OnPacket(DEMUXER_PACKET* packet) override {
        if (packet->streamIndex != stream)
            return 0;
        ++packets;
        unsigned int consumed = 0;
        unsigned int written = 0;
        const auto room = static_cast<unsigned int>(samples.size() * sizeof(short));
        if (decoder->Decode(packet->data, static_cast<unsigned int>(packet->size), samples.data(), room, consumed,
                            written) != 0) {
            ++failures;
            return 0;
        }
        // The Opus decoder counts one channel only; there are as many bytes again for the second.
        out.write(reinterpret_cast<const char*>(samples.data()), static_cast<std::streamsize>(written) * channels);
        samplesPerChannel += static_cast<long long>(written / sizeof(short));
        return 0;
    }
};

/// The first sound whose codec the demuxers have no id for, which is what they say of Opus; -1 where there is none.
/// That it is Opus and nothing else is for the host to know.
int FindOpus(CDemuxerFileBase& file, AUDIO_FORMAT& format) {
    int codec = 0;
    for (int stream = 0; stream < file.GetStreamCount(); ++stream)
        if (file.GetAudioStreamInfo(stream, &codec, &format) && codec == -1)
            return stream;
    return -1;
}

int Fail(const char* what) {
    std::fprintf(stderr, "%s\n", what);
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3)
        return Fail("usage: example_decode_opus FILE.opus OUT.pcm");
    Codrelay_Create(nullptr);

    Player player;
    const std::unique_ptr<CDemuxerFileBase> file(Codrelay_DemuxerFile(0));
    if (!file->Open(argv[1], &player))
        return Fail("the file cannot be read");
    AUDIO_FORMAT format = {0, 0, 0};
    player.stream = FindOpus(*file, format);
    if (player.stream < 0 || format.channels > 2)
        return Fail("the file has no Opus of one or two channels");
    player.channels = format.channels;
    player.out.open(argv[2], std::ios::binary);

    player.decoder = Codrelay_AudioDecoder(AUDIO_CODEC_OPUS);
    int sampleFormat = AUDIO_SAMPLE_S16;  // of Opus always
    if (!player.decoder->CreateDecoder(player.channels, kRate, sampleFormat, nullptr, 0))
        return Fail("the decoder cannot be made");
    player.samples.resize(static_cast<std::size_t>(player.decoder->GetMinOutBufLen()) / sizeof(short));
    while (file->ReadNextFrame() == 1)
        continue;
    player.decoder->DestroyDecoder();
    player.decoder->Delete();
    Codrelay_Destroy();

    std::printf("%d packets, %d channels, %lld samples each\n", player.packets, player.channels,
                player.samplesPerChannel);
    return player.failures == 0 && player.packets > 0 && player.out.flush() ? 0 : Fail("not all packets were decoded");
}
