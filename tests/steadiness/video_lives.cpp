#include <algorithm>

#include "codrelay/factories.h"
#include "codrelay/ffmpeg_layer.h"
#include "codrelay/media_ids.h"
#include "common/test_media.h"
#include "front/registry/picture_size.h"
#include "steadiness/life_parts.h"
#include "video_decoder/access_units.h"
#include "video_encoder/test_picture.h"

namespace {

struct DecoderSetUp {
    int codec;
    const char* clip;
    unsigned int colorSpace;
    std::size_t packets;
    bool allowResolutionChange = false;
};

class VideoDecoderLife : public Life {
public:
    VideoDecoderLife(const DecoderSetUp& setUp, const std::vector<AccessUnit>& units, FrameUser useFrame)
        : m_SetUp(setUp), m_Units(units), m_UseFrame(std::move(useFrame)) {}

    bool Build() override {
        m_pDecoder = NewFFmpegVideoDecoder(m_SetUp.codec, m_SetUp.colorSpace, std::string());
        return IsBuilt();
    }
    bool IsBuilt() const override { return m_pDecoder != nullptr; }
    bool Create() override {
        if (m_SetUp.allowResolutionChange) {
            m_pDecoder->AllowResolutionChange();
        }
        return m_pDecoder->CreateDecoder(m_SetUp.colorSpace, 320, 240, nullptr) == 1;
    }
    std::optional<std::uint64_t> Work() override {
        Fingerprint seen;
        bool failed = false;
        for (AccessUnit& unit : m_Units) {
            const int status = m_pDecoder->Decode(unit.data(), static_cast<int>(unit.size()), m_pFrame, 7, 0);
            RequireDocumented(status == 0 || (status >= 2 && status <= 5), "Decode");
            failed = failed || (status != 0 && status != 3);
            if (status == 0) {
                See(&seen);
            }
        }
        return failed ? std::nullopt : std::optional(seen.Value());
    }
    void Destroy() override {
        m_pFrame.reset();
        m_pDecoder->DestroyDecoder();
    }
    void Delete() override {
        m_pDecoder->Delete();
        m_pDecoder = nullptr;
    }

private:
    void See(Fingerprint* seen) {
        // A picture that was converted does not tell its size.
        const unsigned int width = m_pFrame->m_nWidth != 0 ? m_pFrame->m_nWidth : 320;
        const unsigned int height = m_pFrame->m_nHeight != 0 ? m_pFrame->m_nHeight : 240;
        seen->Add(m_pFrame->GetConstData(), PictureSize(m_SetUp.colorSpace, width, height));
        if (m_UseFrame) {
            m_UseFrame(m_pFrame);
        }
    }

    DecoderSetUp m_SetUp;
    std::vector<AccessUnit> m_Units;
    FrameUser m_UseFrame;
    CVideoDecoderBase* m_pDecoder = nullptr;
    std::shared_ptr<CFrameBufferBase> m_pFrame;
};

class VideoEncoderLife : public Life {
public:
    VideoEncoderLife(int codec, bool changesSize) : m_nCodec(codec), m_bChangesSize(changesSize) {
        for (unsigned int i = 0; i < 3; ++i) {
            m_Pictures.push_back(std::make_unique<TestPicture>(176, 144));
            PaintScene(*m_Pictures.back(), i);
        }
    }

    bool Build() override {
        m_pEncoder = Codrelay_VideoEncoder(m_nCodec, std::string());
        return IsBuilt();
    }
    bool IsBuilt() const override { return m_pEncoder != nullptr; }
    bool Create() override { return m_pEncoder->CreateEncoder(CSP_YUV420P, 176, 144, 25, 800000, 0, 1, 50) == 1; }
    std::optional<std::uint64_t> Work() override {
        Fingerprint seen;
        bool failed = false;
        for (const std::unique_ptr<TestPicture>& picture : m_Pictures) {
            failed = !Encode(picture.get(), &seen) || failed;
        }
        if (m_bChangesSize) {
            // A smaller picture out of the same bytes.
            failed = m_pEncoder->ChangeEncoderResolution(128, 96) != 1 || failed;
            failed = !Encode(m_Pictures.front().get(), &seen) || failed;
        }
        return failed ? std::nullopt : std::optional(seen.Value());
    }
    void Destroy() override { m_pEncoder->DestroyEncoder(); }
    void Delete() override {
        m_pEncoder->Delete();
        m_pEncoder = nullptr;
    }

private:
    bool Encode(TestPicture* picture, Fingerprint* seen) {
        int key = 0;
        const int size = m_pEncoder->Encode(picture, m_Out.data(), static_cast<unsigned int>(m_Out.size()), &key);
        if (size > 0) {
            seen->Add(m_Out.data(), static_cast<std::size_t>(size));
            seen->Add(key);
        }
        return size >= 0;
    }

