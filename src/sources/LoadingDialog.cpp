// SPDX-License-Identifier: GPL-3.0-or-later
#include "sources/LoadingDialog.h"

#include "ui_LoadingDialog.h"

namespace lumaweave {

LoadingDialog::LoadingDialog(int count) : layout_(std::make_unique<Ui::LoadingDialog>()) {
    layout_->setupUi(this);
    progressBar()->setRange(0, count);
    progressBar()->setValue(0);
    layout_->closeButton->hide();
    connect(layout_->closeButton, &QPushButton::clicked, this, &LoadingDialog::reject);
}

LoadingDialog::~LoadingDialog() = default;

void LoadingDialog::bumpProgressBarOnMainThread() {
    progressBar()->setValue(progressBar()->value() + 1);
}

void LoadingDialog::offerClose() {
    setWorkerAlive(false);
    layout_->closeButton->show();
}

QProgressBar* LoadingDialog::progressBar() const {
    return layout_->progressBar;
}

}  // namespace lumaweave
