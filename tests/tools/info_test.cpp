#include <codrelay/audio_decoder.h>
#include <codrelay/factories.h>
#include <codrelay/ffmpeg_vocabulary.h>
#include <codrelay/library.h>
#include <codrelay/media_ids.h>
#include <gmock/gmock.h>

#include <set>
#include <string>
#include <vector>

#include "command.h"

using testing::Each;
using testing::ElementsAre;
using testing::MatchesRegex;

namespace {

/// The lines below the head that begins so, up to the next empty line.
std::vector<std::string> Section(const std::string& text, const std::string& head) {
    std::vector<std::string> lines;
    bool inside = false;
    for (const std::string& line : Lines(text)) {
        if (inside && line.empty()) {
            break;
        }
        if (inside) {
            lines.push_back(line);
        }
        inside = inside || line.rfind(head + "\t", 0) == 0;
    }
    return lines;
}

std::set<int> Ids(const std::vector<std::string>& rows) {
    std::set<int> ids;
    for (const std::string& row : rows) {
        ids.insert(std::stoi(row));
    }
    return ids;
}

/// FFmpeg's name of a decoder of sound, as it is told where the decoder cannot be created.
std::string OrMissing(int id, int sampleRate) {
    CAudioDecoderBase* decoder = Codrelay_AudioDecoder(id);
    int sampleFormat = 0;
    const bool created = decoder->CreateDecoder(1, sampleRate, sampleFormat, nullptr, 0);
    decoder->DestroyDecoder();
    decoder->Delete();
    return std::string(created ? "" : "missing: ") + GetFFmpegAudioDecoderName(id);
}

class Info : public testing::Test {
protected:
    const ProcessResult m_Run = RunCodrelay("info");
};

}  // namespace

TEST_F(Info, BeginsWithTheLibrarysVersion) {
    EXPECT_EQ(m_Run.exitCode, 0);
    EXPECT_EQ(m_Run.err, "");
    EXPECT_EQ(Lines(m_Run.out).front(), "codrelay 1.0.0");
}

auto OfMajors(int util, int codec, int format, int filter, int scale, int resample) {
    const auto line = [](const std::string& library, int major) {
        const std::string version = "\t" + std::to_string(major) + "\\.[0-9.]+";
        return MatchesRegex(library + version + version);
    };
    return ElementsAre(line("libavutil", util), line("libavcodec", codec), line("libavformat", format),
                       line("libavfilter", filter), line("libswscale", scale), line("libswresample", resample));
}

TEST_F(Info, TellsEachFfmpegLibraryAsCompiledAndAsLoaded) {
    // FFmpeg 4, 5.1 and 7.
    EXPECT_THAT(
        Section(m_Run.out, "FFmpeg library"),
        testing::AnyOf(OfMajors(56, 58, 58, 7, 5, 3), OfMajors(57, 59, 59, 8, 6, 4), OfMajors(59, 61, 61, 10, 8, 5)));
}

TEST_F(Info, ListsTheEncodersThatTheLibraryTells) {
    Codrelay_Create(nullptr);
    EXPECT_EQ(Ids(Section(m_Run.out, "video encoder")), Codrelay_GetSupportedVideoEncoders());
    EXPECT_EQ(Ids(Section(m_Run.out, "audio encoder")), Codrelay_GetSupportedAudioEncoders());
    Codrelay_Destroy();
}

TEST_F(Info, NamesEachEncoder) {
    EXPECT_THAT(Section(m_Run.out, "video encoder"),
                Each(MatchesRegex("3\tflv|4\tmpeg4|5\th263|7\tmjpeg|8\th264|9\th265")));
    EXPECT_THAT(Section(m_Run.out, "audio encoder"),
                testing::IsSupersetOf({"0\tamrnb", "3\taac", "4\tmp3", "501\tpcm_s16be"}));
}

TEST_F(Info, TellsWhichCodecOfFfmpegServesEachCodec) {
    const bool openH264 = GetFFmpegVideoEncoderName(VIDEO_CODEC_H264) == std::string("libopenh264");
    EXPECT_THAT(
        Section(m_Run.out, "codec"),
        ElementsAre("flv\tflv\tflv", "mpeg4\tmpeg4\tmpeg4", "h263\th263\th263", "jpeg\tmjpeg\tmjpeg",
                    "mjpeg\tmjpeg\tmjpeg", openH264 ? "h264\tlibopenh264\th264" : "h264\tlibx264 for libopenh264\th264",
                    "h265\tnone\thevc", "amrnb\tnone\t" + OrMissing(AUDIO_CODEC_AMRNB, 8000),
                    "amrwb\tnone\t" + OrMissing(AUDIO_CODEC_AMRWB, 16000), "aac\taac\taac", "mp3\tlibmp3lame\tmp3",
                    "g726_16\tnone\tg726", "g726_24\tnone\tg726", "g726_32\tnone\tg726", "g726_40\tnone\tg726",
                    "opus\tnone\tlibopus itself", "mulaw\tnone\tpcm_mulaw", "alaw\tnone\tpcm_alaw",
                    "pcm_u16le\tnone\tpcm_u16le", "pcm_s16le\tpcm_s16le\tpcm_s16le",
                    "adpcm_ima_wav\tnone\tadpcm_ima_wav", "pcm_s16be\tnone\tpcm_s16be"));
}

TEST_F(Info, TellsWhichMuxersAndMemoryDemuxersThereAre) {
    EXPECT_THAT(Section(m_Run.out, "muxer"),
                ElementsAre("1\tFLV format\tyes", "2\tMP4 (MPEG-4 Part 14)\tyes", "3\tWebM file format\tyes",
                            "4\t3GP format\tyes", "5\t3GP2 format\tyes", "6\tAVI (Audio Video Interleaved)\tyes",
                            "7\tMPEG-2 transport stream format\tyes"));
    EXPECT_THAT(Section(m_Run.out, "memory demuxer"), ElementsAre("1\tWAV format\tyes", "2\tASF format\tyes"));
}
