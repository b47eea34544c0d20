#pragma once

#include <codrelay/media_ids.h>
#include <codrelay/video_encoder.h>

#include <memory>
#include <string>
#include <vector>

#include "picture.h"

struct EncoderSetup {
    int codecId = VIDEO_CODEC_NONE;
    PictureSize size;
    unsigned int frameRate = 0;
    unsigned int bitRate = 0;
    int keyInterval = 0;
};

/// The video codecs that can be encoded, by name, and the ids behind the names.
std::vector<std::string> EncoderNames();
/// REQUIRES: `name` is one of EncoderNames().
int CodecOfEncoderName(const std::string& name);

/// A packet; its bytes are good until the next.
struct EncodedPicture {
    const unsigned char* data = nullptr;
    std::size_t size = 0;
    bool isKey = false;
};

/// An encoder of the library, created. A set-up or a picture that it refuses is a `Failure`.
class PictureEncoder {
public:
    explicit PictureEncoder(const EncoderSetup& setup);

    /// REQUIRES: a CSP_YUV420P picture of the size of the set-up.
    EncodedPicture Encode(const Picture& picture);

private:
    struct Disposer {
        void operator()(CVideoEncoderBase* encoder) const;
    };

    EncoderSetup m_Setup;
    std::unique_ptr<CVideoEncoderBase, Disposer> m_Encoder;
    std::vector<unsigned char> m_Packet;
    long long m_Count = 0;
};
