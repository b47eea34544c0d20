#include "table.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <utility>

namespace {

using Row = std::vector<std::string>;

void PrintTabbed(const std::vector<Row>& rows) {
    for (const Row& row : rows) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            std::cout << (column == 0 ? "" : "\t") << row[column];
        }
        std::cout << "\n";
    }
}

std::vector<std::size_t> ColumnWidths(const std::vector<Row>& rows) {
    std::vector<std::size_t> widths(rows.front().size());
    for (const Row& row : rows) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], row[column].size());
        }
    }
    return widths;
}

void PrintAligned(const std::vector<Row>& rows) {
    const std::vector<std::size_t> widths = ColumnWidths(rows);
    for (const Row& row : rows) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            const bool last = column + 1 == row.size();
            std::cout << row[column] << std::string(last ? 0 : widths[column] - row[column].size() + 2, ' ');
        }
        std::cout << "\n";
    }
}

}  // namespace

Table::Table(std::vector<std::string> heads) {
    m_Rows.push_back(std::move(heads));
}

void Table::AddRow(std::vector<std::string> fields) {
    m_Rows.push_back(std::move(fields));
}

void Table::Print() const {
    isatty(STDOUT_FILENO) == 1 ? PrintAligned(m_Rows) : PrintTabbed(m_Rows);
}
