#pragma once

#include <string>
#include <vector>

/// Rows of text for standard output: aligned columns where that is a terminal, else one tab between fields, for
/// scripts.
class Table {
public:
    explicit Table(std::vector<std::string> heads);

    /// REQUIRES: as many fields as there are heads.
    void AddRow(std::vector<std::string> fields);
    void Print() const;

private:
    std::vector<std::vector<std::string>> m_Rows;
};
