#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "codrelay/factories.h"
#include "codrelay/media_ids.h"
#include "common/test_media.h"
#include "container/mux_material.h"
#include "steadiness/life_parts.h"

namespace {

class FileDemuxerLife : public Life, CDemuxerFileCallback {
public:
    explicit FileDemuxerLife(std::string path) : m_Path(std::move(path)) {}

    bool Build() override {
        m_pDemuxer = Codrelay_DemuxerFile(0);
        return IsBuilt();
    }
    bool IsBuilt() const override { return m_pDemuxer != nullptr; }
    bool Create() override { return m_pDemuxer->Open(m_Path.c_str(), this); }
    std::optional<std::uint64_t> Work() override {
        m_Seen = Fingerprint();
        for (int index = 0; index < m_pDemuxer->GetStreamCount(); ++index) {
            int codec = 0;
            AUDIO_FORMAT format{};
            m_Seen.Add(m_pDemuxer->GetStreamType(index));
            m_pDemuxer->GetVideoStreamInfo(index, &codec);
            m_pDemuxer->GetAudioStreamInfo(index, &codec, &format);
            m_Seen.Add(codec);
        }
        bool failed = m_pDemuxer->GetStreamCount() == 0;
        for (int i = 0; i < 12; ++i) {
            failed = m_pDemuxer->ReadNextFrame() != 1 || failed;
        }
        return failed ? std::nullopt : std::optional(m_Seen.Value());
    }
    void Destroy() override { m_pDemuxer->Close(); }
    void Delete() override {
        delete m_pDemuxer;
        m_pDemuxer = nullptr;
    }

private:
    int OnPacket(DEMUXER_PACKET* packet) override {
        m_Seen.Add(packet->data, static_cast<std::size_t>(packet->size));
        m_Seen.Add(packet->pts);
        return 0;
    }

    std::string m_Path;
    CDemuxerFileBase* m_pDemuxer = nullptr;
    Fingerprint m_Seen;
};

class MemoryDemuxerLife : public Life, CDemuxerMemCallback {
public:
    MemoryDemuxerLife(int format, const char* formatName, std::vector<unsigned char> bytes)
        : m_nFormat(format), m_szFormatName(formatName), m_Bytes(std::move(bytes)) {}

    bool Build() override {
        Begin();
        m_pDemuxer = Codrelay_DemuxerMem(m_nFormat, this);
        return IsBuilt();
    }
    bool IsBuilt() const override { return m_pDemuxer != nullptr; }
    bool Create() override {
        m_pDemuxer->Destroy();
        Begin();
        return m_pDemuxer->Create(m_szFormatName, this) == 1;
    }
    std::optional<std::uint64_t> Work() override {
        // In pieces, and then a zero at a time for as long as it takes: the reader thread tells of its end only by
        // refusing it.
        std::size_t at = 0;
        while (m_nPackets < kPackets) {
            const std::size_t size = std::min<std::size_t>(3000, m_Bytes.size() - at);
            unsigned char zero = 0;
            const bool taken = size != 0 ? m_pDemuxer->WriteData(m_Bytes.data() + at, static_cast<unsigned int>(size))
                                         : m_pDemuxer->WriteData(&zero, 1);
            if (!taken && m_nPackets < kPackets) {
                return std::nullopt;
            }
            at += size;
            if (size == 0) {
                std::this_thread::yield();
            }
        }
        m_pDemuxer->Destroy();  // the reader thread is gone, and the fingerprint stays as it is
        return m_Seen.Value();
    }
    void Destroy() override { m_pDemuxer->Destroy(); }
    void Delete() override {
        m_pDemuxer->Delete();
        m_pDemuxer = nullptr;
    }

private:
    static constexpr int kPackets = 4;

    void Begin() {
        m_Seen = Fingerprint();
        m_nPackets = 0;
    }

    int OnVideoStream(int streamIndex, int codecId) override {
        m_Seen.Add(streamIndex);
        m_Seen.Add(codecId);
        return 0;
    }
    int OnAudioStream(int streamIndex, int codecId, AUDIO_FORMAT* format) override {
        m_Seen.Add(streamIndex);
        m_Seen.Add(codecId);
        m_Seen.Add(format->sampleRate);
        return 0;
    }
    int OnPacket(DEMUXER_PACKET* packet) override {
        if (m_nPackets < kPackets) {
            m_Seen.Add(packet->data, static_cast<std::size_t>(packet->size));
            m_Seen.Add(packet->pts);
            ++m_nPackets;
        }
        return 0;
    }

