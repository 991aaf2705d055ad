// A plugin without the entry point, or with the reason to stay in memory, that the build names.

#include <QvPlatform/QvPluginSystem/QvPlugin.h>

#ifdef WITH_UNIQUE_SYMBOL
// As some compilers define the static variables of inline functions.
asm(".data\n"
    ".globl uniqueVariable\n"
    ".type uniqueVariable, @gnu_unique_object\n"
    ".size uniqueVariable, 4\n"
    "uniqueVariable: .long 0\n"
    ".text\n");
extern "C" volatile int uniqueVariable;
void useWhatKeepsIt() { uniqueVariable = 1; }
#elif defined(WITH_THREAD_LOCAL)
struct Destroyed {
    ~Destroyed() { value = 0; }
    volatile int value = 0;
};
thread_local Destroyed object;
void useWhatKeepsIt() { object.value = 1; }
#else
void useWhatKeepsIt() {}
#endif

#ifndef WITHOUT_INFO
bool GetPluginInfo(QvPluginSystem::QvPluginInfo& info) {
    info.name = "incomplete";
    useWhatKeepsIt();
    return true;
}
#endif

#ifndef WITHOUT_INITIALIZE
bool InitializePlugin(QvPluginSystem::QvPluginManager&, int, char**, std::string*) { return true; }
#endif

#ifndef WITHOUT_UNINITIALIZE
bool UninitializePlugin(QvPluginSystem::QvPluginManager&, std::string*) { return true; }
#endif

#ifdef NULL_BUILD_INFO
const char* GetPluginBuildInfo() { return nullptr; }
#elif !defined(WITHOUT_BUILD_INFO)
const char* GetPluginBuildInfo() { return QV_PLUGIN_BUILD_INFO; }
#endif
