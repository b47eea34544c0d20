#pragma once

#include <string>

#include "picture_source.h"

/// The decoded pictures of the first video stream of a media file. What the decoder keeps inside at the end is not
/// among them.
class FilmSource : public PictureSource {
public:
    FilmSource(LibrarySession& session, const VideoInputOptions& input);

    PictureSize Size() const override { return m_Input.size; }
    std::optional<unsigned int> FrameRate() override;
    void ReadAll(const Taker& taker) override;

private:
    LibrarySession& m_Session;
    std::string m_File;
    VideoInput m_Input;
};
