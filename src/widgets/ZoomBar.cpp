// SPDX-License-Identifier: GPL-3.0-or-later
#include "widgets/ZoomBar.h"

#include <QAction>
#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>
#include <cmath>

#include "widgets/ElidedLabel.h"
#include "widgets/ZoomView.h"

namespace lumaweave {

namespace {

QString depthName(SampleType type) {
    switch (type) {
        case SampleType::uint8:
            return ZoomBar::tr("8 bit");
        case SampleType::uint16:
            return ZoomBar::tr("16 bit");
        case SampleType::float32:
            break;
    }
    return ZoomBar::tr("float");
}

// Two digits at least: 6.3 %, 42 %.
QString percentage(double zoom) {
    const double percent = zoom * 100;
    return ZoomBar::tr("%1 %").arg(percent, 0, 'f', percent < 9.95 ? 1 : 0);
}

}  // namespace

ZoomBar::ZoomBar(QWidget* parent) : QWidget(parent) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(6, 4, 6, 4);
    fitAction_ = addCommand("fitAction", tr("Fit"), tr("The whole picture (0, or double click)"),
                            {Qt::Key_0, Qt::CTRL | Qt::Key_0});
    actualSizeAction_ =
        addCommand("actualSizeAction", tr("1:1"),
                   tr("One pixel of the picture on each of the screen (1, or double click)"),
                   {Qt::Key_1, Qt::CTRL | Qt::Key_1});
    for (QAction* action : {fitAction_, actualSizeAction_})
        action->setCheckable(true);
    zoomOutAction_ = addCommand("zoomOutAction", tr("−"), tr("Smaller (−, or the wheel)"),
                                {Qt::Key_Minus, QKeySequence::ZoomOut});
    zoomLabel_ = new QLabel;
    zoomLabel_->setObjectName("zoomLabel");
    zoomLabel_->setAlignment(Qt::AlignCenter);
    zoomLabel_->setMinimumWidth(zoomLabel_->fontMetrics().horizontalAdvance(percentage(88.88)));
    zoomLabel_->setToolTip(
        tr("The size on screen. Drag the picture or use the arrow keys to "
           "see the rest of it."));
    row->addWidget(zoomLabel_);
    zoomInAction_ =
        addCommand("zoomInAction", tr("+"), tr("Larger (+, or the wheel)"),
                   {Qt::Key_Plus, Qt::Key_Equal, QKeySequence::ZoomIn, Qt::CTRL | Qt::Key_Equal});
    imageLabel_ = new ElidedLabel;
    imageLabel_->setObjectName("imageLabel");
    imageLabel_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    row->addWidget(imageLabel_, 1);
}

QAction* ZoomBar::addCommand(const QString& name, const QString& text, const QString& toolTip,
                             const QList<QKeySequence>& keys) {
    auto* action = new QAction(text, this);
    action->setObjectName(name);
    action->setToolTip(toolTip);
    action->setShortcuts(keys);
    addAction(action);
    auto* button = new QToolButton;
    button->setDefaultAction(action);
    button->setAccessibleName(toolTip);
    button->setAutoRaise(true);
    // The arrow keys stay with the picture.
    button->setFocusPolicy(Qt::NoFocus);
    layout()->addWidget(button);
    return action;
}

void ZoomBar::setView(ZoomView* view) {
    view_ = view;
    connect(fitAction_, &QAction::triggered, view, &ZoomView::zoomToFit);
    connect(actualSizeAction_, &QAction::triggered, view, &ZoomView::zoomToActualSize);
    connect(zoomOutAction_, &QAction::triggered, view, &ZoomView::zoomOut);
    connect(zoomInAction_, &QAction::triggered, view, &ZoomView::zoomIn);
    connect(view, &ZoomView::zoomChanged, this, &ZoomBar::showZoom);
    connect(view, &ZoomView::imageChanged, this, &ZoomBar::showImage);
    showImage();
    showZoom();
}

void ZoomBar::showZoom() {
    const bool empty = view_->image().isNull();
    zoomLabel_->setText(empty ? QString() : percentage(view_->zoom()));
    fitAction_->setChecked(!empty && view_->isFitted());
    actualSizeAction_->setChecked(!empty && view_->zoom() == 1);
    for (QAction* action : actions())
        action->setEnabled(!empty);
}

void ZoomBar::showImage() {
    const Image& image = view_->image();
    imageLabel_->setText(image.isNull() ? QString()
                                        : tr("%1 × %2 pixels, %3")
                                              .arg(image.pixelsWide())
                                              .arg(image.pixelsHigh())
                                              .arg(depthName(image.format().type)));
    showZoom();
}

}  // namespace lumaweave
