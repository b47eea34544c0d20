#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "codrelay/audio_decoder.h"
#include "support/ffmpeg.h"

using Bytes = std::vector<unsigned char>;

/// An audio stream as a container holds it.
struct AudioPackets {
    AVCodecID codecId = AV_CODEC_ID_NONE;
    int channels = 0;
    int sampleRate = 0;
    std::vector<Bytes> packets;
};

/// The packets of the first audio stream, by FFmpeg's own demuxers. Throws where there is none.
AudioPackets ReadAudioPackets(const std::string& path);

/// A file without a container, cut into packets of that many bytes; the last may be shorter.
std::vector<Bytes> CutIntoPackets(const Bytes& file, std::size_t packetBytes);

/// An ADTS frame without its header.
Bytes WithoutAdtsHeader(const Bytes& frame);

/// What came out of a decoder for all packets, one behind the other, and how each call ended.
struct Decoded {
    Bytes samples;
    std::vector<int> results;

    template <typename Sample>
    std::vector<Sample> As() const {
        std::vector<Sample> typed(samples.size() / sizeof(Sample));
        std::copy_n(samples.data(), typed.size() * sizeof(Sample), reinterpret_cast<unsigned char*>(typed.data()));
        return typed;
    }
};

Decoded DecodeAll(CAudioDecoderBase* decoder, const std::vector<Bytes>& packets);

/// A decoder of the library's that is ready, and is destroyed and deleted at the end.
class ReadyDecoder {
public:
    ReadyDecoder(int id, int channels, int sampleRate);
    ~ReadyDecoder();
    ReadyDecoder(const ReadyDecoder&) = delete;
    ReadyDecoder& operator=(const ReadyDecoder&) = delete;

    CAudioDecoderBase* operator->() const { return m_pDecoder; }
    CAudioDecoderBase* Get() const { return m_pDecoder; }
    bool IsReady() const { return m_bReady; }
    int SampleFormat() const { return m_nSampleFormat; }

private:
    CAudioDecoderBase* m_pDecoder;
    int m_nSampleFormat = -1;
    bool m_bReady;
};
