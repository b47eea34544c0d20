#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

/// Takes one input of a fuzzer apart, from its front to its end. Past the end numbers are 0 and blocks are empty.
class InputReader {
public:
    InputReader(const std::uint8_t* data, std::size_t size) : m_pNext(data), m_nLeft(size) {}

    bool IsAtEnd() const { return m_nLeft == 0; }

    /// A number of any value, in the machine's byte order.
    template <typename T>
    T Number() {
        T number{};
        const std::size_t size = std::min(sizeof(T), m_nLeft);
        if (size > 0) {
            std::memcpy(&number, m_pNext, size);
            Skip(size);
        }
        return number;
    }

    /// A number from -128 to 127.
    int SignedByte() {
        const int byte = Number<std::uint8_t>();
        return byte < 128 ? byte : byte - 256;
    }

    /// A number of two bytes, brought into a range.
    int Between(int least, int most) { return least + Number<std::uint16_t>() % (most - least + 1); }

    /// The width or the height of a picture, 0 to 512, mostly small: what goes wrong at the edges goes wrong there too,
    /// and faster.
    int Side() {
        const int number = Number<std::uint16_t>();
        return number < 0xC000 ? number % 65 : number % 513;
    }

    /// One byte that chooses.
    template <typename T, std::size_t count>
    T OneOf(const T (&choices)[count]) {
        return choices[Number<std::uint8_t>() % count];
    }

    /// Two bytes of length, then so many bytes, or what is left of them. Blocks stand in memory of their very size, so
    /// that no byte around them can be read unseen.
    std::vector<unsigned char> Block() { return Take(Number<std::uint16_t>()); }

    std::vector<unsigned char> Rest() { return Take(m_nLeft); }

private:
    std::vector<unsigned char> Take(std::size_t wanted) {
        const std::size_t size = std::min(wanted, m_nLeft);
        std::vector<unsigned char> bytes(m_pNext, m_pNext + size);
        Skip(size);
        return bytes;
    }

    void Skip(std::size_t size) {
        m_pNext += size;
        m_nLeft -= size;
    }

    const std::uint8_t* m_pNext;
    std::size_t m_nLeft;
};
