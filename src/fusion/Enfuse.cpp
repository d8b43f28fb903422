// SPDX-License-Identifier: GPL-3.0-or-later
#include "fusion/Enfuse.h"

#include <QCheckBox>
#include <QImage>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "fusion/AlikeInputs.h"
#include "fusion/EnfuseCommand.h"
#include "fusion/ExifCarryOver.h"
#include "imaging/decoding/ImageDecoder.h"
#include "platform/FixedTexts.h"
#include "platform/Log.h"
#include "platform/Shell.h"
#include "platform/ShellQuoting.h"
#include "platform/Threads.h"
#include "preview/PreviewWindow.h"
#include "settings/EnfuseSettingsWindow.h"
#include "settings/FusionSettings.h"
#include "stack/Alerts.h"
#include "stack/SharedState.h"
#include "stack/Shot.h"
#include "stack/Turns.h"
#include "stack/WorkingFiles.h"
#include "widgets/ImageView.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

// What a shot gives to a run; without a file when it takes no part.
using InputOfShot = std::function<RunInput(const Shot&)>;

RunInput previewInput(const Shot& shot) {
    if (shot.scaledFile().empty() || !shot.isEnabled()) return {};
    return {GetURLToScaledSourceFile(shot.number()), {}};
}

RunInput detailInput(const Shot& shot) {
    if (shot.detailFile().empty() || !shot.isEnabled()) return {};
    return {GetURLToDetailImageFile(shot.number()), {}};
}

RunInput fullSizeInput(const Shot& shot) {
    if (!shot.isEnabled()) return {};
    const Shot::Holding held = shot.holding();
    return {held.imageFile, held.image};
}

// Of the shots that take part, in cell order.
std::vector<RunInput> collectInputs(const InputOfShot& inputOfShot) {
    std::vector<RunInput> inputs;
    for (const Shot* shot : shots()) {
        RunInput input = inputOfShot(*shot);
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

// False when a path cannot be quoted or the line gets too long.
bool appendInputs(std::string& command, const std::vector<fs::path>& files) {
    for (const fs::path& file : files) {
        if (!canBeQuoted(file)) return false;
        command += ' ';
        appendQuotedPath(command, file);
    }
    return files.size() < 2 || command.size() <= longestCommandLine;
}

struct Run {
    std::string command;  // without its inputs
    std::vector<RunInput> inputs;
    SampleType type;  // of the result's samples
};

// None when there is nothing to run or, after an alert, when it cannot be run.
std::optional<Run> prepareRun(const fs::path& output, const InputOfShot& inputOfShot) {
    const auto command = CreateEnfuseCommandString(output);
    if (!command) return std::nullopt;
    Run run = {*command, collectInputs(inputOfShot), requestedType(*command)};
    std::string line = run.command;
    const bool fits = appendInputs(line, filesOf(run.inputs));
    if (!fits) alertCommandLineTooLong();
    if (!fits || run.inputs.size() < 2) return std::nullopt;
    return run;
}

// What kept a run from being made; tell() it once its locks are released.
enum class Obstacle { none, noRoomForCopies, lineTooLong };

void tell(Obstacle obstacle) {
    if (obstacle == Obstacle::noRoomForCopies) alertWorkingFolderUnwritable();
    if (obstacle == Obstacle::lineTooLong) alertCommandLineTooLong();
}

[[nodiscard]] Obstacle echoAndRun(const Run& run, const fs::path& output) {
    const AlikeInputs alike(run.inputs);
    if (!alike.areComplete()) return Obstacle::noRoomForCopies;
    std::string line = run.command;
    if (!appendInputs(line, alike.files())) return Obstacle::lineTooLong;
    printLine(formatWithoutArguments(line));
    if (alike.type() != SampleType::float32 || run.type == SampleType::float32) {
        runShellLine(line);
        return Obstacle::none;
    }
    std::error_code none;
    const fs::file_time_type before = fs::last_write_time(output, none);
    runShellLine(inFloats(line));
    // A file that the tool has not touched is not its result.
    if (fs::last_write_time(output, none) != before && !none) turnInto(run.type, output);
    return Obstacle::none;
}

// Removes the last run's result, so that this run's failure is seen as one.
void removeOldResult(const fs::path& file) {
    std::error_code error;
    fs::remove(file, error);
}

}  // namespace

void EnfusePreview() {
    const fs::path output = GetURLToEnfusedPreviewFile();
    const auto run = prepareRun(output, previewInput);
    if (!run) return;
    auto obstacle = Obstacle::none;
    {
        const Turn turn(gEnfusingPreview);
        removeOldResult(output);
        obstacle = echoAndRun(*run, output);
    }
    tell(obstacle);
}

void EnfuseDetailView() {
    const fs::path output = enfusedDetailFile();
    const auto run = prepareRun(output, detailInput);
    if (!run) return;
    auto obstacle = Obstacle::none;
    QImage fused;
    {
        const Turn turn(detailFilesTaken);
        removeOldResult(output);
        obstacle = echoAndRun(*run, output);
        fused = decodeImage(output).toScreen();
    }
    tell(obstacle);
    if (fused.isNull()) return;
    performOnMainThread(
        [&fused] {
            // The stack may have been emptied while its fusion ran.
            if (gNumSourceImages >= 2) gPreviewWindow->detailView()->setImage(fused);
        },
        Wait::yes);
}

bool fullRezCommandFits() {
    // Only the length counts here: the run itself tells whether the tool and enough cells are
    // there.
    std::string command;
    bool fits = canBeQuoted(gEnfuseSavePath);
    const auto tool = fusionTool();
    if (fits && tool) command = enfuseCommandText(*tool, gEnfuseSavePath, currentFusionSettings());
    fits = fits && appendInputs(command, filesOf(collectInputs(fullSizeInput)));
    if (!fits) alertCommandLineTooLong();
    return fits;
}

void EnfuseFullRez() {
    logLine("EnfuseFullRez()");
    const fs::path output = gEnfuseSavePath;
    if (output.empty()) {
        DoAlert(fixed_texts::noSavePath);
        return;
    }
    const auto run = prepareRun(output, fullSizeInput);
    auto obstacle = Obstacle::none;
    if (run) {
        const Turn turn(gEnfusingFull);
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
