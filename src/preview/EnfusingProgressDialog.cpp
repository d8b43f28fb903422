// SPDX-License-Identifier: GPL-3.0-or-later
#include "preview/EnfusingProgressDialog.h"

#include "ui_EnfusingProgressDialog.h"

namespace lumaweave {

EnfusingProgressDialog::EnfusingProgressDialog()
    : layout_(std::make_unique<Ui::EnfusingProgressDialog>()) {
    layout_->setupUi(this);
    progressBar()->setRange(0, 0);  // the tool does not say how far it is
}

EnfusingProgressDialog::~EnfusingProgressDialog() = default;

QProgressBar* EnfusingProgressDialog::progressBar() const {
    return layout_->progressBar;
}

}  // namespace lumaweave
