// A private library of a plugin. It defines an entry point of its own, which must not count as the plugin's.

#if defined(__ELF__)
#define HELPER_EXPORT __attribute__((visibility("default")))
#else
#define HELPER_EXPORT __declspec(dllexport)
#endif

extern "C" HELPER_EXPORT int helperAnswer() { return 42; }
extern "C" HELPER_EXPORT bool UninitializePlugin(void*, void*) { return true; }
