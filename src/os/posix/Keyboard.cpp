#include "os/Keyboard.h"

#include "os/posix/CapsLockLight.h"

#include <glob.h>

#include <algorithm>
#include <fstream>

namespace os {
namespace {

bool isLit(const char* brightnessFile) {
    int brightness = 0;
    std::ifstream(brightnessFile) >> brightness;
    return brightness > 0;
}

}  // namespace

bool posix::isCapsLockLit(const std::string& folder) {
    glob_t found{};
    glob((folder + "*::capslock/brightness").c_str(), GLOB_NOSORT, nullptr, &found);
    const bool isAnyLit = std::any_of(found.gl_pathv, found.gl_pathv + found.gl_pathc, isLit);
    globfree(&found);
    return isAnyLit;
}

short capsLockState() { return posix::isCapsLockLit("/sys/class/leds/") ? 1 : 0; }

}  // namespace os
