// What files and muxers cost beside plain loops of libavformat over the same packets. The memory demuxer, which works
// on two threads, has a benchmark of its own.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>
#include <string>

#include "benchmarks/clip.h"
#include "benchmarks/side_by_side.h"
#include "codrelay/factories.h"
#include "codrelay/media_ids.h"
#include "support/ffmpeg.h"
#include "uvqlog/control.h"

namespace {

constexpr double kBound = 1.05;
constexpr AVRational kMilliseconds{1, 1000};

MUXER_PARAM Param(const Clip& film, bool sound) {
    return {VIDEO_CODEC_H264, sound ? AUDIO_CODEC_AAC : -1, film.width, film.height, 44100, 1, 69000, 30};
}

std::size_t FileSize(const std::string& path) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    Check(file != nullptr && std::fseek(file, 0, SEEK_END) == 0);
    const long size = std::ftell(file);
    std::fclose(file);
    return static_cast<std::size_t>(size);
}

/// The streams of a film and its packets, as a host hands them to libavformat.
class PlainMuxer {
public:
    PlainMuxer(const char* format, const Clip& film, bool sound) {
        Check(avformat_alloc_output_context2(&m_pContext, nullptr, format, nullptr) >= 0);
        AVCodecParameters* video = avformat_new_stream(m_pContext, nullptr)->codecpar;
        video->codec_type = AVMEDIA_TYPE_VIDEO;
        video->codec_id = film.videoCodec;
        video->width = film.width;
        video->height = film.height;
        if (sound) {
            StreamParameters* audio = ParametersOf(avformat_new_stream(m_pContext, nullptr));
            audio->codec_type = AVMEDIA_TYPE_AUDIO;
            audio->codec_id = AV_CODEC_ID_AAC;
            audio->sample_rate = 44100;
            SetChannels(audio, 1);
        }
    }
    ~PlainMuxer() { avformat_free_context(m_pContext); }
    PlainMuxer(const PlainMuxer&) = delete;
    PlainMuxer& operator=(const PlainMuxer&) = delete;

    AVFormatContext* Context() const { return m_pContext; }

    void Write(ClipPacket& in) {
        AVPacket packet;
        av_init_packet(&packet);
        packet.data = in.bytes.data();
        packet.size = in.size;
        packet.flags = in.isKey ? AV_PKT_FLAG_KEY : 0;
        packet.stream_index = in.isVideo ? 0 : 1;
        packet.pts = av_rescale_q(in.milliseconds, kMilliseconds, m_pContext->streams[packet.stream_index]->time_base);
        packet.dts = packet.pts;
        Check(av_interleaved_write_frame(m_pContext, &packet) == 0);
    }

private:
    AVFormatContext* m_pContext = nullptr;
};

// Into a file. Pictures alone: sound gets times of its own there, so that the two ways would not write the same.

void MuxFilePlainly(const char* format, Clip& film, const std::string& path) {
    PlainMuxer muxer(format, film, false);
    Check(avio_open(&muxer.Context()->pb, path.c_str(), AVIO_FLAG_WRITE) >= 0);
    Check(avformat_write_header(muxer.Context(), nullptr) >= 0);
    for (ClipPacket& packet : film.packets) {
        if (packet.isVideo) {
            muxer.Write(packet);
        }
    }
    Check(av_write_trailer(muxer.Context()) == 0);
    avio_closep(&muxer.Context()->pb);
}

void MuxFileByTheLibrary(int format, Clip& film, const std::string& path) {
    MUXER_PARAM param = Param(film, false);
    CMuxerFileBase* muxer = Codrelay_MuxerFile(format, &param, path.c_str());
    Check(muxer->WriteHeader() == 1);
    for (ClipPacket& packet : film.packets) {
        if (packet.isVideo) {
            Check(muxer->WriteFrame(packet.bytes.data(), packet.size, packet.isKey, packet.milliseconds) == 1);
        }
    }
    Check(muxer->WriteTrailer() == 1);
    muxer->Delete();
}

void MuxFile(benchmark::State& state, const char* plainFormat, int format) {
    uvqlog::ForbidLogging(true);
    Clip film = ReadClip("film.ts");
    const std::string plainPath = ClipPath("muxed-plainly");
    const std::string path = ClipPath("muxed");
    SideBySide sides(state);
    for (auto _ : state) {
        sides.Turn([&] { MuxFilePlainly(plainFormat, film, plainPath); },
                   [&] { MuxFileByTheLibrary(format, film, path); });
        sides.EndRound();
    }
    Check(FileSize(path) > film.packets.size());
    state.counters["plain_bytes"] = static_cast<double>(FileSize(plainPath));
    state.counters["library_bytes"] = static_cast<double>(FileSize(path));
    std::remove(plainPath.c_str());
    std::remove(path.c_str());
    sides.Tell("ms", 1e3, 1, kBound);
}

// Into memory, a piece for every write.

