// The two processes share a socket that keeps messages apart. A request is the current directory and the
// child's arguments, each with a zero byte at its end, together with its two descriptors; a message without
// descriptors asks to end the child. The answers are `Answer`; without one, no child was started. An ending
// that is asked for after the child has ended arrives between two requests, and is ignored.
//
// Before the zygote reaps a child it kills the child's process group: until then the system cannot give its
// number to another one. When the parent's side of the socket closes, the zygote ends its child and itself.

#include "child/posix/Zygote.h"

#include "child/Child.h"
#include "child/posix/Report.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <utility>

extern "C" {
#include <sys/pidfd.h>  // without a C++ guard of its own in some versions
}

namespace qvp {
namespace {

using os::posix::Descriptor;
using os::posix::retryOnInterrupt;

constexpr std::size_t kLongestRequest = std::size_t{128} << 10U;
constexpr const char* kZygoteArgument = "--child-zygote";

struct Answer {
    enum class Kind { started, ended };
    Kind kind;
    int value;  ///< the process number; the status
};

struct Request {
    std::string directory;
    std::vector<std::string> arguments;
    std::array<Descriptor, 2> streams;
};

/// Room for two descriptors, as the system wants them.
struct Attachment {
    explicit Attachment(msghdr& message) {
        message.msg_control = bytes;
        message.msg_controllen = sizeof bytes;
    }
    static constexpr std::size_t kSize = 2 * sizeof(int);
    alignas(cmsghdr) char bytes[CMSG_SPACE(kSize)] = {};
};

bool sendRequest(int socket, std::string text, const std::array<int, 2>& streams) {
    iovec part{text.data(), text.size()};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    Attachment attachment(message);
    cmsghdr* const header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(Attachment::kSize);
    std::memcpy(CMSG_DATA(header), streams.data(), Attachment::kSize);
    return retryOnInterrupt([&] { return sendmsg(socket, &message, MSG_NOSIGNAL); }) != -1;
}

std::vector<std::string> splitAtZeros(const std::string& text) {
    std::vector<std::string> parts;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = text.find('\0', begin);
        parts.push_back(text.substr(begin, end - begin));
        begin = end == std::string::npos ? text.size() : end + 1;
    }
    return parts;
}

// Nothing when the other side has closed the socket. Without streams it is no request for a child.
std::optional<Request> receiveRequest(int socket) {
    std::string text(kLongestRequest, '\0');
    iovec part{text.data(), text.size()};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    Attachment attachment(message);
    const ssize_t size = retryOnInterrupt([&] { return recvmsg(socket, &message, MSG_CMSG_CLOEXEC); });
    if (size <= 0) return std::nullopt;
    Request request;
    const cmsghdr* const header = CMSG_FIRSTHDR(&message);
    if (!header || header->cmsg_len != CMSG_LEN(Attachment::kSize)) return request;
    std::array<int, 2> numbers{};
    std::memcpy(numbers.data(), CMSG_DATA(header), Attachment::kSize);
    for (std::size_t i = 0; i < numbers.size(); ++i) request.streams.at(i) = Descriptor(numbers.at(i));
    text.resize(static_cast<std::size_t>(size));
    request.arguments = splitAtZeros(text);
    request.directory = std::move(request.arguments.front());
    request.arguments.erase(request.arguments.begin());
    return request;
}

void answer(Answer::Kind kind, int value) {
    const Answer message{kind, value};
    if (send(kReportDescriptor, &message, sizeof message, MSG_NOSIGNAL) < 0) _exit(0);
}

[[noreturn]] void runChild(const Request& request, void (*run)(const std::vector<std::string>&)) {
    setpgid(0, 0);
    dup2(request.streams[0].get(), STDOUT_FILENO);
    dup2(request.streams[0].get(), STDERR_FILENO);
    dup2(request.streams[1].get(), kReportDescriptor);
    closefrom(kReportDescriptor + 1);
    [[maybe_unused]] const int ignored = chdir(request.directory.c_str());
    run(request.arguments);
    endChild(0);
}

// Returns when the child has ended, which it is made to do as soon as the parent writes or leaves.
int superviseAndReap(pid_t child) {
    const Descriptor process(pidfd_open(child, 0));
    std::array<pollfd, 2> awaited{pollfd{process.get(), POLLIN, 0}, pollfd{kReportDescriptor, POLLIN, 0}};
    if (process) retryOnInterrupt([&] { return poll(awaited.data(), awaited.size(), -1); });
    // It stays a zombie until it is reaped, so both numbers are still its own.
    kill(-child, SIGKILL);
    kill(child, SIGKILL);
    int status = 0;
    retryOnInterrupt([&] { return waitpid(child, &status, 0); });
    return status;
}

// Of each child, on top of what the zygote has, which with a checker is much.
void limitMemory() {
    std::ifstream sizes("/proc/self/statm");
    std::size_t pages = 0;
    for (int column = 0; column < 6; ++column) sizes >> pages;  // the sixth: data and stack
    if (!sizes) return;
    const rlim_t most = pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) + kMemoryLimit;
    const rlimit limit{most, most};
    setrlimit(RLIMIT_DATA, &limit);
}

