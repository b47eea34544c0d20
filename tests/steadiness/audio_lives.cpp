#include <algorithm>

#include "audio/audio_packets.h"
#include "codrelay/factories.h"
#include "codrelay/media_ids.h"
#include "common/test_media.h"
#include "steadiness/life_parts.h"

namespace {

constexpr std::size_t kPackets = 6;

struct AudioSetUp {
    int codec;
    const char* clip;
    int channels;
    int sampleRate;
    std::size_t packetBytes = 0;  // of a file without a container
};

std::vector<Bytes> PacketsOf(const AudioSetUp& setUp) {
    const std::string path = Clip(setUp.clip);
    std::vector<Bytes> packets =
        setUp.packetBytes != 0 ? CutIntoPackets(ReadFile(path), setUp.packetBytes) : ReadAudioPackets(path).packets;
    packets.resize(std::min(packets.size(), kPackets));
    return packets;
}

class AudioDecoderLife : public Life {
public:
    explicit AudioDecoderLife(const AudioSetUp& setUp) : m_SetUp(setUp), m_Packets(PacketsOf(setUp)) {}

    bool Build() override {
        m_pDecoder = Codrelay_AudioDecoder(m_SetUp.codec);
        return IsBuilt();
    }
    bool IsBuilt() const override { return m_pDecoder != nullptr; }
    bool Create() override {
        int sampleFormat = 0;
        return m_pDecoder->CreateDecoder(m_SetUp.channels, m_SetUp.sampleRate, sampleFormat, nullptr, 0);
    }
    std::optional<std::uint64_t> Work() override {
        Fingerprint seen;
        bool failed = false;
        for (Bytes& packet : m_Packets) {
            unsigned int consumed = 0;
            unsigned int written = 0;
            const int status = m_pDecoder->Decode(packet.data(), static_cast<unsigned int>(packet.size()), m_Out.data(),
                                                  static_cast<unsigned int>(m_Out.size() * 2), consumed, written);
            RequireDocumented(status >= 0 && status <= 4, "Decode");
            failed = failed || status != 0;
            seen.Add(m_Out.data(), written);
        }
        return failed ? std::nullopt : std::optional(seen.Value());
    }
    void Destroy() override { m_pDecoder->DestroyDecoder(); }
    void Delete() override {
        m_pDecoder->Delete();
        m_pDecoder = nullptr;
    }

private:
    AudioSetUp m_SetUp;
    std::vector<Bytes> m_Packets;
    std::vector<short> m_Out = std::vector<short>(192000);
    CAudioDecoderBase* m_pDecoder = nullptr;
};

/// The same sound in every sample format.
std::vector<unsigned char> SoundOf(int sampleFormat, std::size_t samples) {
    std::vector<unsigned char> bytes;
    for (std::size_t i = 0; i < samples; ++i) {
        const auto value = static_cast<short>((i * 1103) % 20000);
        const auto fraction = static_cast<float>(value) / 32768.0F;
        const void* sample = sampleFormat == AUDIO_SAMPLE_FLT ? static_cast<const void*>(&fraction) : &value;
        const auto* first = static_cast<const unsigned char*>(sample);
        bytes.insert(bytes.end(), first, first + (sampleFormat == AUDIO_SAMPLE_FLT ? sizeof(float) : sizeof(short)));
    }
    return bytes;
}

class AudioEncoderLife : public Life {
public:
    AudioEncoderLife(int codec, const AUDIO_FORMAT& format)
        : m_nCodec(codec), m_Format(format), m_Sound(SoundOf(format.sampleFormat, 4096)) {}

