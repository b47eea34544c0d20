#pragma once

#include <cstdint>
#include <fstream>
#include <string>

#include "picture_source.h"

/// A Y4M file: a line about the pictures, then each picture behind a line of its own. Only 4:2:0 with 8 bits, the
/// layout of CSP_YUV420P, is read.
class Y4mSource : public PictureSource {
public:
    /// A path that does not lead to a file is a `Failure`.
    static bool IsY4m(const std::string& path);

    Y4mSource(LibrarySession& session, const std::string& path);

    PictureSize Size() const override { return m_Size; }
    std::optional<unsigned int> FrameRate() override { return m_FrameRate; }
    void ReadAll(const Taker& taker) override;

private:
    std::string ReadLine();
    void TakeParameter(const std::string& parameter);
    void TakeSide(const std::string& parameter, unsigned int& side);
    void TakeFrameRate(const std::string& parameter);
    /// False at the end of the file.
    bool ReadPicture(unsigned char* bytes, std::size_t size, long long number);

    LibrarySession& m_Session;
    std::string m_Path;
    std::uintmax_t m_Bytes;
    std::ifstream m_File;
    PictureSize m_Size;
    std::optional<unsigned int> m_FrameRate;
};
