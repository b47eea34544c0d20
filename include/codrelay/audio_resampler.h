#pragma once

/// @file
/// The audio resampler.

#include "codrelay/audio_format.h"
#include "codrelay/export.h"

/// Converts audio between two formats: rate, sample format, mono and stereo.
///
///     CAudioResamplerBase* resampler = Codrelay_AudioResampler();
///     const AUDIO_FORMAT in = {8000, 1, AUDIO_SAMPLE_S16};
///     const AUDIO_FORMAT out = {48000, 2, AUDIO_SAMPLE_FLT};
///     unsigned int room = 0;
///     if (resampler->Create(&in, &out, 4096, room)) {
///         std::vector<unsigned char> buffer(room);
///         unsigned int length = 0;
///         if (resampler->Resample(input, 4096, buffer.data(), length)) {
///             // `length` bytes of converted samples
///         }
///     }
///     resampler->Destroy();
///     resampler->Delete();
///
/// One thread at a time may use an object; different objects run in parallel, and `Create` and `Destroy` take turns
/// inside the library. Failures are logged on the logger "ffmpeg".
class CODRELAY_API CAudioResamplerBase {
public:
    virtual ~CAudioResamplerBase();

    /// Disposes of the object. REQUIRES: `Destroy` was called since the last successful `Create`, else FFmpeg's object
    /// is lost.
    virtual void Delete() = 0;

    /// Makes the resampler ready to turn `in` into `out`, both copied. `inBufLen` is the length in bytes of the longest
    /// input that will be given at once; `outBufLen` receives the length in bytes of the output buffer that every
    /// `Resample` call relies on. It is generous for inputs of ordinary size; it is computed in 32 bits, which wrap for
    /// huge ones.
    ///
    /// True on success. False with a line in the log and `outBufLen` untouched otherwise: a format is null, has other
    /// than one or two channels, not exactly one `AUDIO_SAMPLE_*` flag or no positive rate, `inBufLen` is 0, or the
    /// output buffer would be 2 GiB or more. A planar format with two channels is taken here and refused by `Resample`.
    ///
    /// May be called again on a resampler that is ready, which starts anew. Where a missing or incorrect format is the
    /// reason of a failure, the earlier resampler stays ready; after any other failure there is none.
    virtual bool Create(const AUDIO_FORMAT* in, const AUDIO_FORMAT* out, unsigned int inBufLen,
                        unsigned int& outBufLen) = 0;

    /// Releases what `Create` made, which may be called again afterwards. Safe at any time.
    virtual void Destroy() = 0;

    /// Converts `inLen` bytes of `in`, which should not exceed the `inBufLen` of `Create`; an incomplete sample group
    /// at the end is dropped. `out` must have the room that `Create` told, of which a stereo output uses the first half
    /// at most. `outLen` receives the bytes written.
    ///
    /// Each side of mono that becomes stereo is lower by 3 dB, so that the power stays. Stereo that becomes mono is the
    /// mean of both sides; but where floats or doubles come out, it has the power of both: the same sound on both sides
    /// becomes louder by 3 dB, and may go beyond full scale.
    ///
    /// What does not fit, and what the filter needs to go on with, stays inside for the next call; nothing flushes it,
    /// so the last few milliseconds of a stream do not come out.
    ///
    /// True on success. False, with a line at Error and `outLen` untouched, on a resampler that is not ready, for a
    /// planar format with two channels on either side, and for missing buffers.
    virtual bool Resample(unsigned char* in, unsigned int inLen, unsigned char* out, unsigned int& outLen) = 0;

    /// The input format last given to `Create`, also where it failed later than for a null; all zero before that. Never
    /// null; good as long as the object.
    virtual const AUDIO_FORMAT* GetInFormat() = 0;
    /// The output format, likewise.
    virtual const AUDIO_FORMAT* GetOutFormat() = 0;
};
