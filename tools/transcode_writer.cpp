#include "transcode_writer.h"

#include <utility>

#include "failure.h"

TranscodeWriter::TranscodeWriter(const TranscodeOptions& options, const TranscodePlan& plan)
    : m_File(options.input.file),
      m_WantsPictures(plan.video != Treatment::None),
      m_Writer(NewContainerWriter(plan.container)),
      m_Interleaver(*m_Writer, plan.video != Treatment::None && plan.sound != Treatment::None) {
    AddTracks(options, plan);
}

void TranscodeWriter::AddTracks(const TranscodeOptions& options, const TranscodePlan& plan) {
    const auto write = [this](MediaPacket packet) { Write(std::move(packet)); };
    if (plan.video == Treatment::Encode) {
        m_Video.emplace(plan.encoder, options.frameRate, write);
    }
    if (plan.sound == Treatment::Encode) {
        m_Sound.emplace(plan.decodedSound, plan.container.audioCodec, plan.container.sound, options.audioBitRate,
                        write);
    }
}

void TranscodeWriter::Take(TranscodeItem item) {
    if (auto* picture = std::get_if<TimedPicture>(&item)) {
        m_Video->Add(picture->picture, picture->time);
    } else if (auto* sound = std::get_if<TimedSamples>(&item)) {
        m_Sound->Add(std::move(sound->samples), sound->time);
    } else {
        Write(std::move(std::get<MediaPacket>(item)));
    }
}

PacketCounts TranscodeWriter::Finish() {
    if (m_Sound) {
        m_Sound->Finish();
    }
    m_Interleaver.Finish();
    if (m_WantsPictures && m_Counts.pictures == 0) {
        throw Failure(m_File + ": its video gives no picture");
    }
    m_Writer->Finish();
    return m_Counts;
}

void TranscodeWriter::Write(MediaPacket packet) {
    ++(packet.medium == Medium::Video ? m_Counts.pictures : m_Counts.sound);
    m_Interleaver.Add(std::move(packet));
}