std::size_t TakePiece(AVFormatContext* context) {
    uint8_t* piece = nullptr;
    const int size = avio_close_dyn_buf(context->pb, &piece);
    context->pb = nullptr;
    av_free(piece);
    return static_cast<std::size_t>(size);
}

std::size_t MuxMemoryPlainly(const char* format, Clip& film) {
    PlainMuxer muxer(format, film, true);
    AVFormatContext* context = muxer.Context();
    const auto begin = [context] {
        Check(avio_open_dyn_buf(&context->pb) == 0);
        context->pb->seekable = 0;
    };
    begin();
    Check(avformat_write_header(context, nullptr) >= 0);
    std::size_t total = TakePiece(context);
    for (ClipPacket& packet : film.packets) {
        begin();
        muxer.Write(packet);
        total += TakePiece(context);
    }
    begin();
    Check(av_write_trailer(context) == 0);
    return total + TakePiece(context);
}

std::size_t TakePiece(CMuxerMemBase& muxer) {
    unsigned char* piece = nullptr;
    const int size = muxer.GetWriteBuf(piece);
    muxer.FreeWriteBuf(piece);
    return static_cast<std::size_t>(size);
}

std::size_t MuxMemoryByTheLibrary(int format, Clip& film) {
    MUXER_PARAM param = Param(film, true);
    CMuxerMemBase* muxer = Codrelay_MuxerMem(format, &param);
    Check(muxer->BeginWriteBuf() == 1 && muxer->WriteHeader() == 1);
    std::size_t total = TakePiece(*muxer);
    for (ClipPacket& packet : film.packets) {
        Check(muxer->BeginWriteBuf() == 1);
        Check((packet.isVideo ? muxer->WriteFrame(packet.bytes.data(), packet.size, packet.isKey, packet.milliseconds)
                              : muxer->WriteSound(packet.bytes.data(), packet.size, packet.milliseconds)) == 1);
        total += TakePiece(*muxer);
    }
    Check(muxer->BeginWriteBuf() == 1 && muxer->WriteTrailer() == 1);
    total += TakePiece(*muxer);
    muxer->Delete();
    return total;
}

void MuxMemory(benchmark::State& state, const char* plainFormat, int format) {
    uvqlog::ForbidLogging(true);
    Clip film = ReadClip("film.ts");
    std::size_t plainBytes = 0;
    std::size_t libraryBytes = 0;
    SideBySide sides(state);
    for (auto _ : state) {
        sides.Turn([&] { plainBytes = MuxMemoryPlainly(plainFormat, film); },
                   [&] { libraryBytes = MuxMemoryByTheLibrary(format, film); });
        sides.EndRound();
    }
    state.counters["plain_bytes"] = static_cast<double>(plainBytes);
    state.counters["library_bytes"] = static_cast<double>(libraryBytes);
    sides.Tell("ms", 1e3, 1, kBound);
}

// Out of a file. H.264 comes with start codes from both ways.

struct Count {
    std::size_t packets = 0;
    std::size_t bytes = 0;

    bool operator==(const Count& other) const { return packets == other.packets && bytes == other.bytes; }
};

/// libavcodec's older filter interface is the one that the library has, and it copies every packet twice.
enum class Filter { Older, Newer };

class PlainFile {
public:
    PlainFile(const std::string& path, Filter filter) : m_Filter(filter) {
        Check(avformat_open_input(&m_pContext, path.c_str(), nullptr, nullptr) == 0);
        Check(avformat_find_stream_info(m_pContext, nullptr) >= 0);
        m_pOlderFilter = av_bitstream_filter_init("h264_mp4toannexb");
        Check(av_bsf_alloc(av_bsf_get_by_name("h264_mp4toannexb"), &m_pNewerFilter) == 0);
        Check(avcodec_parameters_copy(m_pNewerFilter->par_in, m_pContext->streams[0]->codecpar) >= 0);
        Check(av_bsf_init(m_pNewerFilter) == 0);
    }
    ~PlainFile() {
        av_bsf_free(&m_pNewerFilter);
        av_bitstream_filter_close(m_pOlderFilter);
        avformat_close_input(&m_pContext);
    }
    PlainFile(const PlainFile&) = delete;
    PlainFile& operator=(const PlainFile&) = delete;

    Count ReadAll() {
        Count count;
        AVPacket packet;
        av_init_packet(&packet);
        while (av_read_frame(m_pContext, &packet) >= 0) {
            uint8_t* filtered = nullptr;
            if (packet.stream_index == 0 && m_Filter == Filter::Older) {
                filtered = FilterByCopies(packet);
            } else if (packet.stream_index == 0) {
                FilterInPlace(packet);
            }
            av_packet_rescale_ts(&packet, m_pContext->streams[packet.stream_index]->time_base, kMilliseconds);
            ++count.packets;
            count.bytes += static_cast<std::size_t>(packet.size);
            av_packet_unref(&packet);
            av_free(filtered);
        }
        return count;
    }

private:
    /// The packet's bytes are av_free's from then on.
    uint8_t* FilterByCopies(AVPacket& packet) {
        uint8_t* data = nullptr;
        int size = 0;
        const int made =
            av_bitstream_filter_filter(m_pOlderFilter, ParametersOf(m_pContext->streams[0]), nullptr, &data, &size,
                                       packet.data, packet.size, packet.flags & AV_PKT_FLAG_KEY);
        Check(made == 1);
        av_buffer_unref(&packet.buf);
        packet.data = data;
        packet.size = size;
        return data;
    }

