// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <chrono>
#include <fstream>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <thread>

#include "Inputs.h"
#include "Jobs.h"
#include "Statistics.h"

namespace lumaweave::bench {

namespace {

// The private memory of this process in megabytes.
double privateMemory() {
    std::ifstream status("/proc/self/status");
    const std::string name = "RssAnon:";
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(name)) return std::stod(line.substr(name.size())) * 1024 / 1e6;
    }
    throw std::runtime_error("the system does not tell the private memory");
}

// Looks at the memory all the time, for its highest value.
class PeakWatch {
  public:
    [[nodiscard]] double finish() {
        thread_.request_stop();
        thread_.join();
        return peak_;
    }

  private:
    double peak_ = 0;
    std::jthread thread_{[this](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            peak_ = std::max(peak_, privateMemory());
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }};
};

}  // namespace

std::vector<Row> runMemoryJob(const Workplace& place) {
    const double empty = privateMemory();
    PeakWatch watch;
    [[maybe_unused]] const double seconds = place.program.load(photos(place.folder, mostPhotos));
    const double loaded = privateMemory();
    place.program.waitForTasks();
    const double shown = privateMemory();
    place.program.align();
    const double aligned = privateMemory();
    const double peak = watch.finish();
    const auto row = [](const std::string& job, double value) {
        return Row{job, fixed(value, 0) + " MB", "", "", "400 MB"};
    };
    Row start = row("private memory without a shot", empty);
    start.goal.clear();
    return {start, row("private memory, 16 shots loaded", loaded),
            row("private memory, their preview shown", shown),
            row("private memory, aligned and shown anew", aligned),
            row("private memory, the highest meanwhile", peak)};
}

}  // namespace lumaweave::bench
