#pragma once

namespace lumaweave::test {

// Lets no file grow above so many bytes while it lives; writing past that is an error, also for the
// programs that are started meanwhile.
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
