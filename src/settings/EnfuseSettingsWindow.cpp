// SPDX-License-Identifier: GPL-3.0-or-later
#include "settings/EnfuseSettingsWindow.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QEvent>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include "platform/Threads.h"
#include "preview/PreviewWindow.h"
#include "settings/Preferences.h"
#include "stack/SharedState.h"
#include "widgets/FloatSlider.h"

namespace lumaweave {

namespace {

constexpr float firstSigma = 0.2F;
constexpr float firstMu = 0.5F;

// A group of the panel: label and control beside each other.
QFormLayout* addGroup(QVBoxLayout* column, const QString& title) {
    auto* group = new QGroupBox(title);
    auto* form = new QFormLayout(group);
    form->setRowWrapPolicy(QFormLayout::DontWrapRows);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    form->setLabelAlignment(Qt::AlignLeft);
    column->addWidget(group);
    return form;
}

QLabel* labelFor(QWidget* control, const QString& text) {
    auto* label = new QLabel(text);
    label->setBuddy(control);
    label->setToolTip(control->toolTip());
    return label;
}

}  // namespace

FusionSettings currentFusionSettings() {
    FusionSettings settings;
    performOnMainThread([&settings] { settings = gEnfuseSettingsPanel->settings(); }, Wait::yes);
    return settings;
}

EnfuseSettingsWindow::EnfuseSettingsWindow(QWidget* parent) : QWidget(parent) {
    setObjectName("EnfuseSettingsWindow");
    setWindowTitle(tr("Settings"));
    auto* column = new QVBoxLayout(this);
    makeExposureGroup(column);
    makeDetailGroup(column);
    makeBlendingGroup(column);
    makeOutputGroup(column);
    column->addStretch();
    connectActions();
    awakeFromNib();
}

EnfuseSettingsWindow::~EnfuseSettingsWindow() {
    if (gEnfuseSettingsPanel == this) gEnfuseSettingsPanel = nullptr;
}

void EnfuseSettingsWindow::awakeFromNib() {
    gEnfuseSettingsPanel = this;
    LoadPrefs();
}

QComboBox* EnfuseSettingsWindow::addMenu(QFormLayout* form, const char* name, const QString& label,
                                         const QStringList& items, const QString& tip) {
    auto* menu = new QComboBox;
    menu->setObjectName(name);
    menu->addItems(items);
    menu->setToolTip(tip);
    menu->setFocusPolicy(Qt::StrongFocus);
    menu->installEventFilter(this);
    form->addRow(labelFor(menu, label), menu);
    return menu;
}

// A wheel that scrolls the panel must not change the menu that happens to pass under the pointer.
bool EnfuseSettingsWindow::eventFilter(QObject* watched, QEvent* event) {
    const auto* menu = qobject_cast<QComboBox*>(watched);
    if (menu == nullptr || event->type() != QEvent::Wheel || menu->hasFocus()) return false;
    event->ignore();
    return true;
}

QComboBox* EnfuseSettingsWindow::addWeightMenu(QFormLayout* form, const char* name,
                                               const QString& label, const QString& tip) {
    QStringList items = {tr("Default")};
    for (int tenths = 0; tenths <= 10; ++tenths)
        items << locale().toString(tenths / 10.0, 'f', 1);
    return addMenu(form, name, label, items, tip);
}

FloatSlider* EnfuseSettingsWindow::addSlider(QFormLayout* form, const char* name,
                                             const QString& label, const QString& tip,
                                             int decimals) {
    auto* slider = new FloatSlider;
    slider->setObjectName(name);
    slider->setToolTip(tip);
    slider->setMinimumWidth(90);
    auto* value = new QLabel;
    value->setObjectName(QString(name) + "Value");
    value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    value->setMinimumWidth(value->fontMetrics().horizontalAdvance("0.000"));
    connect(slider, &FloatSlider::shownValueChanged, value, [value, decimals](float shown) {
        value->setText(value->locale().toString(static_cast<double>(shown), 'f', decimals));
    });
    auto* row = new QHBoxLayout;
    row->addWidget(slider, 1);
    row->addWidget(value);
    form->addRow(labelFor(slider, label), row);
    return slider;
}

QCheckBox* EnfuseSettingsWindow::makeCheckBox(const char* name, const QString& label,
                                              const QString& tip) {
    auto* box = new QCheckBox(label);
    box->setObjectName(name);
    box->setToolTip(tip);
    return box;
}

void EnfuseSettingsWindow::makeExposureGroup(QVBoxLayout* column) {
    QFormLayout* form = addGroup(column, tr("Exposure"));
    exposureWeightMenu_ = addWeightMenu(
        form, "exposureWeightMenu", tr("Weight"),
        tr("How much well exposed pixels count. 1.0 lets exposure decide; 0.0 ignores it. Default "
           "is 1.0."));
    exposureMu_ = addSlider(
        form, "exposureMu", tr("Brightness (mu)"),
        tr("The brightness taken as well exposed, from 0 (black) to 1 (white). Higher values take "
           "more from the lighter shots and give a brighter picture."),
        2);
    exposureMu_->setFloatRange(0.0F, 1.0F, 0.01F);
    exposureMu_->setFloatValue(firstMu);
    exposureSigma_ = addSlider(
        form, "exposureSigma", tr("Tolerance (sigma)"),
        tr("How far a pixel may be from that brightness and still count. Small values pick single "
           "shots and raise contrast; large values mix all shots and flatten it."),
        2);
    exposureSigma_->setFloatRange(0.01F, 1.0F, 0.01F);
    exposureSigma_->setFloatValue(firstSigma);
    auto* reset = new QPushButton(tr("Reset exposure"));
    reset->setObjectName("resetExposureButton");
    reset->setToolTip(tr("Sets brightness to %1 and tolerance to %2 again.")
                          .arg(locale().toString(0.5, 'f', 2), locale().toString(0.2, 'f', 2)));
    connect(reset, &QPushButton::clicked, this, [this, reset] { resetExposureAction(reset); });
    form->addRow(reset);
}

void EnfuseSettingsWindow::makeDetailGroup(QVBoxLayout* column) {
    QFormLayout* form = addGroup(column, tr("Colour and detail"));
    saturationWeightMenu_ = addWeightMenu(form, "saturationWeightMenu", tr("Saturation"),
                                          tr("How much strongly coloured pixels count. Raise it "
                                             "for richer colours. Default is 0.2."));
    contrastWeightMenu_ = addWeightMenu(
        form, "contrastWeightMenu", tr("Contrast"),
        tr("How much pixels with local contrast count. Raise it, with a hard mask, to keep the "
           "sharpest shot of a focus stack. Default is 0.0."));
    QStringList sizes = {tr("Default")};
    for (int size = 1; size <= 15; ++size)
        sizes << tr("%1 px").arg(size);
    contrastWindowSizeMenu_ = addMenu(
        form, "contrastWindowSizeMenu", tr("Contrast window"), sizes,
        tr("The side of the square in which local contrast is measured. Sizes below 3 count as 3, "
           "even ones as the next odd one. Default is 5."));
    contrastMinCurvatureSlider_ = addSlider(
        form, "contrastMinCurvatureSlider", tr("Min. curvature"),
        tr("Edges weaker than this do not count as contrast, so that noise is not taken for "
           "detail. In "
           "levels of the shots: of 255, or of 65535 for 16-bit shots. Works when the contrast "
           "weight is above 0."),
        0);
    contrastMinCurvatureSlider_->setFloatRange(0.0F, 50.0F, 1.0F);
    contrastMinCurvatureSlider_->setFloatValue(0.0F);
    entropyWeightMenu_ = addWeightMenu(
        form, "entropyWeightMenu", tr("Entropy"),
        tr("How much busy, detailed surroundings count against flat ones. Default is 0.0."));
    entropyWindowSizeSlider_ = addSlider(
        form, "entropyWindowSizeSlider", tr("Entropy window, px"),
        tr("The side of the square in which detail is measured. Even sizes count as the next odd "
           "one. Works when the entropy weight is above 0."),
        0);
    entropyWindowSizeSlider_->setFloatRange(3.0F, 25.0F, 1.0F);
    entropyWindowSizeSlider_->setFloatValue(3.0F);
}

void EnfuseSettingsWindow::makeBlendingGroup(QVBoxLayout* column) {
    QFormLayout* form = addGroup(column, tr("Blending"));
    blendingPyramidSlider_ = addSlider(
        form, "blendingPyramidSlider", tr("Fewer levels"),
        tr("Blends over smaller distances: by how many levels the blending pyramid is lower than "
           "the picture allows. 0 gives the smoothest transitions; high values show halos."),
        0);
    blendingPyramidSlider_->setFloatRange(0.0F, 8.0F, 1.0F);
    blendingPyramidSlider_->setFloatValue(0.0F);
    hardMaskButton_ = makeCheckBox("hardMaskButton", tr("Hard mask"),
                                   tr("Takes each pixel from the one best shot instead of mixing "
                                      "the shots. Sharper, for focus "
                                      "stacks; noisier for exposures."));
    form->addRow(hardMaskButton_);
    blend180Button_ = makeCheckBox("blend180Button", tr("Wrap around (360° panorama)"),
                                   tr("Blends across the left and right edges, so that a full "
                                      "panorama closes without a seam."));
    form->addRow(blend180Button_);
    CIECAM02Button_ = makeCheckBox(
        "CIECAM02Button", tr("Perceptual colour (CIECAM02)"),
        tr("Mixes colours as the eye sees them. Much slower; needs colour profiles in the shots to "
           "be right."));
    form->addRow(CIECAM02Button_);
}

void EnfuseSettingsWindow::makeOutputGroup(QVBoxLayout* column) {
    QFormLayout* form = addGroup(column, tr("Output"));
    outputDepthMatrix_ = new QButtonGroup(this);
    auto* row = new QHBoxLayout;
    const QStringList titles = {tr("8 bit"), tr("16 bit"), tr("Float")};
    const QStringList tips = {tr("Smallest file, for showing and printing as it is."),
                              tr("Finer tones, for further editing."),
                              tr("32-bit floating point: the exact result of the fusion, in the "
                                 "largest file.")};
    for (int id = 0; id < titles.size(); ++id) {
        auto* button = new QRadioButton(titles[id]);
        button->setObjectName("outputDepth" + QString::number(id));
        button->setToolTip(tips[id]);
        outputDepthMatrix_->addButton(button, id);
        row->addWidget(button);
    }
    constexpr int sixteenBit = 1;
    outputDepthMatrix_->button(sixteenBit)->setChecked(true);
    row->addStretch();
    form->addRow(row);
    QStringList sizes = {tr("Default")};
    for (int size = 1; size <= 16; ++size)
        sizes << QString::number(size);
    imageCacheSizeMenu_ = addMenu(
        form, "imageCacheSizeMenu", tr("Image cache"), sizes,
        tr("Memory for very large pictures. Has no effect with the installed fusion tool, which "
           "manages its memory itself."));
    preserveEXIFCheckBox_ = makeCheckBox(
        "preserveEXIFCheckBox", tr("Keep the camera's data (EXIF)"),
        tr("Writes the camera's data of the first shot that has any (exposure, lens, place, "
           "author, key words…) into the fused file."));
    preserveEXIFCheckBox_->setChecked(true);
    form->addRow(preserveEXIFCheckBox_);
}

// Only what the user does fires an action: values set from code do not.
void EnfuseSettingsWindow::connectActions() {
    for (FloatSlider* slider : findChildren<FloatSlider*>()) {
        connect(slider, &FloatSlider::valueCommitted, this,
                [this, slider] { changedSettingValue(slider); });
    }
    for (QComboBox* menu : findChildren<QComboBox*>()) {
        connect(menu, &QComboBox::activated, this, [this, menu] { changedSettingValue(menu); });
    }
    for (QCheckBox* box : {hardMaskButton_, blend180Button_, CIECAM02Button_}) {
        connect(box, &QCheckBox::clicked, this, [this, box] { changedSettingValue(box); });
    }
    connect(preserveEXIFCheckBox_, &QCheckBox::clicked, this,
            [this] { toggleEXIFAction(preserveEXIFCheckBox_); });
    connect(outputDepthMatrix_, &QButtonGroup::idClicked, this,
            [this] { changedSettingValue(outputDepthMatrix_); });
}

void EnfuseSettingsWindow::changedSettingValue(const QObject*) {
    if (gNumSourceImages >= 2) {
        performInBackground([] { gPreviewWindow->doEnfusePreviewOnThread(); });
    }
    SavePrefs();
}

void EnfuseSettingsWindow::resetExposureAction(const QObject*) {
    exposureSigma_->setFloatValue(firstSigma);
    exposureMu_->setFloatValue(firstMu);
    changedSettingValue(nullptr);
}

void EnfuseSettingsWindow::toggleEXIFAction(const QObject*) {
    changedSettingValue(nullptr);
}

FusionSettings EnfuseSettingsWindow::settings() const {
    FusionSettings values;
    values.exposureSigma = exposureSigma_->floatValue();
    values.exposureMu = exposureMu_->floatValue();
    values.exposureWeight = exposureWeightMenu_->currentIndex();
    values.saturationWeight = saturationWeightMenu_->currentIndex();
    values.contrastWeight = contrastWeightMenu_->currentIndex();
    values.entropyWeight = entropyWeightMenu_->currentIndex();
    values.contrastWindowSize = contrastWindowSizeMenu_->currentIndex();
    values.imageCacheSize = imageCacheSizeMenu_->currentIndex();
    values.hardMask = hardMaskButton_->isChecked();
    values.blend180 = blend180Button_->isChecked();
    values.ciecam02 = CIECAM02Button_->isChecked();
    values.contrastMinCurvature = contrastMinCurvatureSlider_->intValue();
    values.entropyWindowSize = entropyWindowSizeSlider_->intValue();
    values.blendingPyramid = blendingPyramidSlider_->intValue();
    values.outputDepthRow = outputDepthMatrix_->checkedId();
    return values;
}

}  // namespace lumaweave