int spawnZygote(int socket, pid_t& pid) {
    os::posix::SpawnSettings settings(POSIX_SPAWN_SETPGROUP);
    posix_spawn_file_actions_t* const actions = settings.actions();
    posix_spawn_file_actions_adddup2(actions, socket, kReportDescriptor);
    posix_spawn_file_actions_addopen(actions, STDIN_FILENO, "/dev/null", O_RDWR, 0);
    posix_spawn_file_actions_adddup2(actions, STDIN_FILENO, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(actions, STDIN_FILENO, STDERR_FILENO);
    posix_spawn_file_actions_addclosefrom_np(actions, kReportDescriptor + 1);
    return settings.spawn("/proc/self/exe", {program_invocation_name, kZygoteArgument}, environ, pid);
}

std::vector<std::unique_ptr<Zygote>>& idleZygotes() {
    static std::vector<std::unique_ptr<Zygote>> idle;
    return idle;
}

}  // namespace

void serveAsChild(const std::vector<std::string>& arguments, void (*run)(const std::vector<std::string>&)) {
    if (arguments != std::vector<std::string>{kZygoteArgument}) return;
    fcntl(kReportDescriptor, F_SETFD, FD_CLOEXEC);
    limitMemory();
    while (const std::optional<Request> request = receiveRequest(kReportDescriptor)) {
        if (request->arguments.empty()) continue;
        const pid_t child = fork();
        if (child == 0) runChild(*request, run);
        if (child < 0) _exit(1);
        setpgid(child, child);
        answer(Answer::Kind::started, child);
        answer(Answer::Kind::ended, superviseAndReap(child));
    }
    _exit(0);
}

std::unique_ptr<Zygote> Zygote::take(int& error) {
    std::vector<std::unique_ptr<Zygote>>& idle = idleZygotes();
    if (!idle.empty()) {
        std::unique_ptr<Zygote> zygote = std::move(idle.back());
        idle.pop_back();
        return zygote;
    }
    std::array<int, 2> ends{-1, -1};
    error = socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) == 0 ? 0 : errno;
    Descriptor own(ends[0]);
    const Descriptor other(ends[1]);
    pid_t pid = 0;
    if (error == 0) error = spawnZygote(other.get(), pid);
    if (error != 0) return nullptr;
    return std::unique_ptr<Zygote>(new Zygote(pid, std::move(own)));
}

void Zygote::release(std::unique_ptr<Zygote> zygote) {
    if (!zygote->isLost_) idleZygotes().push_back(std::move(zygote));
}

Zygote::~Zygote() {
    socket_ = Descriptor();
    retryOnInterrupt([&] { return waitpid(pid_, nullptr, 0); });
}

int Zygote::start(const std::vector<std::string>& arguments, int output, int report) {
    const os::posix::MallocText directory(getcwd(nullptr, 0));
    std::string text = (directory ? directory.get() : ".") + std::string(1, '\0');
    for (const std::string& argument : arguments) text += argument + '\0';
    child_ = 0;
    status_.reset();
    if (text.size() > kLongestRequest) return E2BIG;
    return sendRequest(socket_.get(), std::move(text), {output, report}) ? 0 : errno;
}

// A zygote that dies takes its child with it.
void Zygote::readMessages(bool waits) {
    while (!status_) {
        Answer message{};
        const ssize_t size = retryOnInterrupt(
            [&] { return recv(socket_.get(), &message, sizeof message, waits ? 0 : MSG_DONTWAIT); });
        if (size < 0 && errno == EAGAIN) return;
        if (size != sizeof message) {
            isLost_ = true;
            status_ = SIGKILL;
        } else if (message.kind == Answer::Kind::started) {
            child_ = message.value;
        } else {
            status_ = message.value;
        }
    }
}

int Zygote::end() {
    collect();
    if (!status_) {
        send(socket_.get(), "", 1, MSG_NOSIGNAL);
        readMessages(true);
    }
    return *status_;
}

}  // namespace qvp
