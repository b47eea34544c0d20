#include "transcode_reader.h"

#include <utility>

#include "failure.h"
#include "interrupt.h"
#include "sample_format.h"

namespace {

/// Of a file without times.
constexpr unsigned int kUsualRate = 25;

}  // namespace

TranscodeReader::TranscodeReader(LibrarySession& session, const TranscodeOptions& options, const TranscodePlan& plan)
    : m_Plan(plan),
      m_File(options.input.file),
      m_Source(session, m_File),
      m_Times(plan.videoStream.codecId, options.frameRate != 0 ? options.frameRate : kUsualRate) {
    if (plan.video == Treatment::Encode) {
        m_PictureDecoder.emplace(session, DecoderSetup{plan.videoStream.codecId, plan.inSize, true});
    } else if (plan.video == Treatment::Copy) {
        m_PictureCopier.emplace(plan.videoStream, m_File);
    }
    if (plan.sound == Treatment::Encode) {
        m_SoundDecoder.emplace(plan.soundStream, m_File);
    } else if (plan.sound == Treatment::Copy) {
        m_SoundCopier.emplace(plan.soundStream, m_File);
    }
    m_Source.ShowProgress(options.label);
}

void TranscodeReader::ReadAll(const Taker& taker) {
    bool wanted = true;
    const auto take = [&](const DEMUXER_PACKET& packet) { wanted = TakePacket(packet, taker); };
    while (wanted && m_Source.ReadNext(take)) {
        StopIfInterrupted();
    }
}

bool TranscodeReader::TakePacket(const DEMUXER_PACKET& packet, const Taker& taker) {
    if (packet.size <= 0) {
        return true;
    }
    if (m_Plan.video != Treatment::None && packet.streamIndex == m_Plan.videoStream.index) {
        return TakeVideo(packet, taker);
    }
    if (m_Plan.sound != Treatment::None && packet.streamIndex == m_Plan.soundStream.index) {
        return TakeSound(packet, taker);
    }
    return true;
}

bool TranscodeReader::TakeVideo(const DEMUXER_PACKET& packet, const Taker& taker) {
    if (m_PictureCopier) {
        return taker(m_PictureCopier->Copy(packet));
    }
    m_Times.Sent(packet);
    Picture picture;
    switch (m_PictureDecoder->Decode(packet, picture)) {
        case DecodeStatus::Picture:
            return taker(TimedPicture{std::move(picture), m_Times.Take()});
        case DecodeStatus::NoPicture:
            return true;
        case DecodeStatus::Damaged:
        case DecodeStatus::OtherSize:
            m_Times.Refused();
            return true;
        case DecodeStatus::NoBuffer:
            break;
    }
    throw Failure("the decoder has no picture buffer left");
}

/// Sound without a time follows what came before.
bool TranscodeReader::TakeSound(const DEMUXER_PACKET& packet, const Taker& taker) {
    if (m_SoundCopier) {
        return taker(m_SoundCopier->Copy(packet));
    }
    const std::vector<unsigned char>* samples = m_SoundDecoder->Decode(packet);
    if (samples == nullptr) {
        return true;
    }
    const long long stamp = StampOf(packet);
    const long long time = stamp != kNoTime ? stamp : m_SoundEnd.value_or(0);
    const AUDIO_FORMAT& format = m_SoundDecoder->Format();
    m_SoundEnd = time + static_cast<long long>(samples->size() / GroupBytes(format)) * 1000 / format.sampleRate;
    return taker(TimedSamples{*samples, time});
}
