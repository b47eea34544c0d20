#include "byte_source.h"

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

std::size_t ByteSource::Read(unsigned char* data, std::size_t size) {
    const std::size_t count = std::fread(data, 1, size, m_File.get());
    if (count < size && std::ferror(m_File.get()) != 0) {
        throw Failure(m_Name + ": cannot be read: " + std::strerror(errno));
    }
    return count;
}
