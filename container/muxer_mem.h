#pragma once

#include "codrelay/memory_muxer.h"
#include "codrelay/muxer_param.h"
#include "support/ffmpeg.h"

/// Writes a container into memory, in pieces. Much like CMuxerFile and yet different in many details that hosts know,
/// so the two stay apart. In the parameters codecs are FFmpeg's ids, 0 for an absent stream. An object leaves through
/// `Delete`: the destructor does not touch the context.
class CMuxerMem : public CMuxerMemBase {
public:
    ~CMuxerMem() override;

    void Delete() override;
    int BeginWriteBuf() override;
    int GetWriteBuf(unsigned char*& buffer) override;
    void FreeWriteBuf(unsigned char* buffer) override;
    int WriteHeader() override;
    int WriteFrame(unsigned char* data, int size, int keyFrame, long long pts) override;
    int WriteSound(unsigned char* data, int size, long long pts) override;
    int WriteTrailer() override;

    int Create(const char* formatName, MUXER_PARAM* param);
    /// Frees the context and keeps the object.
    void Destroy();
    AVStream* AddVideoStream(AVFormatContext* context);
    AVStream* AddAudioStream(AVFormatContext* context);

private:
    int Refuse();
    bool MakeContext(FfmpegOutFormat* format);
    bool AddStreams();
    void SetAudioCutting();
    void LatchOrigin(long long pts);
    bool CanWrite() const;
    bool WriteSoundFrame(unsigned char* data, int64_t milliseconds);

    MUXER_PARAM m_Param{};
    AVFormatContext* m_pFormatContext = nullptr;
    AVStream* m_pVideoStream = nullptr;
    AVStream* m_pAudioStream = nullptr;
    int m_bFirstPacketPending = 1;
    int64_t m_nBasePts = 0;
    int64_t m_nPrevVideoPts = 0;
    int64_t m_nPrevAudioPts = 0;
    int64_t m_nPtsShift = 0;
    int m_nAudioFrameBytes = 0;
    int m_nAudioFrameMs = 0;
    // libavformat crashes on a write or a trailer that no accepted header precedes; then such a call fails here.
    bool m_bHeaderWritten = false;
};
