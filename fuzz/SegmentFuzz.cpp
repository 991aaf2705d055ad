// A segment's file may have any size and content: what an earlier version left, or another program of this
// user. If somebody holds it, its content is shared as it is, else it is made anew.

#include "os/SharedSegment.h"

#include "Require.h"
#include "os/posix/PosixSupport.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

namespace {

using fuzz::require;
using os::SegmentFailure;

constexpr std::size_t kPage = 4096;

const std::string name = "fuzz" + std::to_string(getpid());
const std::string path = "/dev/shm/qv-" + std::to_string(geteuid()) + "-" + name + ".segment";

os::posix::Descriptor makeFile(const std::string& content, mode_t mode, bool isHeld) {
    os::posix::Descriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    require(file && fchmod(file.get(), mode) == 0);
    require(os::posix::writeAll(file.get(), content) == content.size());
    struct flock range {};
    range.l_type = F_RDLCK;
    range.l_whence = SEEK_SET;
    range.l_len = 1;
    require(!isHeld || fcntl(file.get(), F_OFD_SETLK, &range) == 0);
    return file;
}

bool isEqual(const char* memory, std::string expected, std::size_t size) {
    expected.resize(size);
    return std::memcmp(memory, expected.data(), size) == 0;
}

}  // namespace

// The first byte says who may access the file and whether it is held, the second one what size is wanted, the
// third and fourth what follows the bytes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 4) return 0;
    const bool isHeld = (data[0] & 1U) != 0;
    const mode_t mode = (data[0] & 6U) == 6 ? 0640 : 0600;
    const std::size_t wanted = 1 + data[1] % 4 * (kPage / 2);
    const std::size_t pages = (wanted + kPage - 1) / kPage * kPage;
    std::string content(data + 4, data + size);
    if (!content.empty()) content.insert(0, data[2] % 4 * kPage - data[2] % 2, '\xAA');
    content.append(data[3] % 4 * kPage, '\x55');

    const os::posix::Descriptor file = makeFile(content, mode, isHeld);
    os::SharedSegment segment;
    const SegmentFailure failure = segment.open(name, wanted);
    const bool isShared = isHeld && !content.empty();
    if (mode != 0600) {
        require(failure == SegmentFailure::taken);
    } else if (isShared && content.size() < kPage + pages) {
        require(failure == SegmentFailure::size);
    } else {
        require(failure == SegmentFailure::none);
        require(isEqual(static_cast<char*>(segment.data()), isShared ? content.substr(kPage) : "", pages));
    }
    segment.close();
    unlink(path.c_str());
    return 0;
}
