// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QSettings>
#include <filesystem>

namespace lumaweave::test {

// The file that the settings are in, which need not exist.
[[nodiscard]] inline std::filesystem::path settingsFile() {
    return QSettings().fileName().toStdString();
}

}  // namespace lumaweave::test
