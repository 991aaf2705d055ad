#include "report/Terminal.h"

#include "os/win32/Windows.h"

#include <fcntl.h>
#include <io.h>

#include <cstdio>

namespace qvp {

// A console shows colours only when it is asked to understand them.
bool isTerminal(bool standardError) {
    const HANDLE handle = GetStdHandle(standardError ? STD_ERROR_HANDLE : STD_OUTPUT_HANDLE);
    DWORD mode = 0;
    return GetConsoleMode(handle, &mode) && SetConsoleMode(handle, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
}

std::size_t terminalColumns() {
    CONSOLE_SCREEN_BUFFER_INFO screen{};
    if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &screen)) return 0;
    return static_cast<std::size_t>(screen.srWindow.Right - screen.srWindow.Left + 1);
}

void prepareStandardOutput() {
    SetConsoleOutputCP(CP_UTF8);
    _setmode(_fileno(stdout), _O_BINARY);
}

}  // namespace qvp
