#pragma once

#include <algorithm>
#include <cstring>
#include <thread>
#include <utility>
#include <vector>

#include "support/ffmpeg.h"

/// A read procedure over bytes in memory, handed out in pieces.
struct MemoryReader {
    std::vector<unsigned char> bytes;
    std::size_t largestPiece = 4000;
    std::size_t position = 0;
    std::vector<std::thread::id> threads;

    explicit MemoryReader(std::vector<unsigned char> content) : bytes(std::move(content)) {}

    static int Read(void* self, unsigned char* buffer, int size) {
        return static_cast<MemoryReader*>(self)->Next(buffer, static_cast<std::size_t>(size));
    }

private:
    int Next(unsigned char* buffer, std::size_t size) {
        threads.push_back(std::this_thread::get_id());
        const std::size_t piece = std::min({size, largestPiece, bytes.size() - position});
        if (piece == 0) {
            return AVERROR_EOF;
        }
        std::memcpy(buffer, bytes.data() + position, piece);
        position += piece;
        return static_cast<int>(piece);
    }
};
