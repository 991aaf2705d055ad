// A library that a plugin needs, and a second one that the first needs.

#include <QvPlatform/QvPluginSystem/QvPlugin.h>

#if defined(NEEDS_BASE)
int baseFunction();
QV_PLUGIN_EXPORT int libraryFunction();
int libraryFunction() { return baseFunction(); }
#else
QV_PLUGIN_EXPORT int baseFunction();
int baseFunction() { return 1; }
#endif
