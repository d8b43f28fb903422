// SPDX-License-Identifier: GPL-3.0-or-later
#include "settings/Preferences.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFile>
#include <QHash>
#include <QSettings>
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>
#include <system_error>
#include <type_traits>

#include "align/AlignSettings.h"
#include "settings/EnfuseSettingsWindow.h"
#include "sources/SourcesWindow.h"
#include "stack/SharedState.h"
#include "widgets/FloatSlider.h"

namespace lumaweave {

namespace {

// The whole text as a number, in the C locale whatever the user's: texts read back exactly as they
// were written. None for damaged, infinite and undefined ones.
template <typename Number>
std::optional<Number> numberIn(const QString& text) {
    const std::string bytes = text.trimmed().toStdString();
    const char* end = bytes.data() + bytes.size();
    Number number = 0;
    const auto [stop, error] = std::from_chars(bytes.data(), end, number);
    if (error != std::errc() || stop != end || !std::isfinite(number)) return std::nullopt;
    return number;
}

// The shortest decimal that reads back as exactly this float: 0.2, not 0.20000000298023224.
QString textOf(float number) {
    std::array<char, 32> text;
    const auto written = std::to_chars(text.data(), text.data() + text.size(), number);
    return QString::fromLatin1(text.data(), written.ptr - text.data());
}

// The user's settings file as it is now.
class SavedValues {
  public:
    SavedValues() {
        QFile file(settings_.fileName());
        constexpr qint64 mostBytes = 1 << 20;
        if (!file.open(QIODevice::ReadOnly)) return;
        for (const QByteArray& line : file.read(mostBytes).split('\n')) {
            const qsizetype sign = line.indexOf('=');
            if (sign > 0) lines_[line.first(sign).trimmed()] = line.sliced(sign + 1);
        }
    }

    // The value as a number, if it is one; a truth value counts as 0 or 1. Looks among the bare
    // lines for what the settings do not give: a quotation mark that is never closed hides the
    // lines below it.
    template <typename Number>
    [[nodiscard]] std::optional<Number> number(const char* key) const {
        const auto value = numberOrTruth<Number>(settings_.value(key).toString());
        return value ? value : numberOrTruth<Number>(QString::fromUtf8(lines_.value(key)));
    }

  private:
    template <typename Number>
    static std::optional<Number> numberOrTruth(const QString& text) {
        if (text == "true") return Number(1);
        if (text == "false") return Number(0);
        return numberIn<Number>(text);
    }

