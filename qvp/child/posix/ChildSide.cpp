#include "child/Child.h"

#include "child/posix/Descriptor.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace qvp {
void prepareAsChild() {
    fcntl(kReportDescriptor, F_SETFD, FD_CLOEXEC);
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // A checker's handler would turn the crash into an exit code.
    for (const int number : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) std::signal(number, SIG_DFL);
}

void writeReportLine(const std::string& line) {
    const std::string whole = line + "\n";
    for (std::size_t written = 0; written < whole.size();) {
        const ssize_t count = write(kReportDescriptor, whole.data() + written, whole.size() - written);
        if (count < 0 && errno != EINTR) return;
        if (count > 0) written += static_cast<std::size_t>(count);
    }
}

void endChild(int exitCode) { _exit(exitCode); }

}  // namespace qvp