    int m_nCodec;
    bool m_bChangesSize;
    std::vector<std::unique_ptr<TestPicture>> m_Pictures;
    std::vector<unsigned char> m_Out = std::vector<unsigned char>(200000);
    CVideoEncoderBase* m_pEncoder = nullptr;
};

/// Bytes that count for a picture of any colour space.
class PatternPicture : public CFrameBufferBase {
public:
    PatternPicture() : m_Bytes(160 * 120 * 4) {
        for (std::size_t i = 0; i < m_Bytes.size(); ++i) {
            m_Bytes[i] = static_cast<unsigned char>(i * i / 7);
        }
    }
    unsigned char* GetData() override { return m_Bytes.data(); }
    const unsigned char* GetConstData() override { return m_Bytes.data(); }

private:
    std::vector<unsigned char> m_Bytes;
};

struct TransformSetUp {
    unsigned int from;
    unsigned int to;
    int width;
    int height;
    CVideoTransformBase::ZOOM_RECT zoom;
};

class TransformLife : public Life {
public:
    explicit TransformLife(const TransformSetUp& setUp) : m_SetUp(setUp) {}

    bool Build() override {
        m_pTransform =
            Codrelay_VideoTransform(m_SetUp.from, 160, 120, &m_SetUp.zoom, m_SetUp.to, m_SetUp.width, m_SetUp.height);
        return IsBuilt();
    }
    bool IsBuilt() const override { return m_pTransform != nullptr; }
    std::optional<std::uint64_t> Work() override {
        CFrameBufferBase* out = m_pTransform->Transform(&m_Picture);
        if (out == nullptr) {
            return std::nullopt;
        }
        Fingerprint seen;
        seen.Add(out->GetConstData(), PictureSize(m_SetUp.to, static_cast<unsigned int>(m_SetUp.width),
                                                  static_cast<unsigned int>(m_SetUp.height)));
        return seen.Value();
    }
    /// It is what its factory made of it.
    void Destroy() override { Delete(); }
    void Delete() override { m_pTransform.reset(); }

private:
    TransformSetUp m_SetUp;
    PatternPicture m_Picture;
    std::shared_ptr<CVideoTransformBase> m_pTransform;
};

void AddDecoder(const char* name, const DecoderSetUp& setUp, std::vector<LifeKind>* kinds) {
    kinds->push_back({name, [setUp](const FrameUser& useFrame, const std::string&) -> std::unique_ptr<Life> {
                          std::vector<AccessUnit> units = AccessUnits(Clip(setUp.clip));
                          units.resize(std::min(units.size(), setUp.packets));
                          return std::make_unique<VideoDecoderLife>(setUp, units, useFrame);
                      }});
}

void AddEncoder(const char* name, int codec, bool changesSize, std::vector<LifeKind>* kinds) {
    kinds->push_back({name, [=](const FrameUser&, const std::string&) -> std::unique_ptr<Life> {
                          return std::make_unique<VideoEncoderLife>(codec, changesSize);
                      }});
}

void AddTransform(const char* name, const TransformSetUp& setUp, std::vector<LifeKind>* kinds) {
    kinds->push_back({name, [setUp](const FrameUser&, const std::string&) -> std::unique_ptr<Life> {
                          return std::make_unique<TransformLife>(setUp);
                      }});
}

}  // namespace

void AddVideoLives(std::vector<LifeKind>* kinds) {
    AddDecoder("DecodeH264", {VIDEO_CODEC_H264, "h264_baseline.264", CSP_YUV420P, 4}, kinds);
    AddDecoder("DecodeH264WithReordering", {VIDEO_CODEC_H264, "h264_reordered.264", CSP_YUV420P, 5}, kinds);
    AddDecoder("DecodeH264ToRgb", {VIDEO_CODEC_H264, "h264_baseline.264", CSP_RGB24, 3}, kinds);
    AddDecoder("DecodeH264ThatGrows", {VIDEO_CODEC_H264, "h264_resized.264", CSP_YUV420P, 12, true}, kinds);
    AddDecoder("DecodeH265", {VIDEO_CODEC_H265, "h265.265", CSP_YUV420P, 3}, kinds);
    AddDecoder("DecodeMpeg4", {VIDEO_CODEC_MPEG4, "mpeg4.avi", CSP_YUV420P, 3}, kinds);
    AddDecoder("DecodeMjpeg", {VIDEO_CODEC_JPEG, "mjpeg.avi", CSP_YUV420P, 2}, kinds);

    AddEncoder("EncodeH264", VIDEO_CODEC_H264, false, kinds);
    AddEncoder("EncodeMpeg4AndChangeSize", VIDEO_CODEC_MPEG4, true, kinds);
    AddEncoder("EncodeH263", VIDEO_CODEC_H263, false, kinds);
    AddEncoder("EncodeFlv", VIDEO_CODEC_FLV, false, kinds);
    AddEncoder("EncodeMjpeg", VIDEO_CODEC_MJPEG, false, kinds);

    AddTransform("Scale", {CSP_YUV420P, CSP_YUV420P, 81, 50, {0, 0, 100, 100}}, kinds);
    AddTransform("CropAndConvert", {CSP_YUV420P, CSP_RGB24, 96, 64, {10, 10, 60, 60}}, kinds);
    AddTransform("Crop", {CSP_RGB24, CSP_RGB24, 80, 60, {25, 25, 75, 75}}, kinds);
}
