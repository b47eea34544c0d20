#pragma once

#include <memory>
#include <vector>

#include "support/ffmpeg.h"

/// Pictures that FFmpeg gave before their turn, in their order. As many wait as FFmpeg would else have held back
/// itself.
class WaitingPictures {
public:
    /// Takes the picture over and leaves `picture` empty. False where there is no memory for it: it stays where it is.
    bool Add(AVFrame* picture);
    /// Puts the first one into `picture`, over what that held. False, and nothing happens, if none waits.
    bool Take(AVFrame* picture);
    void Clear();

private:
    struct Free {
        void operator()(AVFrame* picture) const { av_frame_free(&picture); }
    };

    std::vector<std::unique_ptr<AVFrame, Free>> m_Pictures;
};
