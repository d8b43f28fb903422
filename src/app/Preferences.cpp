#include "app/Preferences.h"

#include <QCheckBox>
#include <QComboBox>
#include <QSettings>
#include <cmath>
#include <type_traits>

#include "app/SharedState.h"
#include "fusion/EnfuseSettingsWindow.h"
#include "sources/SourcesWindow.h"
#include "widgets/FloatSlider.h"

namespace lumaweave {

namespace {

// The stored value, when there is one that really is, or reads as, a value of this kind. A damaged
// one counts as absent.
template <typename Kind>
std::optional<Kind> stored(const QSettings& settings, const char* key) {
    const QVariant value = settings.value(key);
    if (!value.isValid()) return std::nullopt;
    if constexpr (std::is_same_v<Kind, bool>) {
        return value.canConvert<bool>() ? std::optional(value.toBool()) : std::nullopt;
    } else {
        bool converted = false;
        const double number = value.toDouble(&converted);
        if (!converted || !std::isfinite(number)) return std::nullopt;
        if constexpr (std::is_same_v<Kind, int>) {
            const int whole = value.toInt(&converted);
            return converted ? std::optional(whole) : std::nullopt;
        } else {
            return value.toFloat();
        }
    }
}

void loadNumber(const QSettings& settings, const char* key, int fallbackForZero, int& target) {
    const auto value = stored<int>(settings, key);
    if (value) target = *value == 0 ? fallbackForZero : *value;
}

void loadBool(const QSettings& settings, const char* key, bool& target) {
    const auto value = stored<bool>(settings, key);
    if (value) target = *value;
}

void loadSlider(const QSettings& settings, const char* key, FloatSlider* slider) {
    const auto value = stored<float>(settings, key);
    if (value) slider->setFloatValue(*value);
}

void loadMenu(const QSettings& settings, const char* key, QComboBox* menu) {
    const auto value = stored<int>(settings, key);
    if (value && *value >= 0 && *value < menu->count()) menu->setCurrentIndex(*value);
}

void loadState(const QSettings& settings, const char* key, QCheckBox* box) {
    const auto value = stored<int>(settings, key);
    if (value) box->setChecked(*value != 0);
}

int stateOf(const QCheckBox* box) {
    return box->isChecked() ? 1 : 0;
}

}  // namespace

void LoadPrefs() {
    const QSettings settings;
    const EnfuseSettingsWindow& panel = *gEnfuseSettingsPanel;
    loadNumber(settings, "gBestMessageNum", 0, gBestMessageNum);
    loadNumber(settings, "gAA_GridSize", 5, gAA_GridSize);
    loadNumber(settings, "gAA_NumControlPoints", 8, gAA_NumControlPoints);
    // "gAA_OptimizeFOV", "contrastWindowSizeMenu" and the output depth start every run afresh.
    loadBool(settings, "gAA_AssumeFullFrameFisheye", gAA_AssumeFullFrameFisheye);
    loadSlider(settings, "exposureSigma", panel.exposureSigma());
    loadSlider(settings, "exposureMu", panel.exposureMu());
    loadMenu(settings, "exposureWeightMenu", panel.exposureWeightMenu());
    loadMenu(settings, "entropyWeightMenu", panel.entropyWeightMenu());
    loadMenu(settings, "saturationWeightMenu", panel.saturationWeightMenu());
    loadMenu(settings, "contrastWeightMenu", panel.contrastWeightMenu());
    loadMenu(settings, "imageCacheSizeMenu", panel.imageCacheSizeMenu());
    loadState(settings, "hardMaskButton", panel.hardMaskButton());
    loadState(settings, "blend180Button", panel.blend180Button());
    loadState(settings, "CIECAM02Button", panel.CIECAM02Button());
    loadState(settings, "preserveEXIFCheckBox", panel.preserveEXIFCheckBox());
    loadSlider(settings, "contrastMinCurvatureSlider", panel.contrastMinCurvatureSlider());
    loadSlider(settings, "entropyWindowSizeSlider", panel.entropyWindowSizeSlider());
    loadSlider(settings, "blendingPyramidSlider", panel.blendingPyramidSlider());
}

bool SavePrefs() {
    QSettings settings;
    const EnfuseSettingsWindow& panel = *gEnfuseSettingsPanel;
    settings.setValue("gBestMessageNum", gBestMessageNum);
    settings.setValue("gAA_GridSize", gAA_GridSize);
    settings.setValue("gAA_NumControlPoints", gAA_NumControlPoints);
    settings.setValue("gAA_AssumeFullFrameFisheye", gAA_AssumeFullFrameFisheye);
    settings.setValue("gAA_OptimizeFOV", gAA_OptimizeFOV);
    settings.setValue("exposureSigma", panel.exposureSigma()->floatValue());
    settings.setValue("exposureMu", panel.exposureMu()->floatValue());
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
                      panel.contrastMinCurvatureSlider()->floatValue());
    settings.setValue("entropyWindowSizeSlider", panel.entropyWindowSizeSlider()->floatValue());
    settings.setValue("blendingPyramidSlider", panel.blendingPyramidSlider()->floatValue());
    if (gSourcesWindow != nullptr) {
        settings.setValue("ensureValidTIFFFilesCheckBox",
                          stateOf(gSourcesWindow->ensureValidTIFFFilesCheckBox()));
    }
    settings.sync();
    return settings.status() == QSettings::NoError;
}

std::optional<int> SavedEnsureValidTIFFState() {
    return stored<int>(QSettings(), "ensureValidTIFFFilesCheckBox");
}

}  // namespace lumaweave
