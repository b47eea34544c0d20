#include "common/test_media.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

std::string Clip(const std::string& name) {
    const std::string path = std::string(CODRELAY_TEST_MEDIA) + "/" + name;
    if (!std::filesystem::exists(path)) {
        throw std::runtime_error("no clip " + name + "; does tests/media/make_media.sh make it?");
    }
    return path;
}

std::optional<std::string> RealFile(const std::string& name) {
    const char* folder = std::getenv("CODRELAY_MEDIA_DIR");
    const std::string path = std::string(folder != nullptr ? folder : CODRELAY_MEDIA_DIR) + "/" + name;
    return std::filesystem::exists(path) ? std::optional<std::string>(path) : std::nullopt;
}

std::vector<unsigned char> ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error("cannot read " + path);
    }
    return {std::istreambuf_iterator<char>(file), {}};
}
