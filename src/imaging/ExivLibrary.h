#pragma once

namespace lumaweave {

// Starts the metadata library once for the process; every function that uses it calls this first.
// Any thread.
void startExiv();

}  // namespace lumaweave
