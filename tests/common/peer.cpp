#include "common/peer.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

#include "common/process.h"

namespace {

// "stream, dts, pts, duration, size, hash"
PeerPicture Parse(std::string line) {
    std::replace(line.begin(), line.end(), ',', ' ');
    std::istringstream fields(line);
    std::string skipped;
    PeerPicture picture{};
    fields >> skipped >> skipped >> skipped >> skipped >> picture.bytes >> picture.md5;
    if (!fields) {
        throw std::runtime_error("the peer says: " + line);
    }
    return picture;
}

}  // namespace

std::vector<PeerPicture> PeerPictures(const std::string& path, const std::string& options,
                                      const std::string& inputOptions) {
    const ProcessResult run =
        RunCommand("ffmpeg -nostdin -v error " + inputOptions + " -i '" + path +
                   "' -map 0:v:0 -fps_mode passthrough -noautoscale " + options + " -f framemd5 -");
    if (run.exitCode != 0) {
        throw std::runtime_error("the peer does not decode " + path + ": " + run.err);
    }
    std::vector<PeerPicture> pictures;
    std::istringstream lines(run.out);
    for (std::string line; std::getline(lines, line);) {
        if (line[0] != '#') {
            pictures.push_back(Parse(line));
        }
    }
    return pictures;
}
