#pragma once

#include <string>
#include <vector>

#include "common/process.h"

/// Runs the built `codrelay` with arguments as a shell reads them.
ProcessResult RunCodrelay(const std::string& arguments);

/// `path` as one word for the shell.
std::string Quoted(const std::string& path);

std::vector<std::string> Lines(const std::string& text);
/// The fields of a line, which one tab parts.
std::vector<std::string> Fields(const std::string& line);

/// A folder that lives as long as this.
class ScratchFolder {
public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::string Path(const std::string& name) const { return m_Path + "/" + name; }

private:
    std::string m_Path;
};
