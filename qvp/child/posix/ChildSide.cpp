#include "child/Child.h"

#include "child/posix/Report.h"
#include "os/posix/PosixSupport.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

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

void writeReportLine(const std::string& line) { os::posix::writeAll(kReportDescriptor, line + "\n"); }

void endChild(int exitCode) { _exit(exitCode); }

}  // namespace qvp
