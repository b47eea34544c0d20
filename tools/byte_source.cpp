#include "byte_source.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "failure.h"
#include "files.h"

void ByteSource::Closer::operator()(std::FILE* file) const {
    if (file != stdin) {
        std::fclose(file);
    }
}

ByteSource::ByteSource(const std::string& path) : m_Name(path == "-" ? "standard input" : path) {
    if (path == "-") {
        m_File.reset(stdin);
        return;
    }
    CheckInputFile(path);
    m_File.reset(std::fopen(path.c_str(), "rb"));
    if (!m_File) {
        throw Failure(path + ": cannot be read: " + std::strerror(errno));
    }
}

std::optional<std::uint64_t> ByteSource::BytesLeft() const {
    const int file = fileno(m_File.get());
    struct stat facts {};
    const off_t position = lseek(file, 0, SEEK_CUR);
    if (position < 0 || fstat(file, &facts) != 0 || !S_ISREG(facts.st_mode) || facts.st_size < position) {
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(facts.st_size - position);
}

std::size_t ByteSource::Read(unsigned char* data, std::size_t size) {
    const std::size_t count = std::fread(data, 1, size, m_File.get());
    if (count < size && std::ferror(m_File.get()) != 0) {
        throw Failure(m_Name + ": cannot be read: " + std::strerror(errno));
    }
    return count;
}
