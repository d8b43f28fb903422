#include "fusion/Enfuse.h"

#include <QCheckBox>
#include <QImage>
#include <atomic>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "app/Services.h"
#include "app/SharedState.h"
#include "fusion/AlikeInputs.h"
#include "fusion/EnfuseCommand.h"
#include "fusion/EnfuseSettingsWindow.h"
#include "fusion/ExifCarryOver.h"
#include "fusion/WorkingFiles.h"
#include "imaging/ImageDecoder.h"
#include "platform/Log.h"
#include "platform/Shell.h"
#include "platform/Threads.h"
#include "preview/PreviewWindow.h"
#include "sources/SourceCellViewController.h"
#include "widgets/ImageView.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

// What a cell gives to a run; without a file when it takes no part.
using InputOfCell = std::function<RunInput(const SourceCellViewController&)>;

RunInput previewInput(const SourceCellViewController& cell) {
    if (cell.urlToScaledSourceFile().empty() || !cell.enabled()) return {};
    return {GetURLToScaledSourceFile(cell.cellNum()), {}};
}

RunInput detailInput(const SourceCellViewController& cell) {
    if (cell.urlToDetailImageFile().empty() || !cell.enabled()) return {};
    return {GetURLToDetailImageFile(cell.cellNum()), {}};
}

RunInput fullSizeInput(const SourceCellViewController& cell) {
    if (!cell.enabled()) return {};
    const SourceCellViewController::Holding held = cell.holding();
    return {held.urlToImageFile, held.theImage};
}

// Of the cells that take part, in cell order.
std::vector<RunInput> collectInputs(const InputOfCell& inputOfCell) {
    std::vector<RunInput> inputs;
    for (const SourceCellViewController* cell : gSourceCells) {
        RunInput input = inputOfCell(*cell);
        if (!input.file.empty()) inputs.push_back(std::move(input));
    }
    return inputs;
}

std::vector<fs::path> filesOf(const std::vector<RunInput>& inputs) {
    std::vector<fs::path> files;
    for (const RunInput& input : inputs)
        files.push_back(input.file);
    return files;
}

// False when the line cannot be run because its paths are too long.
bool appendInputs(std::string& command, const std::vector<fs::path>& files) {
    for (const fs::path& file : files) {
        if (!CanBeQuoted(file)) return false;
        command += ' ';
        AppendQuotedPath(command, file);
    }
    return files.size() < 2 || command.size() <= longestCommandLine;
}

struct Run {
    std::string command;  // without its inputs
    std::vector<RunInput> inputs;
    SampleType type;  // of the result's samples
};

// None when there is nothing to run or it cannot be run, which the person has then been told.
std::optional<Run> prepareRun(const fs::path& output, const InputOfCell& inputOfCell) {
    const auto command = CreateEnfuseCommandString(output);
    if (!command) return std::nullopt;
    Run run = {*command, collectInputs(inputOfCell), requestedType(*command)};
    std::string line = run.command;
    const bool fits = appendInputs(line, filesOf(run.inputs));
    if (!fits) AlertCommandLineTooLong();
    if (!fits || run.inputs.size() < 2) return std::nullopt;
    return run;
}

// What kept a run from being made; told once its locks have been released.
enum class Obstacle { none, noRoomForCopies, lineTooLong };

void tell(Obstacle obstacle) {
    if (obstacle == Obstacle::noRoomForCopies) alertWorkingFolderUnwritable();
    if (obstacle == Obstacle::lineTooLong) AlertCommandLineTooLong();
}

[[nodiscard]] Obstacle echoAndRun(const Run& run, const fs::path& output) {
    const AlikeInputs alike(run.inputs);
    if (!alike.areComplete()) return Obstacle::noRoomForCopies;
    std::string line = run.command;
    if (!appendInputs(line, alike.files())) return Obstacle::lineTooLong;
    PrintLine(FormatWithoutArguments(line));
    if (alike.type() != SampleType::float32 || run.type == SampleType::float32) {
        RunShellLine(line);
        return Obstacle::none;
    }
    std::error_code none;
    const fs::file_time_type before = fs::last_write_time(output, none);
    RunShellLine(inFloats(line));
    // A file that the tool has not touched is none of its results.
    if (fs::last_write_time(output, none) != before && !none) turnInto(run.type, output);
    return Obstacle::none;
}

