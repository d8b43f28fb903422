// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace lumaweave::bench {

// One line of the table of results.
struct Row {
    std::string job;
    std::string ours;
    std::string reference;
    std::string comparison;
    std::string goal;
};

// Rows on their way from the process of a job to the one that prints the table.
void writeRows(const std::vector<Row>& rows, const std::filesystem::path& file);
[[nodiscard]] std::vector<Row> readRows(const std::filesystem::path& file);

// The table as text, its columns aligned.
[[nodiscard]] std::string tableText(const std::vector<Row>& rows);

}  // namespace lumaweave::bench