    void FilterInPlace(AVPacket& packet) {
        Check(av_bsf_send_packet(m_pNewerFilter, &packet) == 0);
        Check(av_bsf_receive_packet(m_pNewerFilter, &packet) == 0);
    }

    Filter m_Filter;
    AVFormatContext* m_pContext = nullptr;
    AVBitStreamFilterContext* m_pOlderFilter = nullptr;
    AVBSFContext* m_pNewerFilter = nullptr;
};

class LibraryFile : public CDemuxerFileCallback {
public:
    explicit LibraryFile(const std::string& path) { Check(m_pDemuxer->Open(path.c_str(), this)); }

    Count ReadAll() {
        while (m_pDemuxer->ReadNextFrame() == 1) {
        }
        return m_Count;
    }

    int OnPacket(DEMUXER_PACKET* packet) override {
        ++m_Count.packets;
        m_Count.bytes += static_cast<std::size_t>(packet->size);
        return 0;
    }

private:
    std::unique_ptr<CDemuxerFileBase> m_pDemuxer{Codrelay_DemuxerFile(0)};
    Count m_Count;
};

/// From opening to closing.
void DemuxFile(benchmark::State& state, const char* clipName, Filter filter) {
    uvqlog::ForbidLogging(true);
    av_log_set_level(AV_LOG_QUIET);
    const std::string path = ClipPath(clipName);
    SideBySide sides(state);
    for (auto _ : state) {
        Count plain;
        Count library;
        sides.Turn([&] { plain = PlainFile(path, filter).ReadAll(); }, [&] { library = LibraryFile(path).ReadAll(); });
        sides.EndRound();
        Check(plain == library);
    }
    sides.Tell("ms", 1e3, 1, kBound);
}

/// Between opening and closing.
void DemuxOpenFile(benchmark::State& state, const char* clipName, Filter filter) {
    uvqlog::ForbidLogging(true);
    av_log_set_level(AV_LOG_QUIET);
    const std::string path = ClipPath(clipName);
    SideBySide sides(state);
    for (auto _ : state) {
        PlainFile plainFile(path, filter);
        LibraryFile libraryFile(path);
        Count plain;
        Count library;
        sides.Turn([&] { plain = plainFile.ReadAll(); }, [&] { library = libraryFile.ReadAll(); });
        sides.EndRound();
        Check(plain == library);
    }
    sides.Tell("ms", 1e3, 1, kBound);
}

void InRounds(benchmark::internal::Benchmark* benchmark) {
    benchmark->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(3 * SideBySide::kRounds);
}

BENCHMARK_CAPTURE(MuxFile, mp4, "mp4", MUXER_FORMAT_MP4)->Apply(InRounds);
BENCHMARK_CAPTURE(MuxFile, mpegts, "mpegts", MUXER_FORMAT_MPEGTS)->Apply(InRounds);
BENCHMARK_CAPTURE(MuxMemory, flv, "flv", MUXER_FORMAT_FLV)->Apply(InRounds);
BENCHMARK_CAPTURE(MuxMemory, mpegts, "mpegts", MUXER_FORMAT_MPEGTS)->Apply(InRounds);
BENCHMARK_CAPTURE(DemuxFile, mp4, "film.mp4", Filter::Older)->Apply(InRounds);
BENCHMARK_CAPTURE(DemuxFile, mp4_beside_the_newer_filter, "film.mp4", Filter::Newer)->Apply(InRounds);
BENCHMARK_CAPTURE(DemuxFile, mpegts, "film.ts", Filter::Older)->Apply(InRounds);
BENCHMARK_CAPTURE(DemuxFile, mpegts_beside_the_newer_filter, "film.ts", Filter::Newer)->Apply(InRounds);
BENCHMARK_CAPTURE(DemuxOpenFile, mp4, "film.mp4", Filter::Older)->Apply(InRounds);
BENCHMARK_CAPTURE(DemuxOpenFile, mp4_beside_the_newer_filter, "film.mp4", Filter::Newer)->Apply(InRounds);
BENCHMARK_CAPTURE(DemuxOpenFile, mpegts, "film.ts", Filter::Older)->Apply(InRounds);
BENCHMARK_CAPTURE(DemuxOpenFile, mpegts_beside_the_newer_filter, "film.ts", Filter::Newer)->Apply(InRounds);

}  // namespace
