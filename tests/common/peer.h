#pragma once

#include <string>
#include <vector>

/// One picture as the ffmpeg command decodes it: rows without padding, planes back to back.
struct PeerPicture {
    unsigned int bytes;
    std::string md5;
};

/// All pictures of the first video stream of a file, in the order of display, each in the size and format that it is
/// coded in. `options` go before the output, such as "-pix_fmt rgb24", and `inputOptions` before the input. Throws
/// where the command fails.
std::vector<PeerPicture> PeerPictures(const std::string& path, const std::string& options = "",
                                      const std::string& inputOptions = "");
