#pragma once

namespace lumaweave::test {

// Shell scripts for ProgramTest::replaceFusionTool. Each finds its output in $out and its inputs in
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
