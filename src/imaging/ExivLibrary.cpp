#include "imaging/ExivLibrary.h"

#include <exiv2/exiv2.hpp>
#include <mutex>
#include <string>

#include "platform/Log.h"

namespace lumaweave {

namespace {

std::mutex xmpMutex;

void lockXmp(void* mutex, bool lock) {
    if (lock) {
        static_cast<std::mutex*>(mutex)->lock();
    } else {
        static_cast<std::mutex*>(mutex)->unlock();
    }
}

void logMessage(int, const char* message) {
    std::string line(message);
    while (!line.empty() && line.back() == '\n')
        line.pop_back();
    Log(line);
}

}  // namespace

void startExiv() {
    static std::once_flag once;
    std::call_once(once, [] {
        // Its XMP part is one toolkit for the whole process.
        Exiv2::XmpParser::initialize(lockXmp, &xmpMutex);
        Exiv2::enableBMFF(true);  // HEIC and its relatives
        // Unknown tags and odd values are every camera's habit.
        Exiv2::LogMsg::setLevel(Exiv2::LogMsg::error);
        Exiv2::LogMsg::setHandler(logMessage);
    });
}

}  // namespace lumaweave
