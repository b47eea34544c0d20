#pragma once

/// @file
/// Video decoders.

#include <memory>

#include "codrelay/export.h"
#include "codrelay/frame_buffer.h"

/// A video decoder: compressed access units in, at most one picture of one colour space out for each.
///
///     CVideoDecoderBase* decoder = Codrelay_VideoDecoder(VIDEO_CODEC_H264, "");
///     if (decoder != nullptr && decoder->CreateDecoder(CSP_YUV420P, 8192, 1, nullptr) == 1) {
///         decoder->AllowResolutionChange();  // the first picture brings its size
///         std::shared_ptr<CFrameBufferBase> frame;
///         if (decoder->Decode(data, length, frame) == 0) {
///             Show(frame->GetConstData(), frame->m_nWidth, frame->m_nHeight);
///         }
///         decoder->DestroyDecoder();
///     }
///     if (decoder != nullptr) decoder->Delete();
///
/// The decoder keeps at most 8 buffers of one picture size, made one at a time as they are needed; a host that lets
/// each picture go before the next lives on two. A picture belongs to the host and may outlive the decoder.
///
/// Threads: one object belongs to one thread at a time, and DestroyDecoder() must not run beside a Decode() on the same
/// object. Different objects run in parallel; CreateDecoder() and DestroyDecoder() wait for whoever opens or closes a
/// codec in the process. Frames may be let go on any thread, at any time.
///
/// No call throws but for a failed allocation. A failure is told by the result and by a line on the logger "ffmpeg".
class CODRELAY_API CVideoDecoderBase {
public:
    /// Dispose of the object by Delete().
    virtual ~CVideoDecoderBase();

    /// Frees the object. Pictures that are out stay valid.
    /// REQUIRES: DestroyDecoder() since the last successful CreateDecoder(); what FFmpeg holds is lost otherwise.
    virtual void Delete() = 0;

    /// The one colour space that this decoder delivers, a `CSP_*` id, fixed by the factory.
    virtual unsigned int GetSupportedColorSpaces() = 0;
    /// The same.
    virtual unsigned int GetOutputColorSpace() = 0;

    /// Opens the decoder for pictures of `width` by `height` pixels. `colorSpace` must be GetSupportedColorSpaces().
    /// `callback` may be null; it is asked for room when the host holds all buffers, is not owned, and must live until
    /// DestroyDecoder(). There are no further settings: parameter sets must arrive in the stream itself.
    ///
    /// Returns 1; or 0 if the decoder is created already (it goes on as it was), the colour space is another one, this
    /// FFmpeg lacks the codec, or FFmpeg refuses, as it does for pictures where (width + 128) * (height + 128) reaches
    /// 2^28. After 0 it may be tried again. A width or height of 0, or a colour space without a size rule such as
    /// CSP_NV12, is accepted, and every Decode() then returns 4.
    ///
    /// A host that is not told the size calls AllowResolutionChange() and passes 8192 by 1, a size that no stream has:
    /// the first picture brings its own. A likelier size is a trap, since FFmpeg takes it for what the container says.
    /// H.264 that is larger by less than 16 pixels, within the same blocks of 16, is cut to it, and no status tells.
    /// JPEG whose first picture is lower than three quarters of it is taken for fields, two of which give one picture
    /// of double height. MPEG-4 without headers in the stream, as out of MP4, needs the true size; out of a decoder of
    /// 8192 by 1 its pictures have that very size.
    ///
    /// May be called again after DestroyDecoder(), also with another size.
    virtual int CreateDecoder(unsigned int colorSpace, unsigned int width, unsigned int height,
                              CFrameBufferStreamCallback* callback) = 0;

    /// Closes the decoder; pictures still inside FFmpeg are gone, those with the host stay valid. Safe at any time,
    /// also twice or before CreateDecoder().
    virtual void DestroyDecoder() = 0;

    /// Decodes and drops the picture. True for the statuses 0 and 3 of the other forms, false for the rest.
    virtual bool Decode(unsigned char* data, int length) = 0;

    /// Decodes one access unit of `length` bytes. `data` is borrowed for the call, not written to, and needs no
    /// padding. A null `data` with a length above 0 tells FFmpeg the end of the stream: what it held back comes out in
    /// this call, of which the last picture is delivered, and every later call gives 3 until the decoder is created
    /// anew.
    ///
    /// Returns a status. But for 0 the host's `frame` stays as it was:
    ///   0  a picture was delivered: `frame` holds it, and what it held before is let go. Its timestamp is 0;
    ///   2  error: `length` is 0 or below, the decoder is not created, or FFmpeg failed. The decoder stays usable;
    ///   3  no picture this time: more input is needed; or FFmpeg refused a packet that does not start with a slice, as
    ///      it does with some H.264 service data (of H.265 every refused packet is an error);
    ///   4  the host holds all buffers. The packet was not decoded: give it again after letting a picture go;
    ///   5  the picture has another size than the decoder, and that was not allowed. The picture is dropped.
    ///
    /// A packet that yields several pictures delivers the last. What FFmpeg holds back for reordering stays inside at
    /// the end of a stream, unless the host tells it as above.
    virtual int Decode(unsigned char* data, int length, std::shared_ptr<CFrameBufferBase>& frame) = 0;

    /// The same with a timestamp, in milliseconds if there is a limit. The picture delivered bears the timestamp of the
    /// very call that returned it, so with reordering that of a later packet than its own.
    ///
    /// `rateLimit` 0 delivers every picture. Otherwise pictures are dropped, with status 3, that come less than
    /// 1000 / (rateLimit + 1) ms after the last one that passed, or after time 0 while there is none. One that passed
    /// counts also where it was not delivered, as with status 5, and so does one of a call with `rateLimit` 0. A
    /// picture at time 0 is not delivered, unless that distance is 0, from a limit of 1000 on; a timestamp that jumps
    /// back drops pictures until the timestamps pass the last one again.
    virtual int Decode(unsigned char* data, int length, std::shared_ptr<CFrameBufferBase>& frame, long long timestamp,
                       unsigned int rateLimit) = 0;

    /// From now on a picture of another size is delivered at its own size, instead of status 5. Holds for the object's
    /// life, DestroyDecoder() included. May be called before or after CreateDecoder(). Returns true.
    virtual bool AllowResolutionChange() = 0;
};