    bool Build() override {
        m_pEncoder = Codrelay_AudioEncoder(m_nCodec);
        return IsBuilt();
    }
    bool IsBuilt() const override { return m_pEncoder != nullptr; }
    bool Create() override { return m_pEncoder->CreateEncoder(&m_Format, 128000); }
    std::optional<std::uint64_t> Work() override {
        Fingerprint seen;
        bool failed = false;
        for (int i = 0; i < 4; ++i) {
            unsigned int consumed = 0;
            unsigned int written = 0;
            long long pts = 0;
            const int status =
                m_pEncoder->Encode(m_Sound.data(), static_cast<unsigned int>(m_Sound.size()), m_Out.data(),
                                   static_cast<unsigned int>(m_Out.size()), consumed, written, pts);
            RequireDocumented(status == 0 || status == 1, "Encode");
            failed = failed || status != 1;
            seen.Add(m_Out.data(), written);
            seen.Add(consumed);  // the time runs on from one encoder to the next
        }
        return failed ? std::nullopt : std::optional(seen.Value());
    }
    void Destroy() override { m_pEncoder->DestroyEncoder(); }
    void Delete() override {
        m_pEncoder->Delete();
        m_pEncoder = nullptr;
    }

private:
    int m_nCodec;
    AUDIO_FORMAT m_Format;
    std::vector<unsigned char> m_Sound;
    std::vector<unsigned char> m_Out = std::vector<unsigned char>(65536);
    CAudioEncoderBase* m_pEncoder = nullptr;
};

class ResamplerLife : public Life {
public:
    bool Build() override {
        m_pResampler = Codrelay_AudioResampler();
        return IsBuilt();
    }
    bool IsBuilt() const override { return m_pResampler != nullptr; }
    bool Create() override {
        const AUDIO_FORMAT in{44100, 2, AUDIO_SAMPLE_S16};
        const AUDIO_FORMAT out{16000, 1, AUDIO_SAMPLE_FLT};
        unsigned int room = 0;
        return m_pResampler->Create(&in, &out, static_cast<unsigned int>(m_Sound.size()), room) && room <= m_Out.size();
    }
    std::optional<std::uint64_t> Work() override {
        Fingerprint seen;
        bool failed = false;
        for (int i = 0; i < 3; ++i) {
            unsigned int written = 0;
            const bool well = m_pResampler->Resample(m_Sound.data(), static_cast<unsigned int>(m_Sound.size()),
                                                     m_Out.data(), written);
            failed = failed || !well;
            seen.Add(m_Out.data(), well ? written : 0);
        }
        return failed ? std::nullopt : std::optional(seen.Value());
    }
    void Destroy() override { m_pResampler->Destroy(); }
    void Delete() override {
        m_pResampler->Delete();
        m_pResampler = nullptr;
    }

private:
    std::vector<unsigned char> m_Sound = SoundOf(AUDIO_SAMPLE_S16, 4096);
    std::vector<unsigned char> m_Out = std::vector<unsigned char>(400000);
    CAudioResamplerBase* m_pResampler = nullptr;
};

void AddDecoder(const char* name, const AudioSetUp& setUp, std::vector<LifeKind>* kinds) {
    kinds->push_back({name, [setUp](const FrameUser&, const std::string&) -> std::unique_ptr<Life> {
                          return std::make_unique<AudioDecoderLife>(setUp);
                      }});
}

void AddEncoder(const char* name, int codec, const AUDIO_FORMAT& format, std::vector<LifeKind>* kinds) {
    kinds->push_back({name, [=](const FrameUser&, const std::string&) -> std::unique_ptr<Life> {
                          return std::make_unique<AudioEncoderLife>(codec, format);
                      }});
}

}  // namespace

void AddAudioLives(std::vector<LifeKind>* kinds) {
    AddDecoder("DecodeAac", {AUDIO_CODEC_AAC, "tones_44100_2.aac", 2, 44100}, kinds);
    AddDecoder("DecodeMp3", {AUDIO_CODEC_MP3, "tones_44100_2.mp3", 2, 44100}, kinds);
    AddDecoder("DecodeMulaw", {AUDIO_CODEC_MULAW, "tones.mulaw", 2, 8000, 320}, kinds);
    AddDecoder("DecodeG726", {AUDIO_CODEC_G726_32, "murmur_32.g726", 1, 8000, 160}, kinds);
    AddDecoder("DecodeOpus", {AUDIO_CODEC_OPUS, "tones.opus", 2, 48000}, kinds);

    AddEncoder("EncodeAac", AUDIO_CODEC_AAC, {44100, 2, AUDIO_SAMPLE_FLT}, kinds);
    AddEncoder("EncodeMp3", AUDIO_CODEC_MP3, {44100, 2, AUDIO_SAMPLE_S16}, kinds);
    AddEncoder("EncodePcm", AUDIO_CODEC_PCM_S16LE, {44100, 1, AUDIO_SAMPLE_S16}, kinds);

    kinds->push_back({"Resample", [](const FrameUser&, const std::string&) -> std::unique_ptr<Life> {
                          return std::make_unique<ResamplerLife>();
                      }});
}
