// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace lumaweave::test {

// Shell scripts for ShotsTest::replaceFusionTool. Each finds its output in $out and its inputs in
// $inputs (one a line) after takeArguments.

inline constexpr auto takeArguments = R"(
inputs=
while [ $# -gt 0 ]; do
    case $1 in
    -o) shift; out=$1 ;;
    -*) ;;
    *) inputs="$inputs$1
"; last=$1 ;;
    esac
    shift
done
)";

// The same for "align_image_stack": its output's beginning is in $prefix, and alignedName N gives
// the name of its output number N, counted from 0.
inline constexpr auto takeAlignArguments = R"(
inputs=
while [ $# -gt 0 ]; do
    case $1 in
    -a) shift; prefix=$1 ;;
    -c | -g) shift ;;
    -*) ;;
    *) inputs="$inputs$1
" ;;
    esac
    shift
done
alignedName() { printf '%s%04d.tif' "$prefix" "$1"; }
)";

// Leaves every input as its own aligned file.
inline constexpr auto copyEveryInput = R"sh(
n=0
printf %s "$inputs" | while read -r input; do
    cp "$input" "$prefix.part"
    mv "$prefix.part" "$(alignedName $n)"
    n=$((n + 1))
done
)sh";

// Leaves its last input as the result: fast, and readable.
inline constexpr auto copyLastInput = R"(
cp "$last" "$out"
)";

// Ends without a result.
inline constexpr auto fail = R"(
exit 1
)";

// Ends well, without a result.
inline constexpr auto writeNothing = R"(
exit 0
)";

// What a killed tool leaves: the first bytes of a file.
inline constexpr auto leaveHalfAFile = R"(
head -c 100 "$last" > "$out"
)";

// Ten megabytes of messages on both outputs, then a result.
inline constexpr auto floodOutput = R"(
head -c 10000000 /dev/zero | tr '\0' 'x'
head -c 10000000 /dev/zero | tr '\0' 'y' >&2
cp "$last" "$out"
)";

}  // namespace lumaweave::test
