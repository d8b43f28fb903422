#pragma once

#include <QByteArray>
#include <QUrl>
#include <chrono>
#include <optional>

namespace lumaweave {

// A feed is a few hundred bytes; whatever is larger than this is not one.
inline constexpr qsizetype largestFeed = 64 * 1024;

// Downloads the feed (http, and https where the server redirects to it) and returns it whole. Runs
// an event loop meanwhile, so that windows are painted and can be used; any thread with a
// QApplication may call. Nothing when the server cannot be reached, answers with an error, sends
// more than largestFeed, redirects without end or has not finished within the bound (from the call
// on, whatever the server does), and nothing when the program quits.
[[nodiscard]] std::optional<QByteArray> fetchFeed(const QUrl& url, std::chrono::milliseconds bound);

}  // namespace lumaweave
