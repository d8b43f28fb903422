// SPDX-License-Identifier: GPL-3.0-or-later
#include <string>

#include "Inputs.h"
#include "Jobs.h"
#include "Processes.h"
#include "Statistics.h"

namespace lumaweave::bench {

namespace fs = std::filesystem;

namespace {

// The converter's time; removes its files again.
double timeConversion(const std::vector<fs::path>& files) {
    std::string command = "printf '%s\\0'";
    for (const fs::path& file : files)
        command += " '" + file.native() + "'";
    command += " | xargs -0 -P2 -I{} vips tiffsave {} {}.tif";
    const double seconds = timeProcess({"/bin/sh", "-c", command});
    for (const fs::path& file : files)
        fs::remove(file.native() + ".tif");
    return seconds;
}

}  // namespace

std::vector<Row> runLoadJob(const Workplace& place) {
    const std::vector<fs::path> files = photos(place.folder, differentPhotos);
    std::vector<double> ours;
    std::vector<double> reference;
    for (int round = 0; round <= place.rounds; ++round) {
        const double loaded = place.program.load(files);
        place.program.waitForTasks();
        place.program.clear();
        const double converted = timeConversion(files);
        progress("load, round " + std::to_string(round) + ": " + fixed(loaded, 3) +
                 " s, converter " + fixed(converted, 3) + " s");
        if (round == 0) continue;
        ours.push_back(loaded);
        reference.push_back(converted);
    }
    return {{"load 8 JPEGs of 24 megapixels", summary(ours, 1, 3, "s"),
             summary(reference, 1, 3, "s") + " (vips tiffsave, 2 processes)",
             "ratio " + fixed(median(ours) / median(reference), 2) + ", of pairs " +
                 fixed(median(ratios(ours, reference)), 2),
             "ratio 1.00"}};
}

}  // namespace lumaweave::bench
