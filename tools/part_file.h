#pragma once

#include <string>

/// A file that grows beside the place where it shall stand, and comes to stand there when it is whole. Otherwise it is
/// removed again.
class PartFile {
public:
    /// Makes the empty file. `input` is what is being read; it is not to be written over.
    PartFile(const std::string& path, const std::string& input);
    ~PartFile();
    PartFile(const PartFile&) = delete;
    PartFile& operator=(const PartFile&) = delete;

    /// Where it grows: absolute, since FFmpeg takes what stands before a colon for a protocol.
    const std::string& Path() const { return m_Part; }
    /// Gives the whole file its name. A file of that name goes.
    void Keep();

private:
    std::string m_Path;
    std::string m_Part;
};
