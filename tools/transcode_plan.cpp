#include "transcode_plan.h"

#include <algorithm>
#include <map>

#include "failure.h"
#include "picture_transform.h"
#include "sound_decoder.h"
#include "sound_encoder.h"

namespace {

constexpr unsigned int kUsualRate = 25;
constexpr unsigned int kLeastBitRate = 200000;

class Planner {
public:
    Planner(LibrarySession& session, const TranscodeOptions& options)
        : m_Session(session), m_Options(options), m_Survey(SurveyInput(session, options.input.file)) {}

    TranscodePlan Plan() {
        m_Plan.container.format = FindContainerFormat(m_Options.format, m_Options.out);
        m_Plan.container.in = m_Options.input.file;
        m_Plan.container.out = m_Options.out;
        m_Plan.container.onMemory = m_Options.onMemory.value_or(false);
        PlanVideo();
        PlanSound();
        if (m_Plan.video == Treatment::None && m_Plan.sound == Treatment::None) {
            throw Failure(m_Plan.soundLeftOut.empty() ? m_Options.input.file + ": nothing of it is left to write"
                                                      : m_Plan.soundLeftOut);
        }
        return m_Plan;
    }

private:
    void PlanVideo() {
        if (m_Options.video == "none" || !m_Survey.video) {
            return;
        }
        const VideoInput input = FindVideoInput(m_Session, m_Options.input);
        m_Plan.videoStream = input.stream;
        m_Plan.inSize = input.size;
        m_Plan.container.frameRate = m_Survey.frameRate;
        if (m_Options.video == "copy") {
            m_Plan.video = Treatment::Copy;
            m_Plan.container.videoCodec = input.stream.codecId;
            m_Plan.container.size = input.size;
        } else {
            m_Plan.video = Treatment::Encode;
            PlanEncoder(input);
        }
    }

    void PlanEncoder(const VideoInput& input) {
        EncoderSetup& encoder = m_Plan.encoder;
        encoder.codecId = CodecOfEncoderName(m_Options.video);
        encoder.size = m_Options.size.value_or(input.size);
        if (m_Options.size) {
            CheckSizeAskedFor(encoder.size);
        }
        encoder.frameRate = FrameRate();
        encoder.bitRate = m_Options.videoBitRate != 0 ? m_Options.videoBitRate : UsualBitRate(encoder);
        encoder.keyInterval =
            m_Options.keyInterval >= 0 ? m_Options.keyInterval : 2 * static_cast<int>(encoder.frameRate);
        m_Plan.container.videoCodec = encoder.codecId;
        m_Plan.container.size = encoder.size;
        m_Plan.container.frameRate = encoder.frameRate;
        if (encoder.codecId == VIDEO_CODEC_H264) {
            // The encoder drops an odd last row or column.
            m_Plan.container.size = {encoder.size.width & ~1U, encoder.size.height & ~1U};
        }
    }

    unsigned int FrameRate() const {
        const unsigned int given = m_Survey.frameRate;
        const unsigned int wanted = m_Options.frameRate;
        if (given == 0) {
            return wanted != 0 ? wanted : kUsualRate;
        }
        return wanted != 0 ? std::min(wanted, given) : given;
    }

    static unsigned int UsualBitRate(const EncoderSetup& encoder) {
        return std::max(kLeastBitRate, encoder.size.width * encoder.size.height / 10 * encoder.frameRate);
    }

    void PlanSound() {
        if (m_Options.audio == "none" || !m_Survey.sound) {
            return;
        }
        m_Plan.soundStream = *m_Survey.sound;
        if (m_Options.audio == "copy") {
            PlanSoundCopy();
        } else if (CanDecodeSound()) {
            PlanSoundEncoder();
        }
    }

    void PlanSoundCopy() {
        ContainerSetup& container = m_Plan.container;
        if (m_Plan.soundStream.codecId == -1) {
            throw Failure(m_Options.input.file + ": its sound is in a codec that the library does not name; " +
                          "transcode --audio none leaves it out");
        }
        m_Plan.sound = Treatment::Copy;
        container.onMemory = m_Options.onMemory.value_or(true);
        container.audioCodec = m_Plan.soundStream.codecId;
        container.sound = m_Plan.soundStream.audio;
        container.mp3FrameBytes = m_Survey.soundBytes;
    }

    /// Sound that nobody asked for by name may stay away, with a word about it.
    bool CanDecodeSound() {
        try {
            m_Plan.decodedSound = SoundDecoder(m_Plan.soundStream, m_Options.input.file).Format();
            return true;
        } catch (const Failure& failure) {
            if (!m_Options.audio.empty()) {
                throw;
            }
            m_Plan.soundLeftOut = failure.what();
            return false;
        }
    }

    void PlanSoundEncoder() {
        static const std::map<std::string, int> codecs = {
            {"", AUDIO_CODEC_MP3}, {"mp3", AUDIO_CODEC_MP3}, {"aac", AUDIO_CODEC_AAC}, {"pcm", AUDIO_CODEC_PCM_S16LE}};
        ContainerSetup& container = m_Plan.container;
        m_Plan.sound = Treatment::Encode;
        container.audioCodec = codecs.at(m_Options.audio);
        container.sound = FormatForEncoder(container.audioCodec, m_Plan.decodedSound.channels);
        container.onMemory = container.audioCodec != AUDIO_CODEC_MP3;
        if (container.audioCodec == AUDIO_CODEC_MP3) {
            container.mp3FrameBytes = Mp3FrameBytes(container.sound, m_Options.audioBitRate);
        }
    }

    LibrarySession& m_Session;
    const TranscodeOptions& m_Options;
    InputSurvey m_Survey;
    TranscodePlan m_Plan{};
};

}  // namespace

TranscodePlan PlanTranscode(LibrarySession& session, const TranscodeOptions& options) {
    return Planner(session, options).Plan();
}
