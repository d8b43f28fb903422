// SPDX-License-Identifier: GPL-3.0-or-later
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "Inputs.h"
#include "Jobs.h"
#include "Processes.h"
#include "Statistics.h"

namespace lumaweave::bench {

namespace fs = std::filesystem;

namespace {

constexpr int sets = 10;
constexpr int shotsInSet = 3;
constexpr double inMilliseconds = 1000;

// The first photographs at half their size, so that ten sets take seconds and not minutes; every
// set has the same ones.
std::vector<fs::path> makeFolder(const fs::path& folder, const std::vector<fs::path>& photos) {
    fs::create_directory(folder);
    std::vector<fs::path> files;
    for (int set = 0; set < sets; ++set) {
        for (int shot = 0; shot < shotsInSet; ++shot) {
            files.push_back(
                folder / ("set-" + std::to_string(set) + "-shot-" + std::to_string(shot) + ".jpg"));
            if (set > 0) {
                fs::create_hard_link(files[static_cast<std::size_t>(shot)], files.back());
            } else if (runProcess({"/usr/bin/vips", "resize",
                                   photos[static_cast<std::size_t>(shot)].native(),
                                   files.back().native() + "[Q=95]", "0.5"}) != 0) {
                throw std::runtime_error("the photographs could not be made smaller");
            }
        }
    }
    return files;
}

// Stands before the installed fusion tool and notes when it begins and ends: other work of the
// machine then slows both sides of the comparison.
class ToolWatch {
  public:
    explicit ToolWatch(const fs::path& folder) : times_(folder / "times") {
        fs::create_directory(folder);
        const fs::path tool = folder / "enfuse";
        std::ofstream(tool) << "#!/bin/sh\nPATH='" << before_ << "'\ndate +%s.%N >> '"
                            << times_.native() << "'\nenfuse \"$@\"\nstatus=$?\ndate +%s.%N >> '"
                            << times_.native() << "'\nexit $status\n";
        fs::permissions(tool, fs::perms::owner_all);
        setenv("PATH", (folder.native() + ":" + before_).c_str(), 1);
    }
    ~ToolWatch() { setenv("PATH", before_.c_str(), 1); }
    ToolWatch(const ToolWatch&) = delete;
    ToolWatch& operator=(const ToolWatch&) = delete;

    void forget() const { fs::remove(times_); }
    // The mean time of a run since then.
    [[nodiscard]] double secondsOfARun() const {
        std::ifstream file(times_);
        int runs = 0;
        double seconds = 0;
        for (double begin = 0, end = 0; file >> begin >> end; ++runs)
            seconds += end - begin;
        if (runs != sets) throw std::runtime_error("not one run of the tool for each set");
        return seconds / runs;
    }

  private:
    std::string before_ = std::getenv("PATH");
    fs::path times_;
};

// The time of a set; removes the results again.
double fuseWithProgram(const Workplace& place, const fs::path& folder) {
    const double seconds = place.program.fuseFolder(folder, shotsInSet);
    const fs::path results = folder / "Enfused Files";
    if (std::distance(fs::directory_iterator(results), fs::directory_iterator()) != sets) {
        throw std::runtime_error("not every set was fused");
    }
    fs::remove_all(results);
    return seconds / sets;
}

// The time from the drop of a set's files to the last filled cell.
double loadWithProgram(const Workplace& place, const std::vector<fs::path>& files) {
    double seconds = 0;
    for (int set = 0; set < sets; ++set) {
        const auto first = files.begin() + std::ptrdiff_t{set} * shotsInSet;
        seconds += place.program.load({first, first + shotsInSet});
        place.program.waitForTasks();
        place.program.clear();
    }
    return seconds / sets;
}

}  // namespace

std::vector<Row> runBatchJob(const Workplace& place) {
    const fs::path folder = place.folder / "batch";
    const std::vector<fs::path> files = makeFolder(folder, photos(place.folder, shotsInSet));
    const ToolWatch tool(place.folder / "watched");
    sync();
    std::vector<double> ours;
    std::vector<double> reference;
    for (int round = 0; round <= place.rounds; ++round) {
        tool.forget();
        const double fused = fuseWithProgram(place, folder);
        const double alone = tool.secondsOfARun();
        const double loaded = loadWithProgram(place, files);
        progress("batch, round " + std::to_string(round) + ": " + fixed(fused, 3) +
                 " s a set, tool " + fixed(alone, 3) + " s, load " + fixed(loaded, 3) + " s");
        if (round == 0) continue;
        ours.push_back(fused);
        reference.push_back(alone + loaded);
    }
    const double difference = median(ours) - median(reference);
    return {{"a set of a batch, 3 shots of 6 megapixels", summary(ours, 1, 3, "s"),
             summary(reference, 1, 3, "s") + " (the tool's run in it, and loading)",
             fixed(difference * inMilliseconds, 0) + " ms more, of pairs " +
                 summary(differences(ours, reference), inMilliseconds, 0, "ms"),
             ""}};
}

}  // namespace lumaweave::bench
