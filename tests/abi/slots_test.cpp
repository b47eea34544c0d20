// Slots 0 and 1 of each table are the two destructors; hosts that were compiled against an older header call the rest
// by number.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "abi/raw_call.h"
#include "codrelay/codrelay.h"
#include "uvqlog/uvqlog.h"

namespace {

std::string g_Called;

template <typename Result>
Result Called(const char* name) {
    g_Called = name;
    return Result();
}

// The names in the slots from 2 on.
std::vector<std::string> NamesFromSlot2(void* object, std::size_t count) {
    std::vector<std::string> names;
    for (std::size_t slot = 2; slot < 2 + count; ++slot) {
        names.push_back(NameInSlot(object, slot, g_Called));
    }
    return names;
}

using Names = std::vector<std::string>;

class FrameProbe : public CFrameBufferBase {
public:
    unsigned int GetColorSpace() override { return Called<unsigned int>("GetColorSpace"); }
    unsigned char* GetData() override { return Called<unsigned char*>("GetData"); }
    const unsigned char* GetConstData() override { return Called<const unsigned char*>("GetConstData"); }
    int GetAuxiliary() override { return Called<int>("GetAuxiliary"); }
};

TEST(Slots, OfFrameBuffer) {
    FrameProbe probe;
    EXPECT_EQ(NamesFromSlot2(&probe, 4), (Names{"GetColorSpace", "GetData", "GetConstData", "GetAuxiliary"}));
}

class StreamCallbackProbe : public CFrameBufferStreamCallback {
public:
    bool WaitForFreeFrame() override { return Called<bool>("WaitForFreeFrame"); }
};

TEST(Slots, OfFrameBufferStreamCallback) {
    StreamCallbackProbe probe;
    EXPECT_EQ(NamesFromSlot2(&probe, 1), (Names{"WaitForFreeFrame"}));
}

using Frame = std::shared_ptr<CFrameBufferBase>;

class VideoDecoderProbe : public CVideoDecoderBase {
public:
    void Delete() override { Called<int>("Delete"); }
    unsigned int GetSupportedColorSpaces() override { return Called<unsigned int>("GetSupportedColorSpaces"); }
    unsigned int GetOutputColorSpace() override { return Called<unsigned int>("GetOutputColorSpace"); }
    int CreateDecoder(unsigned int, unsigned int, unsigned int, CFrameBufferStreamCallback*) override {
        return Called<int>("CreateDecoder");
    }
    void DestroyDecoder() override { Called<int>("DestroyDecoder"); }
    bool Decode(unsigned char*, int) override { return Called<bool>("Decode/2"); }
    int Decode(unsigned char*, int, Frame&) override { return Called<int>("Decode/3"); }
    int Decode(unsigned char*, int, Frame&, long long, unsigned int) override { return Called<int>("Decode/5"); }
    bool AllowResolutionChange() override { return Called<bool>("AllowResolutionChange"); }
};

TEST(Slots, OfVideoDecoder) {
    VideoDecoderProbe probe;
    EXPECT_EQ(NamesFromSlot2(&probe, 9),
              (Names{"Delete", "GetSupportedColorSpaces", "GetOutputColorSpace", "CreateDecoder", "DestroyDecoder",
                     "Decode/2", "Decode/3", "Decode/5", "AllowResolutionChange"}));
}

TEST(Slots, OfARealVideoDecoder) {
    CVideoDecoderBase* decoder = Codrelay_VideoDecoder(VIDEO_CODEC_H264, "");
    ASSERT_NE(decoder, nullptr);
    EXPECT_EQ(CallSlot(decoder, 3) & 0xffffffff, CSP_YUV420P);
    EXPECT_EQ(CallSlot(decoder, 4) & 0xffffffff, CSP_YUV420P);
    EXPECT_EQ(CallSlot(decoder, 10) & 0xff, 1);
    CallSlot(decoder, 2);
}

class VideoEncoderProbe : public CVideoEncoderBase {
public:
    void Delete() override { Called<int>("Delete"); }
    unsigned int GetSupportedColorSpaces() override { return Called<unsigned int>("GetSupportedColorSpaces"); }
    unsigned int GetSupportedModes() override { return Called<unsigned int>("GetSupportedModes"); }
    unsigned int GetEncoderKind() override { return Called<unsigned int>("GetEncoderKind"); }
    int GetMaxOutFrameLength(unsigned int, unsigned int) override { return Called<int>("GetMaxOutFrameLength"); }
    int CreateEncoder(unsigned int, unsigned int, unsigned int, unsigned int, unsigned int, unsigned int, unsigned int,
                      int) override {
        return Called<int>("CreateEncoder");
    }
    unsigned int IsCreated() override { return Called<unsigned int>("IsCreated"); }
    unsigned int GetMode() override { return Called<unsigned int>("GetMode"); }
    unsigned int GetColorSpace() override { return Called<unsigned int>("GetColorSpace"); }
    void DestroyEncoder() override { Called<int>("DestroyEncoder"); }
    int Encode(CFrameBufferBase*, unsigned char*, unsigned int, int*) override { return Called<int>("Encode"); }
    int ChangeEncoderResolution(unsigned int, unsigned int) override { return Called<int>("ChangeEncoderResolution"); }
    bool IsColorSpaceSupported(unsigned int) override { return Called<bool>("IsColorSpaceSupported"); }
    bool IsModeSupported(unsigned int) override { return Called<bool>("IsModeSupported"); }
};

TEST(Slots, OfVideoEncoder) {
    VideoEncoderProbe probe;
    EXPECT_EQ(NamesFromSlot2(&probe, 14),
              (Names{"Delete", "GetSupportedColorSpaces", "GetSupportedModes", "GetEncoderKind", "GetMaxOutFrameLength",
                     "CreateEncoder", "IsCreated", "GetMode", "GetColorSpace", "DestroyEncoder", "Encode",
                     "ChangeEncoderResolution", "IsColorSpaceSupported", "IsModeSupported"}));
}

TEST(Slots, OfARealVideoEncoder) {
    CVideoEncoderBase* encoder = Codrelay_VideoEncoder(VIDEO_CODEC_H264, "");
    ASSERT_NE(encoder, nullptr);
    EXPECT_EQ(CallSlot(encoder, 3) & 0xffffffff, CSP_YUV420P);
    EXPECT_EQ(CallSlot(encoder, 4) & 0xffffffff, 1);
    EXPECT_EQ(CallSlot(encoder, 5) & 0xffffffff, 2);
    EXPECT_EQ(CallSlot(encoder, 15) & 0xff, 1) << "mode 0";
    CallSlot(encoder, 2);
}

class FileCallbackProbe : public CDemuxerFileCallback {
public:
    int OnPacket(DEMUXER_PACKET*) override { return Called<int>("OnPacket"); }
};

TEST(Slots, OfFileDemuxerCallback) {
    FileCallbackProbe probe;
    EXPECT_EQ(NamesFromSlot2(&probe, 1), (Names{"OnPacket"}));
}

class FileDemuxerProbe : public CDemuxerFileBase {
public:
    bool Open(const char*, CDemuxerFileCallback*) override { return Called<bool>("Open"); }
    bool IsOpen() override { return Called<bool>("IsOpen"); }
    void Close() override { Called<int>("Close"); }
    int ReadNextFrame() override { return Called<int>("ReadNextFrame"); }
    int GetStreamCount() override { return Called<int>("GetStreamCount"); }
    int GetStreamType(int) override { return Called<int>("GetStreamType"); }
    bool GetVideoStreamInfo(int, int*) override { return Called<bool>("GetVideoStreamInfo"); }
    bool GetAudioStreamInfo(int, int*, AUDIO_FORMAT*) override { return Called<bool>("GetAudioStreamInfo"); }
};

TEST(Slots, OfFileDemuxer) {
    FileDemuxerProbe probe;
    EXPECT_EQ(NamesFromSlot2(&probe, 8), (Names{"Open", "IsOpen", "Close", "ReadNextFrame", "GetStreamCount",
                                                "GetStreamType", "GetVideoStreamInfo", "GetAudioStreamInfo"}));
}

class MuxerFileProbe : public CMuxerFileBase {
public:
    void Delete() override { Called<int>("Delete"); }
    int WriteHeader() override { return Called<int>("WriteHeader"); }
    int WriteFrame(unsigned char*, int, int, long long) override { return Called<int>("WriteFrame"); }
    int WriteSound(unsigned char*, int, long long) override { return Called<int>("WriteSound"); }
    int WriteTrailer() override { return Called<int>("WriteTrailer"); }
    long long GetFileSize() override { return Called<long long>("GetFileSize"); }
};

TEST(Slots, OfFileMuxer) {
    MuxerFileProbe probe;
    EXPECT_EQ(NamesFromSlot2(&probe, 6),
              (Names{"Delete", "WriteHeader", "WriteFrame", "WriteSound", "WriteTrailer", "GetFileSize"}));
}

class MuxerMemProbe : public CMuxerMemBase {
public:
    void Delete() override { Called<int>("Delete"); }
    int BeginWriteBuf() override { return Called<int>("BeginWriteBuf"); }
    int GetWriteBuf(unsigned char*&) override { return Called<int>("GetWriteBuf"); }
    void FreeWriteBuf(unsigned char*) override { Called<int>("FreeWriteBuf"); }
    int WriteHeader() override { return Called<int>("WriteHeader"); }
    int WriteFrame(unsigned char*, int, int, long long) override { return Called<int>("WriteFrame"); }
    int WriteSound(unsigned char*, int, long long) override { return Called<int>("WriteSound"); }
    int WriteTrailer() override { return Called<int>("WriteTrailer"); }
};

TEST(Slots, OfMemoryMuxer) {
    MuxerMemProbe probe;
    EXPECT_EQ(NamesFromSlot2(&probe, 8), (Names{"Delete", "BeginWriteBuf", "GetWriteBuf", "FreeWriteBuf", "WriteHeader",
                                                "WriteFrame", "WriteSound", "WriteTrailer"}));
}

class DemuxerMemProbe : public CDemuxerMemBase {
public:
    int Create(const char*, CDemuxerMemCallback*) override { return Called<int>("Create"); }
    void Destroy() override { Called<int>("Destroy"); }
    void Delete() override { Called<int>("Delete"); }
    bool WriteData(unsigned char*, unsigned int) override { return Called<bool>("WriteData"); }
};

TEST(Slots, OfMemoryDemuxer) {
    DemuxerMemProbe probe;
    EXPECT_EQ(NamesFromSlot2(&probe, 4), (Names{"Create", "Destroy", "Delete", "WriteData"}));
}

class DemuxerMemCallbackProbe : public CDemuxerMemCallback {
public:
    int OnVideoStream(int, int) override { return Called<int>("OnVideoStream"); }
    int OnAudioStream(int, int, AUDIO_FORMAT*) override { return Called<int>("OnAudioStream"); }
    int OnPacket(DEMUXER_PACKET*) override { return Called<int>("OnPacket"); }
};

TEST(Slots, OfMemoryDemuxerCallback) {
    DemuxerMemCallbackProbe probe;
    EXPECT_EQ(NamesFromSlot2(&probe, 3), (Names{"OnVideoStream", "OnAudioStream", "OnPacket"}));
}

class TransformProbe : public CVideoTransformBase {
public:
    unsigned int GetSupportedColorSpaces() override { return Called<unsigned int>("GetSupportedColorSpaces"); }
    CFrameBufferBase* Transform(CFrameBufferBase*) override { return Called<CFrameBufferBase*>("Transform"); }
};

TEST(Slots, OfVideoTransform) {
    TransformProbe probe;
    EXPECT_EQ(NamesFromSlot2(&probe, 2), (Names{"GetSupportedColorSpaces", "Transform"}));
}

class LoggerProbe : public uvqlog::Logger {
public:
    LoggerProbe() : Logger("probe", true) {}
    bool IsEnabled(uvqlog::Severity) override { return Called<bool>("IsEnabled"); }

    using Record = std::shared_ptr<uvqlog::LogRecord>;
    void Write(const Record&) override { Called<int>("Write"); }
};

TEST(Slots, OfLogger) {
    LoggerProbe probe;
    EXPECT_EQ(NamesFromSlot2(&probe, 2), (Names{"IsEnabled", "Write"}));
}

}  // namespace
