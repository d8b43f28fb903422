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

// The file that a cell gives to a run; empty when it takes no part.
using InputOfCell = std::function<fs::path(const SourceCellViewController&)>;

fs::path previewInput(const SourceCellViewController& cell) {
    if (cell.urlToScaledSourceFile().empty() || !cell.enabled()) return {};
    return GetURLToScaledSourceFile(cell.cellNum());
}

fs::path detailInput(const SourceCellViewController& cell) {
    if (cell.urlToDetailImageFile().empty() || !cell.enabled()) return {};
    return GetURLToDetailImageFile(cell.cellNum());
}

fs::path fullSizeInput(const SourceCellViewController& cell) {
    return cell.enabled() ? cell.urlToImageFile() : fs::path();
}

// Appends the inputs of the cells that take part, in cell order. Their number; none when the line
// cannot be run because its paths are too long.
std::optional<int> appendInputs(std::string& command, const InputOfCell& inputOfCell) {
    int inputs = 0;
    for (const SourceCellViewController* cell : gSourceCells) {
        const fs::path input = inputOfCell(*cell);
        if (input.empty()) continue;
        if (!CanBeQuoted(input)) return std::nullopt;
        command += ' ';
        AppendQuotedPath(command, input);
        ++inputs;
    }
    if (inputs >= 2 && command.size() > longestCommandLine) return std::nullopt;
    return inputs;
}

// What the runs' inputs are, for making them alike.
std::vector<RunInput> runInputs(const InputOfCell& inputOfCell) {
    std::vector<RunInput> inputs;
    for (const SourceCellViewController* cell : gSourceCells) {
        const fs::path file = inputOfCell(*cell);
        if (!file.empty()) inputs.push_back({file, cell->theImage()});
    }
    return inputs;
}

struct RunLine {
    std::string text;
    std::size_t inputsAt;  // where the inputs begin in the text
    SampleType type;       // of the result's samples
};

// The whole command line of a run; none when there is nothing to run or it cannot be run, which the
// person has then been told.
std::optional<RunLine> commandLine(const fs::path& output, const InputOfCell& inputOfCell) {
    auto command = CreateEnfuseCommandString(output);
    if (!command) return std::nullopt;
    const SampleType type = requestedType(*command);
    const std::size_t inputsAt = command->size();
    const auto inputs = appendInputs(*command, inputOfCell);
    if (!inputs) AlertCommandLineTooLong();
    if (inputs.value_or(0) < 2) return std::nullopt;
    return RunLine{*command, inputsAt, type};
}

// The line with the files that the tool takes together, in the place of the inputs.
std::string lineFor(const RunLine& line, const std::vector<RunInput>& inputs,
                    const std::vector<fs::path>& files) {
    std::string text = line.text;
    std::size_t at = line.inputsAt;
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        const std::string& input = inputs[i].file.native();
        const std::size_t found = text.find('"' + input + '"', at);
        if (found == std::string::npos) continue;
        text.replace(found + 1, input.size(), files[i].native());
        at = found + files[i].native().size() + 2;
    }
    return text;
}

void echoAndRun(const RunLine& line, const fs::path& output, const InputOfCell& inputOfCell) {
    const std::vector<RunInput> inputs = runInputs(inputOfCell);
    const AlikeInputs alike(inputs);
    const std::string text = lineFor(line, inputs, alike.files());
    PrintLine(FormatWithoutArguments(text));
    if (alike.type() != SampleType::float32 || line.type == SampleType::float32) {
        RunShellLine(text);
        return;
    }
    std::error_code none;
    const fs::file_time_type before = fs::last_write_time(output, none);
    RunShellLine(inFloats(text));
    // A file that the tool has not touched is none of its results.
    if (fs::last_write_time(output, none) != before && !none) turnInto(line.type, output);
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
    const auto command = commandLine(output, previewInput);
    if (!command) return;
    const Gate gate(gEnfusingPreview);
    removeOldResult(output);
    echoAndRun(*command, output, previewInput);
}

void EnfuseDetailView() {
    const fs::path output = GetURLToEnfusedDetailFile();
    const auto command = commandLine(output, detailInput);
    if (!command) return;
    QImage fused;
    {
        const DetailFilesLock lock;
        removeOldResult(output);
        echoAndRun(*command, output, detailInput);
        fused = decodeImage(output).toScreen();
    }
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
    fits = fits && appendInputs(command, fullSizeInput).has_value();
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
    const auto command = commandLine(output, fullSizeInput);
    if (command) {
        const Gate gate(gEnfusingFull);
        echoAndRun(*command, output, fullSizeInput);
    }
    // Read after the run, unlike the fusion's own settings: it concerns what comes then.
    bool preserveEXIF = false;
    performOnMainThread(
        [&preserveEXIF] {
            preserveEXIF = gEnfuseSettingsPanel->preserveEXIFCheckBox()->isChecked();
        },
        Wait::yes);
    if (command && preserveEXIF) {
        GetSourceEXIF();
        CopyImageFileAndAddEXIF(output, output, gSourceImageEXIF);
    }
}

}  // namespace lumaweave