// Removes the last run's result, so that this run's failure is seen as one.
void removeOldResult(const fs::path& file) {
    std::error_code error;
    fs::remove(file, error);
}

// The running flag of one kind of fusion: taken by test-and-set, waited for without using a core.
class Gate {
  public:
    explicit Gate(std::atomic<bool>& flag) : flag_(flag) {
        while (flag_.exchange(true))
            flag_.wait(true);
    }
    ~Gate() {
        flag_ = false;
        flag_.notify_one();
    }
    Gate(const Gate&) = delete;
    Gate& operator=(const Gate&) = delete;

  private:
    std::atomic<bool>& flag_;
};

std::mutex detailMutex;

std::mutex turnMutex;
std::condition_variable turnChanged;
unsigned long nextTurn = 0;
unsigned long currentTurn = 0;

}  // namespace

DetailFilesLock::DetailFilesLock() {
    detailMutex.lock();
}
DetailFilesLock::~DetailFilesLock() {
    detailMutex.unlock();
}

PreviewTurn::PreviewTurn() {
    std::unique_lock lock(turnMutex);
    const unsigned long mine = nextTurn++;
    turnChanged.wait(lock, [mine] { return currentTurn == mine; });
}

PreviewTurn::~PreviewTurn() {
    const std::lock_guard lock(turnMutex);
    ++currentTurn;
    turnChanged.notify_all();
}

void EnfusePreview() {
    const fs::path output = GetURLToEnfusedPreviewFile();
    const auto run = prepareRun(output, previewInput);
    if (!run) return;
    auto obstacle = Obstacle::none;
    {
        const Gate gate(gEnfusingPreview);
        removeOldResult(output);
        obstacle = echoAndRun(*run, output);
    }
    tell(obstacle);
}

void EnfuseDetailView() {
    const fs::path output = GetURLToEnfusedDetailFile();
    const auto run = prepareRun(output, detailInput);
    if (!run) return;
    auto obstacle = Obstacle::none;
    QImage fused;
    {
        const DetailFilesLock lock;
        removeOldResult(output);
        obstacle = echoAndRun(*run, output);
        fused = decodeImage(output).toScreen();
    }
    tell(obstacle);
    if (fused.isNull()) return;
    performOnMainThread(
        [&fused] {
            // The stack may have been taken out while its fusion ran.
            if (gNumSourceImages >= 2) gPreviewWindow->detailView()->setImage(fused);
        },
        Wait::yes);
}

bool FullRezCommandFits() {
    // Whether the tool is there and enough cells take part is told when the command is run; here
    // only the length counts.
    std::string command;
    bool fits = CanBeQuoted(gEnfuseSavePath);
    const auto tool = FusionTool();
    if (fits && tool) command = EnfuseCommandText(*tool, gEnfuseSavePath, CurrentFusionSettings());
    fits = fits && appendInputs(command, filesOf(collectInputs(fullSizeInput)));
    if (!fits) AlertCommandLineTooLong();
    return fits;
}

void EnfuseFullRez() {
    Log("EnfuseFullRez()");
    const fs::path output = gEnfuseSavePath;
    if (output.empty()) {
        DoAlert("EnfuseFullRez: -fileURLWithPath failed!");
        return;
    }
    const auto run = prepareRun(output, fullSizeInput);
    auto obstacle = Obstacle::none;
    if (run) {
        const Gate gate(gEnfusingFull);
        obstacle = echoAndRun(*run, output);
    }
    tell(obstacle);
    // Read after the run, unlike the fusion's own settings: it concerns what comes then.
    bool preserveEXIF = false;
    performOnMainThread(
        [&preserveEXIF] {
            preserveEXIF = gEnfuseSettingsPanel->preserveEXIFCheckBox()->isChecked();
        },
        Wait::yes);
    if (run && obstacle == Obstacle::none && preserveEXIF) {
        GetSourceEXIF();
        CopyImageFileAndAddEXIF(output, output, gSourceImageEXIF);
    }
}

}  // namespace lumaweave
