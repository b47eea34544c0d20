#pragma once

#include <codrelay/audio_format.h>

#include <cstdint>
#include <string>

#include "files.h"

/// A WAV file on its way out: integers of 8, 16 or 32 bits, or floats of 32.
class WavWriter {
public:
    /// `input` is what is being read; it is not to be written over.
    WavWriter(const std::string& path, const std::string& input, const AUDIO_FORMAT& format);

    /// Adds interleaved samples.
    void Write(const unsigned char* data, std::size_t size);
    /// To be called when all is written: puts the lengths into the header.
    void Finish();

private:
    void WriteHeader();

    std::string m_Path;
    AUDIO_FORMAT m_Format;
    OutputFile m_File;
    std::uint64_t m_Bytes = 0;
};
