// A private library of a plugin. It defines an entry point too, which must not be used as the plugin's, and
// needs another library.

#include <cstdlib>
#include <stdexcept>

#if defined(__ELF__)
#define HELPER_EXPORT __attribute__((visibility("default")))
#else
#define HELPER_EXPORT __declspec(dllexport)
#endif

#ifdef WITHOUT_HELP
extern "C" HELPER_EXPORT int furtherAnswer() { return 42; }
#else
extern "C" int furtherAnswer();

namespace {

struct Opened {
    Opened() {
        const char* const order = std::getenv("QV_TEST_HELPER_THROWS");
        if (order && *order == '1') throw std::runtime_error("the helper threw");
    }
};

const Opened opened;

}  // namespace

extern "C" HELPER_EXPORT int helperAnswer() { return furtherAnswer(); }
extern "C" HELPER_EXPORT bool UninitializePlugin(void*, void*) { return true; }
#endif
