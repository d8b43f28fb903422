// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QUrl>
#include <chrono>
#include <optional>

namespace lumaweave {

// A feed is a few hundred bytes; anything larger than this is none.
inline constexpr qsizetype largestFeed = 64 * 1024;

// Downloads the feed (http, and https where the server redirects to it) and returns it whole. Runs
// an event loop meanwhile, so that windows are painted and can be used; any thread with a
// QApplication may call. None when the server cannot be reached, answers with an error, sends more
// than largestFeed, redirects without end or has not finished within the bound (from the call on,
// whatever the server does), or when the program quits.
[[nodiscard]] std::optional<QByteArray> fetchFeed(const QUrl& url, std::chrono::milliseconds bound);

}  // namespace lumaweave
