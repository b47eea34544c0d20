#pragma once

#include <algorithm>
#include <memory>
#include <string>

/// A copy of a text in a block of its very size, without a terminator: one byte read too many is an error to the
/// address sanitizer.
class ExactCopy {
public:
    explicit ExactCopy(const std::string& text) : m_Bytes(new char[text.size()]), m_Size(text.size()) {
        std::copy(text.begin(), text.end(), m_Bytes.get());
    }
    const char* begin() const { return m_Bytes.get(); }
    const char* end() const { return m_Bytes.get() + m_Size; }

private:
    std::unique_ptr<char[]> m_Bytes;
    std::size_t m_Size;
};
