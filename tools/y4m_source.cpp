#include "y4m_source.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <set>
#include <sstream>
#include <vector>

#include "failure.h"
#include "files.h"

namespace {

constexpr char kMagic[] = "YUV4MPEG2";
constexpr char kPictureMark[] = "FRAME";
constexpr std::size_t kLongestLine = 1024;
/// FFmpeg takes no picture that is larger both ways.
constexpr unsigned int kLongestSide = 16384;

/// The names of 4:2:0 with 8 bits, which differ in where the chroma samples are thought to stand.
bool IsReadable(const std::string& layout) {
    static const std::set<std::string> names = {"420", "420jpeg", "420mpeg2", "420paldv"};
    return names.count(layout) > 0;
}

/// The one picture that a Y4M source has in memory.
class MemoryPicture : public CFrameBufferBase {
public:
    explicit MemoryPicture(std::size_t bytes) : m_Pixels(bytes) {}
    unsigned char* GetData() override { return m_Pixels.data(); }
    const unsigned char* GetConstData() override { return m_Pixels.data(); }

private:
    std::vector<unsigned char> m_Pixels;
};

}  // namespace

bool Y4mSource::IsY4m(const std::string& path) {
    const std::string start = ReadFileStart(path);
    return start.rfind(std::string(kMagic) + " ", 0) == 0 || start.rfind(std::string(kMagic) + "\n", 0) == 0;
}

Y4mSource::Y4mSource(LibrarySession& session, const std::string& path)
    : m_Session(session), m_Path(path), m_Bytes(std::filesystem::file_size(path)), m_File(path, std::ios::binary) {
    std::istringstream parameters(ReadLine());
    std::string parameter;
    parameters >> parameter;
    while (parameters >> parameter) {
        TakeParameter(parameter);
    }
    if (m_Size.width == 0 || m_Size.height == 0) {
        throw Failure(path + ": its first line does not tell the picture size");
    }
    if (PictureBytes(CSP_YUV420P, m_Size) > m_Bytes) {
        throw Failure(path + ": is too short for a picture of " + SizeText(m_Size));
    }
}

std::string Y4mSource::ReadLine() {
    std::array<char, kLongestLine> line{};
    if (!m_File.getline(line.data(), line.size())) {
        throw Failure(m_Path + ": is damaged: it has a line that is too long");
    }
    return line.data();
}

void Y4mSource::TakeParameter(const std::string& parameter) {
    switch (parameter[0]) {
        case 'W':
            return TakeSide(parameter, m_Size.width);
        case 'H':
            return TakeSide(parameter, m_Size.height);
        case 'F':
            return TakeFrameRate(parameter);
        case 'C':
            if (!IsReadable(parameter.substr(1))) {
                throw Failure(m_Path + ": its pictures are " + parameter.substr(1) +
                              "; only 4:2:0 with 8 bits is read");
            }
    }
}

void Y4mSource::TakeSide(const std::string& parameter, unsigned int& side) {
    int end = 0;
    const int found = std::sscanf(parameter.c_str(), "%*1c%5u%n", &side, &end);
    if (found != 1 || static_cast<std::size_t>(end) != parameter.size() || side == 0 || side > kLongestSide) {
        throw Failure(m_Path + ": its first line has the picture size " + parameter);
    }
}

void Y4mSource::TakeFrameRate(const std::string& parameter) {
    double pictures = 0;
    double seconds = 0;
    if (std::sscanf(parameter.c_str(), "F%lf:%lf", &pictures, &seconds) == 2 && pictures > 0 && seconds > 0) {
        m_FrameRate = static_cast<unsigned int>(std::clamp(std::round(pictures / seconds), 1.0, 1000.0));
    }
}

bool Y4mSource::ReadPicture(unsigned char* bytes, std::size_t size, long long number) {
    if (m_File.peek() == std::ifstream::traits_type::eof()) {
        return false;
    }
    if (ReadLine().rfind(kPictureMark, 0) != 0) {
        throw Failure(m_Path + ": is damaged: picture " + std::to_string(number) + " (from 0) does not begin");
    }
    if (!m_File.read(reinterpret_cast<char*>(bytes), static_cast<std::streamsize>(size))) {
        throw Failure(m_Path + ": is cut short: picture " + std::to_string(number) + " (from 0) is not whole");
    }
    return true;
}

void Y4mSource::ReadAll(const Taker& taker) {
    const std::size_t size = PictureBytes(CSP_YUV420P, m_Size);
    ProgressBar progress("encoding", m_Bytes, m_Session.IsSilent());
    const Picture picture{std::make_shared<MemoryPicture>(size), m_Size, size};
    long long number = 0;
    for (; ReadPicture(picture.frame->GetData(), size, number); ++number) {
        taker(picture);
        progress.Advance(size);
    }
    if (number == 0) {
        throw Failure(m_Path + ": has no pictures");
    }
}
