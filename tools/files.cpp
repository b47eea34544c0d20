#include "files.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "failure.h"

namespace {

bool IsTextByte(char byte) {
    const auto value = static_cast<unsigned char>(byte);
    return value >= 0x20 || std::strchr("\t\n\v\f\r\033", byte) != nullptr;
}

/// FFmpeg reads many a text as a film of letters or as a list of other files to open; neither is meant here.
bool IsText(const std::string& start) {
    return start.find('\0') == std::string::npos && std::all_of(start.begin(), start.end(), IsTextByte);
}

std::string ReadStart(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw Failure(path + ": cannot be read: " + std::strerror(errno));
    }
    std::string start(4096, '\0');
    file.read(start.data(), static_cast<std::streamsize>(start.size()));
    start.resize(static_cast<std::size_t>(file.gcount()));
    return start;
}

}  // namespace

std::string ReadFileStart(const std::string& path) {
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) {
        throw Failure(path + ": " + error.message());
    }
    if (std::filesystem::is_directory(status)) {
        throw Failure(path + ": is a directory");
    }
    if (!std::filesystem::is_regular_file(status)) {
        throw Failure(path + ": is not a regular file");
    }
    std::string start = ReadStart(path);
    if (start.empty()) {
        throw Failure(path + ": is empty");
    }
    return start;
}

std::uintmax_t CheckInputFile(const std::string& path) {
    if (IsText(ReadFileStart(path))) {
        throw Failure(path + ": is a text file, not a media file");
    }
    return std::filesystem::file_size(path);
}

void CheckThatInputIsKept(const std::string& path, const std::string& input) {
    std::error_code ignored;
    if (std::filesystem::equivalent(path, input, ignored)) {
        throw Failure(path + ": is the input; it would be written over");
    }
}

OutputFile::OutputFile(const std::string& path, const std::string& input) : m_Path(path) {
    CheckThatInputIsKept(path, input);
    m_File.reset(std::fopen(path.c_str(), "wb"));
    if (!m_File) {
        FailToWrite();
    }
}

OutputFile::~OutputFile() {
    std::error_code ignored;
    if (m_File && std::filesystem::is_regular_file(m_Path, ignored)) {
        std::filesystem::remove(m_Path, ignored);
    }
}

void OutputFile::Write(const unsigned char* data, std::size_t size) {
    if (std::fwrite(data, 1, size, m_File.get()) != size) {
        FailToWrite();
    }
}

void OutputFile::Finish() {
    if (std::fflush(m_File.get()) != 0) {
        FailToWrite();
    }
    m_File.reset();
}

void OutputFile::FailToWrite() const {
    throw Failure(m_Path + ": cannot be written: " + std::strerror(errno));
}
