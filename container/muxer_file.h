#pragma once

#include <string>
#include <vector>

#include "codrelay/file_muxer.h"
#include "codrelay/muxer_param.h"
#include "support/ffmpeg.h"

/// Writes a container file through libavformat. In the parameters codecs are FFmpeg's ids, 0 for an absent stream.
/// An object leaves through `Delete`: the destructor does not touch the context.
class CMuxerFile : public CMuxerFileBase {
public:
    ~CMuxerFile() override;

    void Delete() override;
    int WriteHeader() override;
    int WriteFrame(unsigned char* data, int size, int keyFrame, long long pts) override;
    int WriteSound(unsigned char* data, int size, long long pts) override;
    int WriteTrailer() override;
    long long GetFileSize() override;

    /// Sets the object up; no file is opened yet. `fileName` may be null, then the name is empty. 1 or 0.
    int Create(const char* fileName, const char* formatName, MUXER_PARAM* param);
    /// Frees the context and keeps the object.
    void Destroy();
    AVStream* AddVideoStream(AVFormatContext* context);
    AVStream* AddAudioStream(AVFormatContext* context);
    /// Flushes the interleaver on every 26th call.
    void FlushFile();

private:
    int Refuse();
    bool MakeContext(FfmpegOutFormat* format);
    bool AddStreams();
    void SetAudioCutting();
    void LatchOrigin(long long pts);
    /// Writes one frame of the block, of which `left` bytes are left. The declared size, 0 on failure.
    int WriteSoundFrame(unsigned char* data, int left);
    unsigned char* WholeFrame(unsigned char* data, int left, int size);

    MUXER_PARAM m_Param{};
    AVFormatContext* m_pFormatContext = nullptr;
    AVStream* m_pVideoStream = nullptr;
    AVStream* m_pAudioStream = nullptr;
    int m_bFirstPacketPending = 1;
    int64_t m_nBasePts = 0;
    int64_t m_nPrevVideoPts = 0;
    int64_t m_nPrevAudioPts = 0;
    int64_t m_nPtsShift = 0;
    std::string m_FileName;
    unsigned int m_nFlushCounter = 0;
    int m_nAudioFrameBytes = 0;
    int m_nAudioFrameMs = 0;
    int m_nAudioPadding = 0;
    int64_t m_nAudioNextTs = 0;
    // libavformat crashes on a write or a trailer that no accepted header precedes; then such a call fails here.
    bool m_bHeaderWritten = false;
    // A last MP3 frame that is declared longer than what is left of the caller's block.
    std::vector<unsigned char> m_Scratch;
};
