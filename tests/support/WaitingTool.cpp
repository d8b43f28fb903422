#include "support/WaitingTool.h"

#include <sys/stat.h>

#include <fstream>
#include <utility>

namespace lumaweave::test {

WaitingTool::WaitingTool(std::filesystem::path folder) : folder_(std::move(folder)) {}

std::string WaitingTool::script() const {
    const std::filesystem::path pipe = folder_ / "go on";
    mkfifo(pipe.c_str(), 0600);  // one that is there already serves as well
    return "touch '" + (folder_ / "started").native() + "'\ncat '" + pipe.native() +
           "' > /dev/null\n";
}

bool WaitingTool::waits() const {
    return std::filesystem::exists(folder_ / "started");
}

void WaitingTool::letGo() const {
    std::ofstream(folder_ / "go on") << "go";
}

}  // namespace lumaweave::test
