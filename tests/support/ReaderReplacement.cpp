// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/ReaderReplacement.h"

#include "platform/Resources.h"

namespace lumaweave::test {

ReaderReplacement::ReaderReplacement(const std::string& script) {
    if (!script.empty()) writeScript(folder_ / "lumaweave-reader", script);
    setHelperFolder(folder_.path());
}

ReaderReplacement::~ReaderReplacement() {
    setHelperFolder(LUMAWEAVE_HELPERS);
}

}  // namespace lumaweave::test
