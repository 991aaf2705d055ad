// A library that calls back, so that its function is on the caller's stack.

#include <QvPlatform/QvPluginSystem/QvPlugin.h>

extern "C" QV_PLUGIN_EXPORT int callBack(int (*function)());

int callBack(int (*function)()) { return function() + 1; }

#ifdef WITH_OTHER_FUNCTION
extern "C" QV_PLUGIN_EXPORT int otherFunction(int (*function)());

int otherFunction(int (*function)()) { return function() + 2; }
#endif
