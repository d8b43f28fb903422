// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace lumaweave::test {

// An independent reader and writer of metadata: the program exiftool.

// All tags that it finds, "Group:Tag" (group 1, as in "ExifIFD:FNumber"; binary values as text of
// their own length) to printed value. Its complaints are among them, as "ExifTool:Warning". Tags of
// the file itself (its name, dates, size) are left out.
// A file that it cannot read at all has the one tag "ExifTool:Error".
using Tags = std::map<std::string, std::string>;
[[nodiscard]] Tags exifToolTags(const std::filesystem::path& file);

// Its warnings and errors.
[[nodiscard]] std::vector<std::string> complaintsIn(const Tags& tags);

// What two files' tags differ in, sorted: "-" before a tag that only the first has, "+" before one
// that only the second has, "~" before one of another value.
[[nodiscard]] std::vector<std::string> differencesBetween(const Tags& first, const Tags& second);

// Those whose group begins with the text, as in "GPS".
[[nodiscard]] Tags tagsOfGroup(const Tags& tags, const std::string& group);

// Writes tags into a file: arguments as "-Artist=A. Person". False when that fails, with its
// message in the test's output.
[[nodiscard]] bool writeTags(const std::filesystem::path& file,
                             const std::vector<std::string>& arguments);

}  // namespace lumaweave::test
