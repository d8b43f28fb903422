// SPDX-License-Identifier: GPL-3.0-or-later
#include "Table.h"

#include <algorithm>
#include <array>
#include <fstream>

namespace lumaweave::bench {

namespace {

constexpr std::array columns = {&Row::job, &Row::ours, &Row::reference, &Row::comparison,
                                &Row::goal};

// How many characters the text takes on the screen: the bytes that begin one in UTF-8.
std::size_t widthOf(const std::string& text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string lineOf(const Row& row, const std::array<std::size_t, columns.size()>& widths) {
    std::string line;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const std::string& text = row.*columns[i];
        line.append("| ").append(text).append(widths[i] - widthOf(text) + 1, ' ');
    }
    return line + "|\n";
}

}  // namespace

void writeRows(const std::vector<Row>& rows, const std::filesystem::path& file) {
    std::ofstream stream(file);
    for (const Row& row : rows) {
        for (const auto column : columns)
            stream << row.*column << '\n';
    }
}

std::vector<Row> readRows(const std::filesystem::path& file) {
    std::ifstream stream(file);
    std::vector<Row> rows;
    for (;;) {
        Row row;
        for (const auto column : columns)
            std::getline(stream, row.*column);
        if (!stream) return rows;
        rows.push_back(std::move(row));
    }
}

std::string tableText(const std::vector<Row>& rows) {
    std::vector<Row> lines = {{"job", "ours (median ± half the quartile distance)", "reference",
                               "ratio or difference", "to reach"}};
    lines.insert(lines.end(), rows.begin(), rows.end());
    std::array<std::size_t, columns.size()> widths{};
    for (const Row& row : lines) {
        for (std::size_t i = 0; i < columns.size(); ++i)
            widths[i] = std::max(widths[i], widthOf(row.*columns[i]));
    }
    std::string text;
    for (const Row& row : lines) {
        text += lineOf(row, widths);
        if (&row != &lines.front()) continue;
        for (const std::size_t width : widths)
            text.append("|").append(width + 2, '-');
        text += "|\n";
    }
    return text;
}

}  // namespace lumaweave::bench
