// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <vector>

#include "Output.h"
#include "Program.h"
#include "Table.h"

namespace lumaweave::bench {

// What every job has at hand: the running program, what it prints, the folder of the photographs
// (which may also take other files), and how many rounds to time.
struct Workplace {
    Program& program;
    const Output& output;
    const std::filesystem::path& folder;
    int rounds;
};

// Each job times the program and its reference in turns, after a round that does not count, and
// gives its lines of the table. Throws when something did not work.

// Eight photographs from the drop to the last filled cell, against a converter that only makes TIFF
// of them in two processes.
[[nodiscard]] std::vector<Row> runLoadJob(const Workplace& place);

// From a changed setting to the new preview and detail on the screen, against the same two runs of
// the fusion tool alone.
[[nodiscard]] std::vector<Row> runPreviewJob(const Workplace& place);

// From the name of the file to the complete file, against the same run of the fusion tool alone.
[[nodiscard]] std::vector<Row> runFullSizeJob(const Workplace& place);

// Ten brackets of three smaller photographs from the folder to the closing message: the time of
// each beyond the fusion tool's own run and beyond loading its files.
[[nodiscard]] std::vector<Row> runBatchJob(const Workplace& place);

// A panorama of 134 megapixels from the call that opens it to its first frame on the screen, the
// frames of a drag, and the copying of its sections against a plain copy of memory.
[[nodiscard]] std::vector<Row> runPanoramaJob(const Workplace& place);

// The private memory with sixteen photographs.
[[nodiscard]] std::vector<Row> runMemoryJob(const Workplace& place);

}  // namespace lumaweave::bench