    QSettings settings_;
    QHash<QByteArray, QByteArray> lines_;
};

// The stored value converted to the key's kind; none when it is absent or damaged. Cuts fractions
// off, and brings what no int can hold to the nearest int.
template <typename Kind>
std::optional<Kind> stored(const SavedValues& saved, const char* key) {
    if constexpr (std::is_same_v<Kind, float>) {
        return saved.number<float>(key);
    } else {
        const auto number = saved.number<double>(key);
        if (!number) return std::nullopt;
        if constexpr (std::is_same_v<Kind, bool>) {
            return *number != 0;
        } else {
            using Limits = std::numeric_limits<int>;
            return static_cast<int>(
                std::clamp(*number, double{Limits::min()}, double{Limits::max()}));
        }
    }
}

void loadNumber(const SavedValues& saved, const char* key, int fallbackForZero, int& target) {
    const auto value = stored<int>(saved, key);
    if (value) target = *value == 0 ? fallbackForZero : *value;
}

void loadBool(const SavedValues& saved, const char* key, bool& target) {
    const auto value = stored<bool>(saved, key);
    if (value) target = *value;
}

void loadSlider(const SavedValues& saved, const char* key, FloatSlider* slider) {
    const auto value = stored<float>(saved, key);
    if (value) slider->setFloatValue(*value);
}

void loadMenu(const SavedValues& saved, const char* key, QComboBox* menu) {
    const auto value = stored<int>(saved, key);
    if (value && *value >= 0 && *value < menu->count()) menu->setCurrentIndex(*value);
}

void loadState(const SavedValues& saved, const char* key, QCheckBox* box) {
    const auto value = stored<int>(saved, key);
    if (value) box->setChecked(*value != 0);
}

int stateOf(const QCheckBox* box) {
    return box->isChecked() ? 1 : 0;
}

}  // namespace

void LoadPrefs() {
    const SavedValues saved;
    const EnfuseSettingsWindow& panel = *gEnfuseSettingsPanel;
    loadNumber(saved, "gBestMessageNum", 0, gBestMessageNum);
    loadNumber(saved, "gAA_GridSize", 5, gAA_GridSize);
    loadNumber(saved, "gAA_NumControlPoints", 8, gAA_NumControlPoints);
    // Twice: the second was once meant for "gAA_OptimizeFOV"; it stays so, and that key,
    // "contrastWindowSizeMenu" and the output depth start every run afresh.
    loadBool(saved, "gAA_AssumeFullFrameFisheye", gAA_AssumeFullFrameFisheye);
    loadBool(saved, "gAA_AssumeFullFrameFisheye", gAA_AssumeFullFrameFisheye);
    loadSlider(saved, "exposureSigma", panel.exposureSigma());
    loadSlider(saved, "exposureMu", panel.exposureMu());
    loadMenu(saved, "exposureWeightMenu", panel.exposureWeightMenu());
    loadMenu(saved, "entropyWeightMenu", panel.entropyWeightMenu());
    loadMenu(saved, "saturationWeightMenu", panel.saturationWeightMenu());
    loadMenu(saved, "contrastWeightMenu", panel.contrastWeightMenu());
    loadMenu(saved, "imageCacheSizeMenu", panel.imageCacheSizeMenu());
    loadState(saved, "hardMaskButton", panel.hardMaskButton());
    loadState(saved, "blend180Button", panel.blend180Button());
    loadState(saved, "CIECAM02Button", panel.CIECAM02Button());
    loadState(saved, "preserveEXIFCheckBox", panel.preserveEXIFCheckBox());
    loadSlider(saved, "contrastMinCurvatureSlider", panel.contrastMinCurvatureSlider());
    loadSlider(saved, "entropyWindowSizeSlider", panel.entropyWindowSizeSlider());
    loadSlider(saved, "blendingPyramidSlider", panel.blendingPyramidSlider());
}

bool SavePrefs() {
    QSettings settings;
    const EnfuseSettingsWindow& panel = *gEnfuseSettingsPanel;
    settings.setValue("gBestMessageNum", gBestMessageNum);
    settings.setValue("gAA_GridSize", gAA_GridSize);
    settings.setValue("gAA_NumControlPoints", gAA_NumControlPoints);
    settings.setValue("gAA_AssumeFullFrameFisheye", gAA_AssumeFullFrameFisheye);
    settings.setValue("gAA_OptimizeFOV", gAA_OptimizeFOV);
    settings.setValue("exposureSigma", textOf(panel.exposureSigma()->floatValue()));
    settings.setValue("exposureMu", textOf(panel.exposureMu()->floatValue()));
    settings.setValue("exposureWeightMenu", panel.exposureWeightMenu()->currentIndex());
    settings.setValue("saturationWeightMenu", panel.saturationWeightMenu()->currentIndex());
    settings.setValue("entropyWeightMenu", panel.entropyWeightMenu()->currentIndex());
    settings.setValue("contrastWeightMenu", panel.contrastWeightMenu()->currentIndex());
    settings.setValue("contrastWindowSizeMenu", panel.contrastWindowSizeMenu()->currentIndex());
    settings.setValue("imageCacheSizeMenu", panel.imageCacheSizeMenu()->currentIndex());
    settings.setValue("hardMaskButton", stateOf(panel.hardMaskButton()));
    settings.setValue("blend180Button", stateOf(panel.blend180Button()));
    settings.setValue("CIECAM02Button", stateOf(panel.CIECAM02Button()));
    settings.setValue("preserveEXIFCheckBox", stateOf(panel.preserveEXIFCheckBox()));
    settings.setValue("contrastMinCurvatureSlider",
                      textOf(panel.contrastMinCurvatureSlider()->floatValue()));
    settings.setValue("entropyWindowSizeSlider",
                      textOf(panel.entropyWindowSizeSlider()->floatValue()));
    settings.setValue("blendingPyramidSlider", textOf(panel.blendingPyramidSlider()->floatValue()));
    if (gSourcesWindow != nullptr) {
        settings.setValue("ensureValidTIFFFilesCheckBox",
                          stateOf(gSourcesWindow->ensureValidTIFFFilesCheckBox()));
    }
    settings.sync();
    // sync() has made a damaged file whole again.
    return settings.status() != QSettings::AccessError;
}

std::optional<int> savedEnsureValidTIFFState() {
    return stored<int>(SavedValues(), "ensureValidTIFFFilesCheckBox");
}

}  // namespace lumaweave