    int m_nFormat;
    const char* m_szFormatName;
    std::vector<unsigned char> m_Bytes;
    CDemuxerMemBase* m_pDemuxer = nullptr;
    Fingerprint m_Seen;
    std::atomic<int> m_nPackets{0};
};

/// What a muxer is fed with.
struct Film {
    MUXER_PARAM param;
    std::vector<Block> pictures;
    std::vector<Block> sounds;
};

Film FilmOf(int videoCodec, const char* pictures, int audioCodec, const char* sounds) {
    Film film{
        {videoCodec, audioCodec, 320, 240, 44100, 1, 64000, 1}, ReadBlocks(Clip(pictures)), ReadBlocks(Clip(sounds))};
    film.pictures.resize(8);
    film.sounds.resize(8);
    return film;
}

Film SilentFilm() {
    Film film{{VIDEO_CODEC_MJPEG, -1, 320, 240, 0, 0, 0, 1}, ReadBlocks(Clip("mux_mjpeg.avi")), {}};
    film.pictures.resize(8);
    return film;
}

template <typename Muxer>
bool WritePair(Muxer* muxer, Film* film, std::size_t i) {
    Block& picture = film->pictures[i];
    const auto pts = static_cast<long long>(40 * i);
    const int pictureWritten =
        muxer->WriteFrame(picture.bytes.data(), static_cast<int>(picture.bytes.size()), picture.key ? 1 : 0, pts);
    int soundWritten = 1;
    if (!film->sounds.empty()) {
        Block& sound = film->sounds[i];
        soundWritten = muxer->WriteSound(sound.bytes.data(), static_cast<int>(sound.bytes.size()), pts);
    }
    RequireDocumented((pictureWritten & ~1) == 0 && (soundWritten & ~1) == 0, "WriteFrame or WriteSound");
    return pictureWritten == 1 && soundWritten == 1;
}

class FileMuxerLife : public Life {
public:
    FileMuxerLife(int format, Film film, std::string path)
        : m_nFormat(format), m_Film(std::move(film)), m_Path(std::move(path)) {}
    ~FileMuxerLife() override { ::unlink(m_Path.c_str()); }

    bool Build() override {
        m_pMuxer = Codrelay_MuxerFile(m_nFormat, &m_Film.param, m_Path.c_str());
        return IsBuilt();
    }
    bool IsBuilt() const override { return m_pMuxer != nullptr; }
    bool Create() override { return m_pMuxer->WriteHeader() == 1; }
    std::optional<std::uint64_t> Work() override {
        bool failed = false;
        for (std::size_t i = 0; i < m_Film.pictures.size(); ++i) {
            failed = !WritePair(m_pMuxer, &m_Film, i) || failed;
        }
        failed = m_pMuxer->GetFileSize() < 0 || failed;
        failed = m_pMuxer->WriteTrailer() != 1 || failed;
        return failed ? std::nullopt : std::optional(FingerprintOfFile());
    }
    /// There is no second header on the same muxer.
    void Destroy() override { Delete(); }
    void Delete() override {
        if (m_pMuxer != nullptr) {
            m_pMuxer->Delete();
            m_pMuxer = nullptr;
        }
    }

private:
    std::uint64_t FingerprintOfFile() {
        Fingerprint seen;
        const int file = ::open(m_Path.c_str(), O_RDONLY | O_CLOEXEC);
        for (ssize_t got = 1; got > 0;) {
            got = ::read(file, m_Read.data(), m_Read.size());
            seen.Add(m_Read.data(), static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
        }
        ::close(file);
        return seen.Value();
    }

    int m_nFormat;
    Film m_Film;
    std::string m_Path;
    std::vector<unsigned char> m_Read = std::vector<unsigned char>(65536);
    CMuxerFileBase* m_pMuxer = nullptr;
};

class MemoryMuxerLife : public Life {
public:
    MemoryMuxerLife(int format, Film film) : m_nFormat(format), m_Film(std::move(film)) {}

