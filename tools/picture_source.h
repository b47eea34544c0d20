#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "library_session.h"
#include "picture.h"
#include "video_input.h"

/// Pictures of CSP_YUV420P out of a file, one after the other. Every operation fails by `Failure`, naming the file.
class PictureSource {
public:
    using Taker = std::function<void(const Picture&)>;

    /// A Y4M file, or any file with video that the library decodes.
    static std::unique_ptr<PictureSource> Open(LibrarySession& session, const VideoInputOptions& input);

    virtual ~PictureSource() = default;

    /// The size of the first picture.
    virtual PictureSize Size() const = 0;
    /// Pictures a second, rounded; nothing where the file does not tell.
    virtual std::optional<unsigned int> FrameRate() = 0;
    /// Hands over all pictures, at least one. REQUIRES: called once.
    virtual void ReadAll(const Taker& taker) = 0;
};
