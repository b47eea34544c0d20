#include "part_file.h"

#include <filesystem>
#include <system_error>

#include "failure.h"
#include "files.h"

namespace {

void CheckThatAFileMayStandAt(const std::string& path) {
    std::error_code ignored;
    const auto status = std::filesystem::status(path, ignored);
    if (std::filesystem::is_directory(status)) {
        throw Failure(path + ": cannot be written: Is a directory");
    }
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
        throw Failure(path + ": is not a regular file");
    }
}

}  // namespace

PartFile::PartFile(const std::string& path, const std::string& input)
    : m_Path(path), m_Part(std::filesystem::absolute(path).string() + ".part") {
    CheckThatAFileMayStandAt(path);
    CheckThatInputIsKept(path, input);
    OutputFile(m_Part, input).Finish();
}

PartFile::~PartFile() {
    std::error_code ignored;
    if (!m_Part.empty()) {
        std::filesystem::remove(m_Part, ignored);
    }
}

void PartFile::Keep() {
    std::error_code error;
    std::filesystem::rename(m_Part, m_Path, error);
    if (error) {
        throw Failure(m_Path + ": cannot be written: " + error.message());
    }
    m_Part.clear();
}
