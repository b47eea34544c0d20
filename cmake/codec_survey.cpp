// What this FFmpeg lacks of the codecs that the library asks for, in words; nothing where it lacks none. Run when the
// build is configured.

#include <cstdio>
#include <string>

#include "front/registry/codec_names.h"

namespace {

/// Names behind a word, each once: "decoders a, b".
class List {
public:
    explicit List(const char* word) : m_sWord(word) {}

    void Add(const char* name) {
        if (m_sNames.find(name) == std::string::npos) {
            m_sNames += (m_sNames.empty() ? "" : ", ") + std::string(name);
        }
    }

    std::string Text() const { return m_sNames.empty() ? "" : m_sWord + " " + m_sNames; }

private:
    std::string m_sWord;
    std::string m_sNames;
};

void NoteEncoder(List& missing, const char* name) {
    if (avcodec_find_encoder_by_name(name) == nullptr) {
        missing.Add(name);
    }
}

void NoteDecoder(List& missing, const char* name) {
    if (avcodec_find_decoder_by_name(name) == nullptr) {
        missing.Add(name);
    }
}

/// Those that the library can make ready.
bool IsSoundEncoded(int id) {
    return id == AUDIO_CODEC_AAC || id == AUDIO_CODEC_MP3 || id == AUDIO_CODEC_PCM_S16LE;
}

std::string Join(const std::string& first, const char* between, const std::string& second) {
    return first + (first.empty() || second.empty() ? "" : between) + second;
}

}  // namespace

int main() {
    List encoders("encoders");
    List decoders("decoders");
    for (int id = VIDEO_CODEC_FLV; id <= VIDEO_CODEC_H265; ++id) {
        if (kVideoEncoderNames[id] != nullptr && !(id == VIDEO_CODEC_H264 && StandsInForH264())) {
            NoteEncoder(encoders, kVideoEncoderNames[id]);
        }
        NoteDecoder(decoders, kVideoDecoderNames[id]);
    }
    for (const AudioCodec& codec : kAudioCodecs) {
        if (IsSoundEncoded(codec.id)) {
            NoteEncoder(encoders, codec.encoderName);
        }
        NoteDecoder(decoders, codec.decoderName);
    }
    const std::string standIn =
        StandsInForH264() ? std::string("H.264 is encoded by ") + kH264StandIn + " (no libopenh264)" : "";
    const std::string missing = Join(encoders.Text(), "; ", decoders.Text());
    std::puts(Join(standIn, "; ", missing.empty() ? "" : "missing: " + missing).c_str());
}
