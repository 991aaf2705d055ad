#include "os/WriteFile.h"

#include <fstream>

namespace qvp {

bool writeFile(const std::string& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary);
    file << content;
    return bool(file.flush());
}

}  // namespace qvp
