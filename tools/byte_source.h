#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

/// Bytes of a file or of standard input, in order.
class ByteSource {
public:
    /// `path` is "-" for standard input. Fails by `Failure`, as Read does.
    explicit ByteSource(const std::string& path);

    /// What the user calls it.
    const std::string& Name() const { return m_Name; }
    /// How many bytes there are to read, where that is known beforehand: not of a pipe.
    std::optional<std::uint64_t> BytesLeft() const;
    /// Gives fewer bytes than asked for at the end only.
    std::size_t Read(unsigned char* data, std::size_t size);

private:
    struct Closer {
        void operator()(std::FILE* file) const;
    };

    std::string m_Name;
    std::unique_ptr<std::FILE, Closer> m_File;
};
