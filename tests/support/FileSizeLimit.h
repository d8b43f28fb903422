// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace lumaweave::test {

// While it lives, no file grows beyond so many bytes: writing more fails, also in programs started
// meanwhile.
class FileSizeLimit {
  public:
    explicit FileSizeLimit(unsigned long bytes);
    ~FileSizeLimit();
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

  private:
    unsigned long before_;
    void (*signalHandler_)(int);
};

}  // namespace lumaweave::test
