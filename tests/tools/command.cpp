#include "command.h"

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <stdexcept>

namespace {

std::vector<std::string> Split(const std::string& text, char mark) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, mark);) {
        parts.push_back(part);
    }
    return parts;
}

}  // namespace

ProcessResult RunCodrelay(const std::string& arguments) {
    return RunCommand(CODRELAY_COMMAND " " + arguments);
}

std::string Quoted(const std::string& path) {
    return "'" + path + "'";
}

std::vector<std::string> Lines(const std::string& text) {
    return Split(text, '\n');
}

std::vector<std::string> Fields(const std::string& line) {
    return Split(line, '\t');
}

ScratchFolder::ScratchFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "codrelay-command-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("no temporary folder");
    }
    m_Path = pattern;
}

ScratchFolder::~ScratchFolder() {
    std::filesystem::remove_all(m_Path);
}
