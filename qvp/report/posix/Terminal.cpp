#include "report/Terminal.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string_view>

namespace qvp {

bool isTerminal(bool standardError) {
    const char* const kind = std::getenv("TERM");
    return isatty(standardError ? STDERR_FILENO : STDOUT_FILENO) == 1 && kind &&
           std::string_view(kind) != "dumb";
}

std::size_t terminalColumns() {
    winsize size{};
    if (isatty(STDOUT_FILENO) != 1 || ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) return 0;
    return size.ws_col != 0 ? size.ws_col : 80;  // a serial line does not know
}

// Beyond the limit for the size of files, writing fails, as on a full disk, instead of ending the process.
// The lowest free descriptor is taken; for reading only, so that writing fails as before.
void prepareStandardOutput() {
    std::signal(SIGXFSZ, SIG_IGN);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(standard, F_GETFD) == -1 && open("/dev/null", O_RDONLY) != standard) return;
    }
}

}  // namespace qvp
