#include "child/Child.h"

#include "child/Report.h"
#include "child/posix/Report.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>

namespace qvp {
namespace {

ReportArea* report = nullptr;

// Of the exit handlers it is the last one to run: those of plugins come before.
void noteExit() { report->calledExit = 1; }

ReportArea* mapReport() {
    struct stat status {};
    if (fstat(kReportDescriptor, &status) != 0 || status.st_size != sizeof(ReportArea)) return nullptr;
    void* const memory =
        mmap(nullptr, sizeof(ReportArea), PROT_READ | PROT_WRITE, MAP_SHARED, kReportDescriptor, 0);
    close(kReportDescriptor);
    return memory == MAP_FAILED ? nullptr : static_cast<ReportArea*>(memory);
}

// On top of what the process has, which with a checker is much.
void limitMemory() {
    std::ifstream sizes("/proc/self/statm");
    std::size_t pages = 0;
    for (int column = 0; column < 6; ++column) sizes >> pages;  // the sixth: data and stack
    if (!sizes) return;
    const rlim_t most = pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) + kMemoryLimit;
    const rlimit limit{most, most};
    setrlimit(RLIMIT_DATA, &limit);
}

}  // namespace

bool prepareAsChild() {
    report = mapReport();
    if (!report) return false;
    std::atexit(noteExit);
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
    limitMemory();
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // A checker's handler would turn the crash into an exit code.
    for (const int number : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) std::signal(number, SIG_DFL);
    return true;
}

void writeReportLine(const std::string& line) { report->append(line); }

void endChild(int exitCode) { _exit(exitCode); }

}  // namespace qvp
