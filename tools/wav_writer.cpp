#include "wav_writer.h"

#include <limits>

#include "failure.h"
#include "sample_format.h"

namespace {

constexpr unsigned int kIntegerSamples = 1;
constexpr unsigned int kFloatSamples = 3;
/// What the header may add to the samples, with room to spare.
constexpr std::uint64_t kMostHeader = 64;

/// Little-endian pieces, one after the other.
class Pieces {
public:
    void Add(const char* mark) { m_Bytes += mark; }
    void Add(std::uint64_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) {
            m_Bytes += static_cast<char>(value >> (8 * i) & 0xff);
        }
    }
    const unsigned char* Data() const { return reinterpret_cast<const unsigned char*>(m_Bytes.data()); }
    std::size_t Size() const { return m_Bytes.size(); }

private:
    std::string m_Bytes;
};

/// Samples that are not integers need the longer form, and a chunk that tells their number.
Pieces Header(const AUDIO_FORMAT& format, std::uint64_t bytes) {
    const bool isFloat = format.sampleFormat == AUDIO_SAMPLE_FLT;
    const std::size_t group = GroupBytes(format);
    const auto channels = static_cast<unsigned int>(format.channels);
    const auto rate = static_cast<unsigned int>(format.sampleRate);
    Pieces header;
    header.Add("RIFF");
    header.Add((isFloat ? 50 : 36) + bytes + bytes % 2, 4);
    header.Add("WAVEfmt ");
    header.Add(isFloat ? 18 : 16, 4);
    header.Add(isFloat ? kFloatSamples : kIntegerSamples, 2);
    header.Add(channels, 2);
    header.Add(rate, 4);
    header.Add(rate * group, 4);
    header.Add(group, 2);
    header.Add(group / channels * 8, 2);
    if (isFloat) {
        header.Add(0, 2);
        header.Add("fact");
        header.Add(4, 4);
        header.Add(bytes / group, 4);
    }
    header.Add("data");
    header.Add(bytes, 4);
    return header;
}

}  // namespace

WavWriter::WavWriter(const std::string& path, const std::string& input, const AUDIO_FORMAT& format)
    : m_Path(path), m_Format(format), m_File(path, input) {
    WriteHeader();
}

void WavWriter::WriteHeader() {
    const Pieces header = Header(m_Format, m_Bytes);
    m_File.Write(header.Data(), header.Size());
}

void WavWriter::Write(const unsigned char* data, std::size_t size) {
    m_Bytes += size;
    if (m_Bytes > std::numeric_limits<std::uint32_t>::max() - kMostHeader) {
        throw Failure(m_Path + ": would be longer than a WAV file can be, 4 GiB");
    }
    m_File.Write(data, size);
}

void WavWriter::Finish() {
    if (m_Bytes % 2 != 0) {
        const unsigned char padding = 0;
        m_File.Write(&padding, 1);
    }
    if (std::fseek(m_File.Get(), 0, SEEK_SET) != 0) {
        m_File.FailToWrite();
    }
    WriteHeader();
    m_File.Finish();
}
