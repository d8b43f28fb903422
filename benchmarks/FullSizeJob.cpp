// SPDX-License-Identifier: GPL-3.0-or-later
#include <unistd.h>

#include <stdexcept>
#include <string>

#include "Inputs.h"
#include "Jobs.h"
#include "Processes.h"
#include "Statistics.h"

namespace lumaweave::bench {

namespace fs = std::filesystem;

namespace {

constexpr int shots = 7;
constexpr double inMilliseconds = 1000;

double fuseWithProgram(const Workplace& place) {
    const fs::path result = place.folder / "fused.tif";
    place.output.forget();
    const double seconds = place.program.fuseFullSize(result);
    if (!fs::exists(result)) throw std::runtime_error("the program has written no file");
    fs::remove(result);
    return seconds;
}

// Runs the program's last command anew, into another file of the same folder.
double fuseWithTool(const Workplace& place) {
    const std::vector<std::string> commands = place.output.fusionCommands();
    if (commands.size() != 1) throw std::runtime_error("not one fusion command");
    std::vector<std::string> run = splitCommand(commands.front());
    const fs::path result = place.folder / "fused-alone.tif";
    outputOf(run) = result.native();
    const double seconds = timeProcess(run);
    fs::remove(result);
    return seconds;
}

}  // namespace

std::vector<Row> runFullSizeJob(const Workplace& place) {
    place.program.loadAndWait(photos(place.folder, shots));
    place.program.chooseSixteenBit();
    // Flushes what the load has written now, not while something is timed.
    sync();
    std::vector<double> ours;
    std::vector<double> reference;
    for (int round = 0; round <= place.rounds; ++round) {
        const double fused = fuseWithProgram(place);
        const double alone = fuseWithTool(place);
        progress("full size, round " + std::to_string(round) + ": " + fixed(fused, 3) +
                 " s, tool " + fixed(alone, 3) + " s");
        if (round == 0) continue;
        ours.push_back(fused);
        reference.push_back(alone);
    }
    const double difference = median(ours) - median(reference);
    return {{"full size, 7 shots, 16 bit", summary(ours, 1, 3, "s"),
             summary(reference, 1, 3, "s") + " (the tool's run)",
             fixed(difference * inMilliseconds, 0) + " ms more, of pairs " +
                 summary(differences(ours, reference), inMilliseconds, 0, "ms"),
             "at most 150 ms more"}};
}

}  // namespace lumaweave::bench
