// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <filesystem>
#include <functional>
#include <memory>

namespace lumaweave {

class DecodeAhead;

// What a batch does, without its sheet: it loads, aligns and fuses one set of files after another,
// as BatchState says. It skips a file that cannot be loaded; a set that cannot be fused leaves an
// earlier result as it was. For the batch's worker alone.
class BatchRun {
  public:
    // How far the run is. Called on the worker; each may wait for the main thread.
    struct Listener {
        std::function<void(int number)> setBegins;       // from 1
        std::function<void(const QString& text)> doing;  // what is done to which file
        std::function<void()> stepDone;                  // loaded, aligned or fused
    };

    BatchRun(std::filesystem::path resultFolder, Listener listener);
    ~BatchRun();
    BatchRun(const BatchRun&) = delete;
    BatchRun& operator=(const BatchRun&) = delete;

    // Returns when all sets are done, the list ends, the working folder has no room, or at the
    // first check point after gCancelBatch. No lock may be held.
    void run();

  private:
    // How the filling of a set ended. noRoom: the working folder took no more, and an alert has
    // said so.
    enum class Filling { complete, cancelled, tooMany, listUsedUp, noRoom };

    void runSets();
    [[nodiscard]] Filling fillSet();
    [[nodiscard]] Filling assignNextFile(int cell, int wanted);
    void decodeAhead(int files);
    void alignSet();
    void fuseSet();

    const std::filesystem::path resultFolder_;
    const Listener listener_;
    std::size_t position_ = 0;
    int assigned_ = 0;
    std::filesystem::path lastAssigned_;
    std::unique_ptr<DecodeAhead> ahead_;
    std::size_t aheadBegin_ = 0;
    std::size_t aheadEnd_ = 0;
};

}  // namespace lumaweave
