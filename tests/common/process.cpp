#include "common/process.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace {

class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "codrelay-test-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("no temporary folder");
        }
        m_Path = pattern;
    }
    ~TemporaryFolder() { std::filesystem::remove_all(m_Path); }
    std::string File(const char* name) const { return (m_Path / name).string(); }

private:
    std::filesystem::path m_Path;
};

std::string ReadWhole(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

}  // namespace

ProcessResult RunCommand(const std::string& command, const std::string& input) {
    const TemporaryFolder folder;
    std::ofstream(folder.File("in"), std::ios::binary) << input;
    const std::string whole = "( " + command + "\n) <'" + folder.File("in") + "' >'" + folder.File("out") + "' 2>'" +
                              folder.File("err") + "'";
    const int status = std::system(whole.c_str());
    ProcessResult result;
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    result.out = ReadWhole(folder.File("out"));
    result.err = ReadWhole(folder.File("err"));
    return result;
}
