// SPDX-License-Identifier: GPL-3.0-or-later
#include "imaging/formats/TimedSource.h"

#include <unistd.h>

#include <cerrno>
#include <memory>
#include <thread>

#include "imaging/formats/WorkLimit.h"
#include "imaging/reader/ReaderJobs.h"

namespace lumaweave {

namespace {

using std::chrono::nanoseconds;

class TimedFile {
  public:
    TimedFile(const FileDescriptor& file, nanoseconds time)
        : file_(file.duplicate()), size_(file.size()), time_(time) {}

    gint64 read(void* to, gint64 byteCount) {
        if (hasTakenTooLong()) {
            vips_error("decoder", "it takes more than %.0f s",
                       std::chrono::duration<double>(time_).count());
            return -1;
        }
        for (;;) {
            const ssize_t got = pread(file_.number(), to, static_cast<std::size_t>(byteCount),
                                      static_cast<off_t>(position_));
            if (got < 0 && errno == EINTR) continue;
            if (got > 0) position_ += got;
            return got;
        }
    }

    gint64 seek(gint64 offset, int whence) {
        const auto size = static_cast<gint64>(size_);
        const gint64 from = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? position_ : size;
        if (from + offset < 0) return -1;
        position_ = from + offset;
        return position_;
    }

  private:
    // A thread of libvips' own may decode part of a picture.
    bool hasTakenTooLong() {
        const nanoseconds now = workOfThisThread();
        if (thread_ != std::this_thread::get_id()) {
            thread_ = std::this_thread::get_id();
            begun_ = now;
        }
        return now - begun_ > time_;
    }

    FileDescriptor file_;
    std::uint64_t size_;
    gint64 position_ = 0;
    nanoseconds time_;
    std::thread::id thread_;
    nanoseconds begun_{};
};

gint64 onRead(VipsSourceCustom*, void* to, gint64 byteCount, gpointer file) {
    return static_cast<TimedFile*>(file)->read(to, byteCount);
}

gint64 onSeek(VipsSourceCustom*, gint64 offset, int whence, gpointer file) {
    return static_cast<TimedFile*>(file)->seek(offset, whence);
}

}  // namespace

vips::VSource timedSource(const FileDescriptor& file, nanoseconds time) {
    auto timed = std::make_unique<TimedFile>(file, time);
    VipsSourceCustom* source = vips_source_custom_new();
    g_signal_connect(source, "read", G_CALLBACK(onRead), timed.get());
    g_signal_connect(source, "seek", G_CALLBACK(onSeek), timed.get());
    g_object_set_data_full(G_OBJECT(source), "file", timed.release(),
                           [](gpointer held) { delete static_cast<TimedFile*>(held); });
    return vips::VSource(VIPS_SOURCE(source));
}

vips::VSource timedSource(const FileDescriptor& file) {
    return timedSource(file, decodingTime(file.size()));
}

}  // namespace lumaweave
