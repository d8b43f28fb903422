// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/ExifTool.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStringList>
#include <algorithm>
#include <iostream>

namespace lumaweave::test {

namespace {

std::string textOf(const QJsonValue& value) {
    if (value.isString()) return value.toString().toStdString();
    return QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact).toStdString();
}

}  // namespace

Tags exifToolTags(const std::filesystem::path& file) {
    QProcess process;
    process.start("exiftool", {"-j", "-G1", "-a", "-u", "-api", "largefilesupport=1",
                               QString::fromStdString(file.native())});
    process.waitForFinished(-1);
    Tags tags;
    const QJsonObject object =
        QJsonDocument::fromJson(process.readAllStandardOutput()).array().at(0).toObject();
    for (auto tag = object.begin(); tag != object.end(); ++tag) {
        const std::string name = tag.key().toStdString();
        const bool aboutFile = name.starts_with("System:") || name == "SourceFile" ||
                               name == "ExifTool:ExifToolVersion";
        if (!aboutFile) tags[name] = textOf(tag.value());
    }
    if (tags.empty()) tags["ExifTool:Error"] = process.errorString().toStdString();
    return tags;
}

std::vector<std::string> complaintsIn(const Tags& tags) {
    std::vector<std::string> complaints;
    for (const auto& [name, value] : tags) {
        if (name.starts_with("ExifTool:")) complaints.push_back(value);
    }
    return complaints;
}

std::vector<std::string> differencesBetween(const Tags& first, const Tags& second) {
    std::vector<std::string> differences;
    for (const auto& [name, value] : first) {
        const auto other = second.find(name);
        if (other == second.end()) {
            differences.push_back("-" + name);
        } else if (other->second != value) {
            differences.push_back("~" + name);
        }
    }
    for (const auto& [name, value] : second) {
        if (first.count(name) == 0) differences.push_back("+" + name);
    }
    std::sort(differences.begin(), differences.end());
    return differences;
}

Tags tagsOfGroup(const Tags& tags, const std::string& group) {
    Tags found;
    for (const auto& [name, value] : tags) {
        if (name.starts_with(group)) found[name] = value;
    }
    return found;
}

bool writeTags(const std::filesystem::path& file, const std::vector<std::string>& arguments) {
    QStringList list = {"-overwrite_original", "-q", "-n"};
    for (const std::string& argument : arguments)
        list << QString::fromStdString(argument);
    list << QString::fromStdString(file.native());
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start("exiftool", list);
    process.waitForFinished(-1);
    if (process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0) return true;
    std::cout << process.readAll().toStdString();
    return false;
}

}  // namespace lumaweave::test
