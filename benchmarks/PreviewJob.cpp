// SPDX-License-Identifier: GPL-3.0-or-later
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

// Runs the program's commands again, one after the other.
double timeCommands(const std::vector<std::string>& commands) {
    std::vector<std::vector<std::string>> runs;
    for (const std::string& command : commands) {
        runs.push_back(splitCommand(command));
        fs::remove(outputOf(runs.back()));
    }
    const Stopwatch watch;
    for (const std::vector<std::string>& run : runs) {
        if (runProcess(run) != 0) throw std::runtime_error("the fusion tool failed");
    }
    return watch.seconds();
}

}  // namespace

std::vector<Row> runPreviewJob(const Workplace& place) {
    place.program.loadAndWait(photos(place.folder, shots));
    place.program.clickPreviewCentre();
    std::vector<double> ours;
    std::vector<double> reference;
    for (int round = 0; round <= place.rounds; ++round) {
        place.output.forget();
        const double shown = place.program.changeBrightness(round % 2 == 0);
        place.program.waitForTasks();
        const std::vector<std::string> commands = place.output.fusionCommands();
        if (commands.size() != 2) throw std::runtime_error("not one preview and one detail");
        const double alone = timeCommands(commands);
        progress("preview, round " + std::to_string(round) + ": " +
                 fixed(shown * inMilliseconds, 1) + " ms, tool " +
                 fixed(alone * inMilliseconds, 1) + " ms");
        if (round == 0) continue;
        ours.push_back(shown);
        reference.push_back(alone);
    }
    const double difference = median(ours) - median(reference);
    return {{"preview and detail, 7 shots", summary(ours, inMilliseconds, 1, "ms"),
             summary(reference, inMilliseconds, 1, "ms") + " (both runs of the tool)",
             fixed(difference * inMilliseconds, 1) + " ms more, of pairs " +
                 summary(differences(ours, reference), inMilliseconds, 1, "ms"),
             "at most 40 ms more"}};
}

}  // namespace lumaweave::bench
