// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

#include "settings/FusionSettings.h"

class QButtonGroup;
class QCheckBox;
class QComboBox;
class QFormLayout;
class QGroupBox;
class QVBoxLayout;

namespace lumaweave {

class FloatSlider;

// The settings panel. Its controls are the only store of the fusion settings while the program
// runs; every change by the user re-fuses the preview and saves the preferences. Main thread.
class EnfuseSettingsWindow : public QWidget {
    Q_OBJECT

  public:
    explicit EnfuseSettingsWindow(QWidget* parent = nullptr);
    ~EnfuseSettingsWindow() override;

    // Registers the panel and loads the saved preferences into it. Called once, when it is made.
    void awakeFromNib();

    // The action of every control: fuses the preview anew when two or more images are loaded, and
    // saves the preferences.
    void changedSettingValue(const QObject* sender);
    // Sets sigma and mu to their first values, nothing else.
    void resetExposureAction(const QObject* sender);
    void toggleEXIFAction(const QObject* sender);

    // The controls' values now.
    [[nodiscard]] FusionSettings settings() const;

    // The controls. The setters are fixed names: they only replace the reference.
    [[nodiscard]] FloatSlider* exposureSigma() const { return exposureSigma_; }
    void setExposureSigma(FloatSlider* slider) { exposureSigma_ = slider; }
    [[nodiscard]] FloatSlider* exposureMu() const { return exposureMu_; }
    void setExposureMu(FloatSlider* slider) { exposureMu_ = slider; }
    [[nodiscard]] QComboBox* exposureWeightMenu() const { return exposureWeightMenu_; }
    void setExposureWeightMenu(QComboBox* menu) { exposureWeightMenu_ = menu; }
    [[nodiscard]] QComboBox* saturationWeightMenu() const { return saturationWeightMenu_; }
    void setSaturationWeightMenu(QComboBox* menu) { saturationWeightMenu_ = menu; }
    [[nodiscard]] QComboBox* contrastWeightMenu() const { return contrastWeightMenu_; }
    void setContrastWeightMenu(QComboBox* menu) { contrastWeightMenu_ = menu; }
    [[nodiscard]] QComboBox* entropyWeightMenu() const { return entropyWeightMenu_; }
    void setEntropyWeightMenu(QComboBox* menu) { entropyWeightMenu_ = menu; }
    [[nodiscard]] QComboBox* contrastWindowSizeMenu() const { return contrastWindowSizeMenu_; }
    void setContrastWindowSizeMenu(QComboBox* menu) { contrastWindowSizeMenu_ = menu; }
    [[nodiscard]] QComboBox* imageCacheSizeMenu() const { return imageCacheSizeMenu_; }
    void setImageCacheSizeMenu(QComboBox* menu) { imageCacheSizeMenu_ = menu; }
    [[nodiscard]] QCheckBox* hardMaskButton() const { return hardMaskButton_; }
    void setHardMaskButton(QCheckBox* box) { hardMaskButton_ = box; }
    [[nodiscard]] QCheckBox* blend180Button() const { return blend180Button_; }
    void setBlend180Button(QCheckBox* box) { blend180Button_ = box; }
    [[nodiscard]] QCheckBox* CIECAM02Button() const { return CIECAM02Button_; }
    void setCIECAM02Button(QCheckBox* box) { CIECAM02Button_ = box; }
    [[nodiscard]] QCheckBox* preserveEXIFCheckBox() const { return preserveEXIFCheckBox_; }
    void setPreserveEXIFCheckBox(QCheckBox* box) { preserveEXIFCheckBox_ = box; }
    [[nodiscard]] FloatSlider* contrastMinCurvatureSlider() const {
        return contrastMinCurvatureSlider_;
    }
    void setContrastMinCurvatureSlider(FloatSlider* slider) {
        contrastMinCurvatureSlider_ = slider;
    }
    [[nodiscard]] FloatSlider* entropyWindowSizeSlider() const { return entropyWindowSizeSlider_; }
    void setEntropyWindowSizeSlider(FloatSlider* slider) { entropyWindowSizeSlider_ = slider; }
    [[nodiscard]] FloatSlider* blendingPyramidSlider() const { return blendingPyramidSlider_; }
    void setBlendingPyramidSlider(FloatSlider* slider) { blendingPyramidSlider_ = slider; }
    // Three radio buttons; the checked one's id is the selected row.
    [[nodiscard]] QButtonGroup* outputDepthMatrix() const { return outputDepthMatrix_; }
    void setOutputDepthMatrix(QButtonGroup* matrix) { outputDepthMatrix_ = matrix; }

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void makeExposureGroup(QVBoxLayout* column);
    void makeDetailGroup(QVBoxLayout* column);
    void makeBlendingGroup(QVBoxLayout* column);
    void makeOutputGroup(QVBoxLayout* column);
    QComboBox* addWeightMenu(QFormLayout* form, const char* name, const QString& label,
                             const QString& tip);
    QComboBox* addMenu(QFormLayout* form, const char* name, const QString& label,
                       const QStringList& items, const QString& tip);
    FloatSlider* addSlider(QFormLayout* form, const char* name, const QString& label,
                           const QString& tip, int decimals);
    QCheckBox* makeCheckBox(const char* name, const QString& label, const QString& tip);
    void connectActions();

    FloatSlider* exposureSigma_ = nullptr;
    FloatSlider* exposureMu_ = nullptr;
    QComboBox* exposureWeightMenu_ = nullptr;
    QComboBox* saturationWeightMenu_ = nullptr;
    QComboBox* contrastWeightMenu_ = nullptr;
    QComboBox* entropyWeightMenu_ = nullptr;
    QComboBox* contrastWindowSizeMenu_ = nullptr;
    QComboBox* imageCacheSizeMenu_ = nullptr;
    QCheckBox* hardMaskButton_ = nullptr;
    QCheckBox* blend180Button_ = nullptr;
    QCheckBox* CIECAM02Button_ = nullptr;
    QCheckBox* preserveEXIFCheckBox_ = nullptr;
    FloatSlider* contrastMinCurvatureSlider_ = nullptr;
    FloatSlider* entropyWindowSizeSlider_ = nullptr;
    FloatSlider* blendingPyramidSlider_ = nullptr;
    QButtonGroup* outputDepthMatrix_ = nullptr;
};

}  // namespace lumaweave
