#include "sources/LoadingDialog.h"

#include "ui_LoadingDialog.h"

namespace lumaweave {

LoadingDialog::LoadingDialog(int count) : layout_(std::make_unique<Ui::LoadingDialog>()) {
    layout_->setupUi(this);
    progressBar()->setRange(0, count);
    progressBar()->setValue(0);
}

LoadingDialog::~LoadingDialog() = default;

void LoadingDialog::bumpProgressBarOnMainThread() {
    progressBar()->setValue(progressBar()->value() + 1);
}

QProgressBar* LoadingDialog::progressBar() const {
    return layout_->progressBar;
}

}  // namespace lumaweave
