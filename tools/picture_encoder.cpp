#include "picture_encoder.h"

#include <codrelay/factories.h>

#include <map>

#include "failure.h"
#include "media_names.h"

namespace {

const std::map<std::string, int>& Encoders() {
    static const std::map<std::string, int> encoders = {{"h264", VIDEO_CODEC_H264},
                                                        {"mpeg4", VIDEO_CODEC_MPEG4},
                                                        {"flv", VIDEO_CODEC_FLV},
                                                        {"h263", VIDEO_CODEC_H263},
                                                        {"mjpeg", VIDEO_CODEC_MJPEG}};
    return encoders;
}

/// Noise and tiny pictures take more than the library suggests.
std::size_t RoomyPacket(CVideoEncoderBase& encoder, PictureSize size) {
    return std::size_t{4} * static_cast<std::size_t>(encoder.GetMaxOutFrameLength(size.width, size.height)) + 65536;
}

/// The sizes that a codec has, where that may be what went wrong.
std::string SizeHint(const EncoderSetup& setup) {
    if (setup.codecId == VIDEO_CODEC_H263) {
        return "; H.263 has 128x96, 176x144, 352x288, 704x576 and 1408x1152 (--size)";
    }
    const bool isTiny = setup.size.width < 16 || setup.size.height < 16;
    return setup.codecId == VIDEO_CODEC_H264 && isTiny ? "; H.264 has at least 16x16 (--size)" : "";
}

std::string RefusalText(const EncoderSetup& setup) {
    return "the " + VideoCodecName(setup.codecId) + " encoder does not take pictures of " + SizeText(setup.size) +
           " at " + std::to_string(setup.frameRate) + " and " + std::to_string(setup.bitRate) + " bits a second" +
           SizeHint(setup);
}

}  // namespace

std::vector<std::string> EncoderNames() {
    std::vector<std::string> names;
    for (const auto& [name, id] : Encoders()) {
        names.push_back(name);
    }
    return names;
}

int CodecOfEncoderName(const std::string& name) {
    return Encoders().at(name);
}

void PictureEncoder::Disposer::operator()(CVideoEncoderBase* encoder) const {
    encoder->DestroyEncoder();
    encoder->Delete();
}

PictureEncoder::PictureEncoder(const EncoderSetup& setup)
    : m_Setup(setup), m_Encoder(Codrelay_VideoEncoder(setup.codecId, "")) {
    if (m_Encoder->CreateEncoder(CSP_YUV420P, setup.size.width, setup.size.height, setup.frameRate, setup.bitRate, 0, 1,
                                 setup.keyInterval) == 0) {
        throw Failure(RefusalText(setup));
    }
    m_Packet.resize(RoomyPacket(*m_Encoder, setup.size));
}

/// The first picture is asked to be a key picture; the interval makes the others.
EncodedPicture PictureEncoder::Encode(const Picture& picture) {
    int key = m_Count == 0 ? 1 : 0;
    const int result =
        m_Encoder->Encode(picture.frame.get(), m_Packet.data(), static_cast<unsigned int>(m_Packet.size()), &key);
    if (result < 0) {
        throw Failure("the " + VideoCodecName(m_Setup.codecId) + " encoder fails with " + std::to_string(result) +
                      " on picture " + std::to_string(m_Count) + " (from 0) of " + SizeText(m_Setup.size) +
                      SizeHint(m_Setup));
    }
    ++m_Count;
    return {m_Packet.data(), static_cast<std::size_t>(result), key == 1};
}
