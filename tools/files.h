#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

/// The first bytes of a file, at least one; a path that does not lead to such a file is a `Failure`.
std::string ReadFileStart(const std::string& path);

/// Says what is wrong with an input before anybody tries to open it as media. Gives its size in bytes.
std::uintmax_t CheckInputFile(const std::string& path);

/// A `Failure` where `path` and `input`, which is being read, are one file.
void CheckThatInputIsKept(const std::string& path, const std::string& input);

/// A file on its way out. One that is not finished with is removed again, so that no half of a file stays behind.
class OutputFile {
public:
    /// `input` is what is being read; it is not to be written over.
    OutputFile(const std::string& path, const std::string& input);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void Write(const unsigned char* data, std::size_t size);
    std::FILE* Get() { return m_File.get(); }
    /// To be called when all is written; tells of a full disk.
    void Finish();
    [[noreturn]] void FailToWrite() const;

private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    std::string m_Path;
    std::unique_ptr<std::FILE, Closer> m_File;
};
