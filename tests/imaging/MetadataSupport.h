// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "support/ExifTool.h"

namespace lumaweave::test {

// Small pictures with known metadata.

// Everything that a photographer's file may say, as arguments of exiftool.
[[nodiscard]] std::vector<std::string> photographersTags();

// A small picture in the format that the name's ending says, with these tags. Fails the test when
// they cannot be written.
void makeSource(const std::filesystem::path& file, const std::vector<std::string>& arguments);

// A maker's own tags, as in "Exif.Canon.OwnerName", in the maker note of the file.
using MakerTags = std::map<std::string, std::string>;
void addMakerNote(const std::filesystem::path& file, const std::string& make,
                  const MakerTags& tags);

// A TIFF as the fusion tool leaves it, without metadata.
void makeResult(const std::filesystem::path& file);

// The tags that are meant to differ between a source and a result made by makeResult, whatever the
// source: those of the pixels and of the file format.
[[nodiscard]] bool concernsPixelsOrFormat(const std::string& difference);

// The other differences.
[[nodiscard]] std::vector<std::string> unexpectedDifferences(const Tags& source,
                                                             const Tags& result);

}  // namespace lumaweave::test
