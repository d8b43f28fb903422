// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace lumaweave {

// What a batch makes of the names in its folder. Values in, values out; touches no file. Any
// thread, but for what asks for the user's locale (main thread).

// In the order of the user's locale, upper and lower case alike, character by character: img_10
// comes before IMG_2. Names that count as equal stand in the order of their bytes.
[[nodiscard]] std::vector<std::string> sortedForBatch(std::vector<std::string> names);

[[nodiscard]] bool isHiddenName(const std::string& name);

// The folder for the results of a batch folder.
[[nodiscard]] std::filesystem::path batchResultFolder(const std::filesystem::path& batchFolder);

// The result's file name for the set that ends with this file.
[[nodiscard]] std::string batchResultName(const std::filesystem::path& lastFile);

// Why these files cannot be fused into this folder: the first path of a result that would not reach
// the fusion tool as it stands, in words that name the file (or the folder, when it is at fault).
// None when every one does. Any of the files may turn out to be the last one of its set.
[[nodiscard]] std::optional<std::string> batchObjection(
    const std::filesystem::path& batchFolder, const std::vector<std::filesystem::path>& files);

// How many seconds a batch will still take: every set takes as long as those before, and the
// present one has used some of that. None before the first set is done, and after the last.
[[nodiscard]] std::optional<double> remainingBatchSeconds(int setsDone, int sets,
                                                          double secondsForThose,
                                                          double secondsInThisSet);

// The same in words for the user.
[[nodiscard]] QString remainingBatchText(std::optional<double> seconds);

// A list for the log: (a, b, c).
[[nodiscard]] std::string listForLog(const std::vector<std::string>& names);

}  // namespace lumaweave
