#pragma once

#include <functional>
#include <optional>

#include "packet_copier.h"
#include "packet_source.h"
#include "picture_decoder.h"
#include "picture_times.h"
#include "sound_decoder.h"
#include "transcode_item.h"
#include "transcode_plan.h"

/// The first half of a transcode: demuxes and decodes.
class TranscodeReader {
public:
    /// False: nothing more is wanted.
    using Taker = std::function<bool(TranscodeItem)>;

    TranscodeReader(LibrarySession& session, const TranscodeOptions& options, const TranscodePlan& plan);

    /// Reads to the end of the file, unless the taker has enough.
    void ReadAll(const Taker& taker);

private:
    bool TakePacket(const DEMUXER_PACKET& packet, const Taker& taker);
    bool TakeVideo(const DEMUXER_PACKET& packet, const Taker& taker);
    bool TakeSound(const DEMUXER_PACKET& packet, const Taker& taker);

    const TranscodePlan& m_Plan;
    std::string m_File;
    PacketSource m_Source;
    PictureTimes m_Times;
    std::optional<PictureDecoder> m_PictureDecoder;
    std::optional<PacketCopier> m_PictureCopier;
    std::optional<SoundDecoder> m_SoundDecoder;
    std::optional<PacketCopier> m_SoundCopier;
    std::optional<long long> m_SoundEnd;
};
