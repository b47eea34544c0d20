#pragma once

/// @file
/// Audio encoders.

#include "codrelay/audio_format.h"
#include "codrelay/export.h"

/// An audio encoder: interleaved samples in, one compressed packet out per call. It does not gather samples: a host
/// that has less than a frame keeps its bytes.
///
///     CAudioEncoderBase* encoder = Codrelay_AudioEncoder(AUDIO_CODEC_AAC);
///     const AUDIO_FORMAT format = {48000, 2, encoder->GetDefaultFormat()};
///     if (encoder->CreateEncoder(&format, 128000)) {
///         std::vector<unsigned char> packet(encoder->GetMinOutBufLen());
///         unsigned int consumed = 0, written = 0;
///         do {
///             long long pts = 0;
///             if (encoder->Encode(input, inputBytes, packet.data(), packet.size(), consumed, written, pts) == 0) {
///                 break;
///             }
///             input += consumed;
///             inputBytes -= consumed;
///             // `written` bytes of packet, which may be 0, with timestamp `pts`
///         } while (consumed != 0);
///     }
///     encoder->DestroyEncoder();
///     encoder->Delete();
///
/// One thread at a time may use an object; different objects run in parallel, and opening and closing take turns inside
/// the library. Failures are logged on the logger "ffmpeg".
class CODRELAY_API CAudioEncoderBase {
public:
    virtual ~CAudioEncoderBase();

    /// Disposes of the object. REQUIRES: `DestroyEncoder` was called since the last successful `CreateEncoder`, else
    /// FFmpeg's objects are lost.
    virtual void Delete() = 0;

    /// The `AUDIO_SAMPLE_*` flags that `CreateEncoder` takes, as a mask: AUDIO_SAMPLE_S16 for PCM S16LE,
    /// AUDIO_SAMPLE_S16 and AUDIO_SAMPLE_S32 for MP3, AUDIO_SAMPLE_FLT for AAC. 0 for every other codec: such an object
    /// can be built but not made ready.
    virtual int GetSupportedFormats() = 0;

    /// The preferred one of those flags, or 0.
    virtual int GetDefaultFormat() = 0;

    /// Makes the encoder ready for samples of `format`, which is copied. `bitrate` is in bits per second; 0 means
    /// 196608. True on success. False with a line in the log otherwise: the flag is not among the supported ones, the
    /// codec refuses rate or channels (more than two always), or the encoder is ready already, which it then stays.
    /// REQUIRES: `format` is not null.
    virtual bool CreateEncoder(const AUDIO_FORMAT* format, unsigned int bitrate) = 0;

    /// The length in bytes of an output buffer that is large enough for every AAC and MP3 packet: 16384. A PCM packet
    /// is as long as its input.
    virtual int GetMinOutBufLen() = 0;

    /// 0.
    virtual int GetAuxValue() = 0;

    /// 1 when ready, else 0.
    virtual int IsCreated() = 0;

    /// Releases what `CreateEncoder` made, which may be called again afterwards. Frames that the codec still holds are
    /// lost. The clock is not reset: an encoder made ready again counts on. Safe at any time.
    virtual void DestroyEncoder() = 0;

    /// Encodes one frame of `in`, whatever its length: 1024 samples a channel for AAC, 1152 for MP3 (576 below 32000
    /// Hz), all whole sample groups of `in` for PCM.
    ///
    /// `in` holds `inLen` bytes of interleaved samples and is borrowed for the call. `out` has room for `outLen` bytes
    /// and receives the packet.
    ///
    /// `consumed` receives the input bytes taken, one frame or none, and `written` the bytes of the packet: 0 while the
    /// codec fills its delay. `pts` carries the host's timestamp in, in samples: the encoder counts by itself and
    /// follows the host only where that is more than a second ahead; 0 never changes anything. It receives the
    /// timestamp of the packet, which lies before the input by the codec's delay and may be negative; without a packet
    /// that of the last one.
    ///
    /// Returns 1 when the call went well, also if `in` held less than a frame (nothing taken) and if no packet came
    /// out. Returns 0 with a line in the log and `pts` 0 on failure, with `consumed` and `written` untouched where the
    /// encoder is not ready or where PCM was given less than one sample group, else 0; the encoder stays ready. A codec
    /// with a delay may have swallowed the frame of a failed call all the same.
    ///
    /// A null `in` that is said to hold a frame and an `inLen` beyond 2147483647 are such failures. So is a frame of
    /// AAC with a sample that is no number or lies beyond 8192 (full scale is 1): FFmpeg's encoder may never return
    /// from those of 16 bits that are given as floats without being divided by 32768. Nothing of such a frame stays in
    /// the encoder.
    virtual int Encode(unsigned char* in, unsigned int inLen, unsigned char* out, unsigned int outLen,
                       unsigned int& consumed, unsigned int& written, long long& pts) = 0;
};