    bool Build() override {
        m_Seen = Fingerprint();
        m_pMuxer = Codrelay_MuxerMem(m_nFormat, &m_Film.param);
        return IsBuilt();
    }
    bool IsBuilt() const override { return m_pMuxer != nullptr; }
    bool Create() override {
        return InPiece([this] { return m_pMuxer->WriteHeader() == 1; });
    }
    std::optional<std::uint64_t> Work() override {
        bool failed = false;
        for (std::size_t i = 0; i < m_Film.pictures.size(); ++i) {
            failed = !InPiece([this, i] { return WritePair(m_pMuxer, &m_Film, i); }) || failed;
        }
        failed = !InPiece([this] { return m_pMuxer->WriteTrailer() == 1; }) || failed;
        return failed ? std::nullopt : std::optional(m_Seen.Value());
    }
    /// There is no second header on the same muxer.
    void Destroy() override { Delete(); }
    void Delete() override {
        if (m_pMuxer != nullptr) {
            m_pMuxer->Delete();
            m_pMuxer = nullptr;
        }
    }

private:
    template <typename Write>
    bool InPiece(const Write& write) {
        if (m_pMuxer->BeginWriteBuf() != 1) {
            return false;
        }
        const bool written = write();
        unsigned char* piece = nullptr;
        const int size = m_pMuxer->GetWriteBuf(piece);
        m_Seen.Add(piece, static_cast<std::size_t>(std::max(size, 0)));
        m_pMuxer->FreeWriteBuf(piece);
        return written;
    }

    int m_nFormat;
    Film m_Film;
    CMuxerMemBase* m_pMuxer = nullptr;
    Fingerprint m_Seen;
};

void AddFileDemuxer(const char* name, const char* clip, std::vector<LifeKind>* kinds) {
    kinds->push_back({name, [clip](const FrameUser&, const std::string&) -> std::unique_ptr<Life> {
                          return std::make_unique<FileDemuxerLife>(Clip(clip));
                      }});
}

void AddMemoryDemuxer(const char* name, int format, const char* formatName, const char* clip,
                      std::vector<LifeKind>* kinds) {
    kinds->push_back({name, [=](const FrameUser&, const std::string&) -> std::unique_ptr<Life> {
                          return std::make_unique<MemoryDemuxerLife>(format, formatName, ReadFile(Clip(clip)));
                      }});
}

Film H264Film() {
    return FilmOf(VIDEO_CODEC_H264, "mux_h264.264", AUDIO_CODEC_AAC, "mux_aac_adts.aac");
}

Film Mpeg4Film() {
    return FilmOf(VIDEO_CODEC_MPEG4, "mux_mpeg4.avi", AUDIO_CODEC_PCM_S16LE, "mux_s16le.wav");
}

void AddFileMuxer(const char* name, int format, Film (*film)(), std::vector<LifeKind>* kinds) {
    kinds->push_back({name,
                      [=](const FrameUser&, const std::string& path) -> std::unique_ptr<Life> {
                          return std::make_unique<FileMuxerLife>(format, film(), path);
                      },
                      true});
}

void AddMemoryMuxer(const char* name, int format, Film (*film)(), std::vector<LifeKind>* kinds) {
    kinds->push_back({name,
                      [=](const FrameUser&, const std::string&) -> std::unique_ptr<Life> {
                          return std::make_unique<MemoryMuxerLife>(format, film());
                      },
                      true});
}

}  // namespace

void AddContainerLives(std::vector<LifeKind>* kinds) {
    AddFileDemuxer("DemuxMp4", "demux_film.mp4", kinds);
    AddFileDemuxer("DemuxAvi", "demux_plain.avi", kinds);
    AddMemoryDemuxer("DemuxAsfFromMemory", DEMUXER_FORMAT_ASF, "ASF format", "demux_memory.asf", kinds);
    AddMemoryDemuxer("DemuxWavFromMemory", DEMUXER_FORMAT_WAV, "WAV format", "mux_mulaw.wav", kinds);
    AddFileMuxer("MuxMp4", MUXER_FORMAT_MP4, H264Film, kinds);
    AddFileMuxer("MuxAvi", MUXER_FORMAT_AVI, Mpeg4Film, kinds);
    AddMemoryMuxer("MuxMpegTsIntoMemory", MUXER_FORMAT_MPEGTS, H264Film, kinds);
    AddMemoryMuxer("MuxSilentAviIntoMemory", MUXER_FORMAT_AVI, SilentFilm, kinds);
}
