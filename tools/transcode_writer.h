#pragma once

#include <memory>
#include <optional>

#include "container_writer.h"
#include "packet_interleaver.h"
#include "sound_track.h"
#include "transcode_item.h"
#include "transcode_plan.h"
#include "video_track.h"

/// What went into a container.
struct PacketCounts {
    long long pictures = 0;
    long long sound = 0;
};

/// The second half of a transcode: encodes and muxes.
class TranscodeWriter {
public:
    TranscodeWriter(const TranscodeOptions& options, const TranscodePlan& plan);

    void Take(TranscodeItem item);
    /// Writes what still waits, and ends the container.
    PacketCounts Finish();

private:
    void AddTracks(const TranscodeOptions& options, const TranscodePlan& plan);
    void Write(MediaPacket packet);

    std::string m_File;
    bool m_WantsPictures;
    std::unique_ptr<ContainerWriter> m_Writer;
    PacketInterleaver m_Interleaver;
    std::optional<VideoTrack> m_Video;
    std::optional<SoundTrack> m_Sound;
    PacketCounts m_Counts;
};
