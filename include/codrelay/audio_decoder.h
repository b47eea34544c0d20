#pragma once

/// @file
/// Audio decoders.

#include "codrelay/export.h"

/// An audio decoder: one compressed packet in, interleaved samples out. Keeps no timestamps and starts no thread.
///
///     CAudioDecoderBase* decoder = Codrelay_AudioDecoder(AUDIO_CODEC_AAC);
///     int sampleFormat = 0;
///     if (decoder->CreateDecoder(2, 44100, sampleFormat, nullptr, 0)) {
///         std::vector<short> samples(decoder->GetMinOutBufLen() / sizeof(short));
///         unsigned int consumed, written;
///         if (decoder->Decode(packet, packetBytes, samples.data(), samples.size() * sizeof(short), consumed,
///                             written) == 0) {
///             // `written` bytes of samples, in the format that `sampleFormat` names
///         }
///     }
///     decoder->DestroyDecoder();
///     decoder->Delete();
///
/// One thread at a time may use an object; different objects run in parallel, and opening and closing take turns inside
/// the library. Failures are logged on the logger "ffmpeg", except those of the Opus decoder, which logs nothing.
class CODRELAY_API CAudioDecoderBase {
public:
    virtual ~CAudioDecoderBase();

    /// Disposes of the object. REQUIRES: `DestroyDecoder` was called since the last successful `CreateDecoder`, else
    /// FFmpeg's objects are lost. The Opus decoder needs no such call.
    virtual void Delete() = 0;

    /// Makes the decoder ready. True on success; false with a line in the log otherwise, after which it may be tried
    /// again.
    ///
    /// `channels` and `sampleRate` (samples per second) describe the stream. AMR and G.726 know one channel only, and
    /// G.726 always runs at 8000 whatever rate is given; AAC and MP3 take one or two channels; PCM and the laws take
    /// one or more. AAC is raw frames without a header: its set-up is made from `channels` and `sampleRate`, and where
    /// the rate is none of the MPEG-4 rates, it is set up for 96000 and a line at Error says so. Frames with a header
    /// (ADTS) are understood as well and tell their own rate. IMA ADPCM is always refused, since its blocks cannot be
    /// told apart without their size: use PCM, mu-law or A-law instead. Opus takes one or two channels at 8000, 12000,
    /// 16000, 24000 or 48000, whatever the stream was made from.
    ///
    /// `sampleFormat` receives the `AUDIO_SAMPLE_*` flag of what `Decode` delivers: the interleaved form of what the
    /// codec produces, AUDIO_SAMPLE_FLT for AAC, AUDIO_SAMPLE_S16 for the others. It is not touched on failure, except
    /// that a codec whose samples have no flag sets it to 0. The Opus decoder never touches it; its samples are
    /// AUDIO_SAMPLE_S16.
    ///
    /// `extraData` and `extraDataLen` are not read and may be anything.
    ///
    /// On a decoder that is ready already: false, and nothing changes. The Opus decoder starts anew instead, and where
    /// that fails the earlier decoder is gone too.
    virtual bool CreateDecoder(int channels, int sampleRate, int& sampleFormat, unsigned char* extraData,
                               unsigned int extraDataLen) = 0;

    /// Releases what `CreateDecoder` made, which may be called again afterwards. Safe at any time.
    virtual void DestroyDecoder() = 0;

    /// The length in bytes of the output buffer to provide: 384000, which holds every AAC, MP3 and AMR packet; for Opus
    /// 120 ms, the longest packet, at the rate and channels that the decoder was last made ready for, 1920 before that.
    virtual int GetMinOutBufLen() = 0;

    /// Decodes one packet. All frames that it holds land in `out` back to back.
    ///
    /// `in` and `inLen` (bytes) are borrowed for the call; no padding is needed behind them. `out` is raw memory with
    /// room for `outLen` bytes, which must not exceed 2147483647 except for Opus; it receives samples of the format
    /// that `CreateDecoder` told, whatever the pointer's type says. Rate and number of channels are those of the
    /// stream, which for AAC and MP3 may be others than those asked for.
    ///
    /// `consumed` receives the input bytes taken: all of them, even when decoding them fails. `written` receives the
    /// output bytes produced, 0 for every result but 0; bytes of `out` may have changed all the same. Three cases to
    /// know:
    /// - Opus counts the samples of one channel only: with two channels twice as many bytes as `written` are in `out`.
    /// - A stereo frame in an AAC or MP3 decoder that was made for one channel: the left channel stands at the front of
    ///   its place in `out`, and `written` counts both.
    /// - An AAC frame of more than two channels, which tells so in its own header (ADTS), in a decoder that was made
    ///   for two: the first two channels stand interleaved at the front of its place, and `written` counts all.
    ///
    /// | result | meaning |
    /// |---|---|
    /// | 0 | decoded; `written` may be 0 while the codec gathers its delay |
    /// | 1 | Opus only: `out` is too small for the packet |
    /// | 2 | the packet is broken; but for Opus also: nothing given, not ready, `out` missing or too small |
    /// | 3 | Opus only: no room, `inLen` beyond 2147483647, concealment of no multiple of 2.5 ms, internal failure |
    /// | 4 | Opus only: the decoder is not ready |
    ///
    /// Where nothing was given or the decoder is not ready, `consumed` is 0, but for Opus, where it is `inLen` always.
    ///
    /// After any failure the next packet may be decoded. A null `in` or an `inLen` of 0 tells the Opus decoder that a
    /// packet was lost: it fills all of `out` with concealment.
    virtual int Decode(unsigned char* in, unsigned int inLen, short* out, unsigned int outLen, unsigned int& consumed,
                       unsigned int& written) = 0;
};
