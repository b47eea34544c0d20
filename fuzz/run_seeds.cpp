// Runs a fuzzer's function on each file of the folders it is given, without libFuzzer: the seeds as a unit test.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

std::vector<std::filesystem::path> FilesIn(const char* folder) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<std::uint8_t> ReadFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
    return {bytes.begin(), bytes.end()};
}

}  // namespace

int main(int argc, char** argv) {
    LLVMFuzzerInitialize(&argc, &argv);
    int ran = 0;
    for (int i = 1; i < argc; ++i) {
        for (const std::filesystem::path& path : FilesIn(argv[i])) {
            std::printf("%s\n", path.c_str());  // the last line is the input that crashes
            std::fflush(stdout);
            const std::vector<std::uint8_t> bytes = ReadFile(path);
            LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
            ++ran;
        }
    }
    std::printf("%d inputs\n", ran);
    return ran > 0 ? 0 : 1;
}
