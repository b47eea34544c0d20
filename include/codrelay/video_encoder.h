#pragma once

/// @file
/// Video encoders.

#include "codrelay/export.h"
#include "codrelay/frame_buffer.h"

/// A video encoder: pictures of one colour space in, compressed packets out. It comes from a factory of
/// codrelay/factories.h or codrelay/ffmpeg_layer.h and belongs to the host.
///
/// The order of calls is `CreateEncoder`, `Encode` as often as wanted, `DestroyEncoder`, `Delete`; after
/// `DestroyEncoder` the object may be created again. `DestroyEncoder` has to come before `Delete`, which gives back the
/// object only.
///
///     CVideoEncoderBase* encoder = Codrelay_VideoEncoder(VIDEO_CODEC_H264, "");
///     if (encoder->CreateEncoder(CSP_YUV420P, 640, 360, 25, 800000, 0, 1, 50)) {
///         std::vector<unsigned char> packet(encoder->GetMaxOutFrameLength(640, 360));
///         int keyFrame = 1;  // the first picture is a key picture
///         int bytes = encoder->Encode(&picture, packet.data(), packet.size(), &keyFrame);
///         ...
///     }
///     encoder->DestroyEncoder();
///     encoder->Delete();
///
/// Threads: one object is used by one thread at a time; different objects run in parallel. `CreateEncoder`,
/// `DestroyEncoder` and `ChangeEncoderResolution` wait for each other across all encoders and decoders of the process,
/// `Encode` waits for nobody.
class CODRELAY_API CVideoEncoderBase {
public:
    virtual ~CVideoEncoderBase();

    /// Destroys the object; the pointer is dead afterwards.
    /// REQUIRES: `DestroyEncoder` was called if the encoder was created; what FFmpeg holds is lost otherwise.
    virtual void Delete() = 0;

    /// The colour space of the pictures that `Encode` takes, as a mask of `CSP_*` bits.
    virtual unsigned int GetSupportedColorSpaces() = 0;

    /// The encoder modes that `CreateEncoder` takes, as a mask; 1.
    virtual unsigned int GetSupportedModes() = 0;

    /// The kind of encoder behind the interface; 2, the software encoder of FFmpeg.
    virtual unsigned int GetEncoderKind() = 0;

    /// The number of bytes that a host offers to `Encode` for pictures of that size: one raw picture and 64 bytes. May
    /// be called at any time. A size that no picture can have gives 64 plus a negative error number.
    ///
    /// It is enough for ordinary pictures. Tiny ones and pure noise can take more: JPEG up to 8x8 always and noise up
    /// to 40x40, H.264 noise from 16 to 40 pixels, noise of MPEG-4, FLV and H.263 at every size that the bit rate has
    /// room for, such as 704x576 at 20 Mbit/s. `Encode` is negative for such a picture, and nothing is written behind
    /// the buffer; a host that has them offers more.
    virtual int GetMaxOutFrameLength(unsigned int width, unsigned int height) = 0;

    /// Opens the encoder.
    ///
    /// - `colorSpace`: the `CSP_*` id of the pictures; must be what `GetSupportedColorSpaces` gives.
    /// - `width`, `height`: in pixels. H.263 takes 128x96, 176x144, 352x288, 704x576 and 1408x1152 only. H.264 encodes
    ///   16x16 and more, and drops an odd last row or column.
    /// - `frameRate`: pictures a second; 0 stands for 20.
    /// - `bitRate`: bits a second; 0 stands for 1048576, with a line in the log. H.264 takes `frameRate` to 288000000.
    ///   The others take 1 to 536870911 and hardly any rate above. JPEG has no rate control: its size follows the
    ///   picture.
    /// - `reserved`: kept, and otherwise unused.
    /// - `mode`: 0 or 1, which are the same.
    /// - `maxKeyInterval`: the largest distance between key pictures; 300 and more, or less than 0, stand for 300. With
    ///   0 each picture of MPEG-4, FLV and H.263 is a key picture, and of H.264 only the first. Each JPEG picture is
    ///   one.
    ///
    /// Returns 1; or 0 with a line in the log if the encoder is created already, an argument is refused or FFmpeg
    /// cannot open the encoder. A failure leaves a created encoder as it was, and any other not created.
    virtual int CreateEncoder(unsigned int colorSpace, unsigned int width, unsigned int height, unsigned int frameRate,
                              unsigned int bitRate, unsigned int reserved, unsigned int mode, int maxKeyInterval) = 0;

    /// 1 from a successful `CreateEncoder` until `DestroyEncoder`, otherwise 0.
    virtual unsigned int IsCreated() = 0;

    /// The mode, 1, once `CreateEncoder` has accepted one; 0 before.
    virtual unsigned int GetMode() = 0;

    /// The colour space that `CreateEncoder` was given last; 0 before.
    virtual unsigned int GetColorSpace() = 0;

    /// Closes the encoder. Pictures that it still holds are dropped. Harmless on an encoder that is not created.
    virtual void DestroyEncoder() = 0;

    /// Turns one picture into at most one packet.
    ///
    /// - `frame`: the picture. Its `GetData` block is read in place during the call and may be let go afterwards; its
    ///   fields (size, colour space, timestamp) are not looked at.
    /// - `out`, `outSize`: where the packet goes, and how many bytes there are.
    /// - `keyFrame`: on entry, nonzero asks for a key picture. On return with 0 or more it holds 1 for a key packet and
    ///   0 for any other or none; on a negative result it is untouched.
    ///
    /// Returns the number of bytes written to `out`; 0 if the encoder gave no packet this time; or a negative number.
    /// That is an error of FFmpeg, among them a packet that `out` is too small for: -22 in H.264, -1 in the others. Or
    /// it is -10: the encoder kept the packet in memory of its own and `out` is too small for it, or null. The packet
    /// is lost then, and the next call may go on. Nothing is logged.
    ///
    /// One picture of full noise can end an H.264 encoder, from 48x48 on and whatever room there is: it gives
    /// -1313558101, and so does every later call, until the encoder is destroyed and created again.
    ///
    /// REQUIRES: the encoder is created; the block holds a whole picture of the size and colour space that it was
    /// created with. An encoder that is not created, a null `frame` or `keyFrame` and a null block give -22.
    virtual int Encode(CFrameBufferBase* frame, unsigned char* out, unsigned int outSize, int* keyFrame) = 0;

    /// Opens the encoder anew for another size, with all else that `CreateEncoder` was given. The next packet is a key
    /// packet; what the old encoder held is dropped. The size that it has already changes nothing.
    ///
    /// Returns 1; or 0 if the encoder is not created, or `CreateEncoder` fails, which leaves it not created.
    virtual int ChangeEncoderResolution(unsigned int width, unsigned int height) = 0;

    /// True if `mask` holds one of the colour spaces that `GetSupportedColorSpaces` gives.
    virtual bool IsColorSpaceSupported(unsigned int mask);

    /// True for 0, and if `mode` holds one of the bits that `GetSupportedModes` gives.
    virtual bool IsModeSupported(unsigned int mode);
};
