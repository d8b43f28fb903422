// SPDX-License-Identifier: GPL-3.0-or-later
#include "batch/BatchPlan.h"

#include <QCollator>
#include <QCoreApplication>
#include <QFile>
#include <algorithm>
#include <cmath>
#include <utility>

#include "platform/ShellQuoting.h"

namespace lumaweave {

namespace fs = std::filesystem;

namespace {

std::string tooLong(const std::string& what) {
    return "The batch was not started: " + what +
           " is too long.  Please shorten the names of its folders.";
}

}  // namespace

std::vector<std::string> sortedForBatch(std::vector<std::string> names) {
    QCollator collator;
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    collator.setNumericMode(false);
    std::vector<std::pair<QString, std::string>> keyed;
    keyed.reserve(names.size());
    for (std::string& name : names)
        keyed.emplace_back(QFile::decodeName(name.c_str()), std::move(name));
    std::sort(keyed.begin(), keyed.end(), [&collator](const auto& left, const auto& right) {
        const int order = collator.compare(left.first, right.first);
        return order != 0 ? order < 0 : left.second < right.second;
    });
    names.clear();
    for (auto& [key, name] : keyed)
        names.push_back(std::move(name));
    return names;
}

bool isHiddenName(const std::string& name) {
    return name.starts_with('.');
}

fs::path batchResultFolder(const fs::path& batchFolder) {
    return batchFolder / "Enfused Files";
}

std::string batchResultName(const fs::path& lastFile) {
    return "Enfused - " + lastFile.stem().native() + ".tif";
}

std::optional<std::string> batchObjection(const fs::path& batchFolder,
                                          const std::vector<fs::path>& files) {
    const fs::path folder = batchResultFolder(batchFolder);
    if (const char active = shellActiveCharacter(folder.native()); active != '\0') {
        return "The batch was not started: the path of the folder \"" + batchFolder.native() +
               "\" holds " + nameOfShellCharacter(active) + ".  Please rename it.";
    }
    for (const fs::path& file : files) {
        const std::string name = batchResultName(file);
        if (const char active = shellActiveCharacter(name); active != '\0') {
            return "The batch was not started: the name of the file \"" + file.filename().native() +
                   "\" holds " + nameOfShellCharacter(active) + ".  Please rename it.";
        }
        if (!canBeQuoted(folder / name)) {
            return tooLong("the path of the file \"" + file.filename().native() + "\"");
        }
    }
    return std::nullopt;
}

std::optional<double> remainingBatchSeconds(int setsDone, int sets, double secondsForThose,
                                            double secondsInThisSet) {
    if (setsDone < 1 || setsDone >= sets) return std::nullopt;
    const double each = secondsForThose / setsDone;
    return std::max(0.0, each - secondsInThisSet) + each * (sets - setsDone - 1);
}

QString remainingBatchText(std::optional<double> seconds) {
    const auto tr = [](const char* text) { return QCoreApplication::translate("BatchPlan", text); };
    if (!seconds) return tr("The time left is known after the first set.");
    constexpr double minute = 60;
    if (*seconds < minute) return tr("Less than a minute left");
    const int minutes = static_cast<int>(std::lround(*seconds / minute));
    if (minutes == 1) return tr("About a minute left");
    if (minutes < 100) return tr("About %1 minutes left").arg(minutes);
    return tr("About %1 hours left").arg(static_cast<int>(std::lround(minutes / minute)));
}

std::string listForLog(const std::vector<std::string>& names) {
    std::string text = "(";
    for (const std::string& name : names) {
        if (text.size() > 1) text += ", ";
        text += name;
    }
    return text + ")";
}

}  // namespace lumaweave
