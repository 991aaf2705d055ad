#include "report/Terminal.h"

#include <unistd.h>

#include <cstdlib>
#include <string_view>

namespace qvp {

bool isTerminal(bool standardError) {
    const char* const kind = std::getenv("TERM");
    return isatty(standardError ? STDERR_FILENO : STDOUT_FILENO) == 1 && kind &&
           std::string_view(kind) != "dumb";
}

void prepareStandardOutput() {}

}  // namespace qvp
