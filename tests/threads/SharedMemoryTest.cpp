#include <QvPlatform/system/Process.h>

#include "support/ChildProgram.h"
#include "support/LogCapture.h"
#include "support/SharedSegment.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <future>

#ifndef _WIN32
#include "support/ForkAsNobody.h"

#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#endif

namespace {

namespace Process = QvSim::Process;
using support::kWindows;
using Word = support::SharedSegment<support::SharedWord>;
using Block = support::SharedSegment<support::SharedBlock>;
using Strings = std::vector<std::string>;

// Sanitizers run on unoptimised builds, and starting a process is expensive on Windows.
#ifdef NDEBUG
constexpr int kDeaths = kWindows ? 100 : 800, kProcesses = kWindows ? 20 : 50;
#else
constexpr int kDeaths = 100, kProcesses = 10;
#endif
const std::string kNoFile = "3 SharedMemory::open - failed to create shared memory file\n";

// The messages since the last call, each after its level.
Strings takeLog() {
    Strings texts;
    for (const support::LogMessage& message : support::LogCapture::take())
        texts.push_back(std::to_string(message.level) + " " + message.text);
    return texts;
}

bool isReset(const Word& segment) {
    return !segment.isOpen() && !segment.data() && segment.key().empty() && segment.size() == 0;
}

void expectRefused(const std::string& key, std::size_t size, const std::string& message) {
    takeLog();
    Word segment;
    EXPECT_FALSE(segment.open(key, size)) << key << " " << size;
    EXPECT_TRUE(isReset(segment));
    EXPECT_EQ(takeLog(), Strings{message});
}

// The files of the segments whose keys contain the text; Windows has none.
Strings filesOf(const std::string& text) {
    Strings names;
    for (const auto& entry : std::filesystem::directory_iterator(kWindows ? "." : "/dev/shm"))
        names.push_back(support::textOf(entry.path().filename()));
    std::erase_if(names, [&](const std::string& name) { return name.find(text) == std::string::npos; });
    return names;
}

// Expects another thread to wait for the lock until `release` is called.
template <typename Release>
void expectLockedUntil(QvPlatform::SharedMemoryBase& segment, Release release) {
    auto acquisition = std::async(std::launch::async, [&] { const std::lock_guard guard(segment); });
    EXPECT_EQ(acquisition.wait_for(std::chrono::milliseconds(30)), std::future_status::timeout);
    release();
}

// Runs `work` with 0 to `count` - 1 at once.
template <typename Work>
void onThreads(int count, Work work) {
    std::vector<std::future<void>> threads;
    for (int i = 0; i < count; ++i) threads.push_back(std::async(std::launch::async, work, i));
}

class SharedMemory : public testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(filesOf(key_), Strings()); }

    const std::string key_ = "qvTest" + std::to_string(getpid()) + "x";
    const support::LogCapture capture_;
};

TEST_F(SharedMemory, isOneForAllWhoOpenItsKey) {
    Word first, second;
    EXPECT_TRUE(isReset(first));
    ASSERT_TRUE(first.open(key_, 100));
    *first = 5;
    EXPECT_FALSE(first.open(key_ + "other", 50));
    EXPECT_EQ(takeLog(),
              (Strings{"5 SharedMemory::open - Opened shared memory segment '" + key_ + "' of size '100'\n",
                       "3 SharedMemory::open: called while already open"}));
    EXPECT_TRUE(first.key() == key_ && first.size() == 100);
    expectRefused(key_, 4097, "3 SharedMemory::open - shared memory segment does not meet requested size\n");
    ASSERT_TRUE(second.open(key_, 4096));
    for (int i = 0; i < 2; ++i) first.close();
    EXPECT_TRUE(isReset(first));
    EXPECT_EQ(*second, 5U);
    second.close();
    ASSERT_TRUE(first.open(key_, 20'000'000));
    EXPECT_EQ(*first, 0U);
    expectRefused(key_, 21'000'000,
                  "3 SharedMemory::open - shared memory segment does not meet requested size\n");
}

TEST_F(SharedMemory, isRefusedWhenTheSystemCannotGiveIt) {
    for (const std::size_t size : {std::size_t{0}, kWindows ? 0 : SIZE_MAX})
        expectRefused(key_, size, kNoFile);
    if (kWindows)
        expectRefused(key_ + "\\x", 1, "3 SharedMemory::open - failed to create named Mutex object");
}

TEST_F(SharedMemory, isAnotherForEveryKey) {
    Strings ends(1, std::string(200, '/'));
    for (const std::size_t length : {254U, 255U, 256U, 1000U, 1001U})
        ends.emplace_back(length - key_.size(), 'k');
    for (const char* end :
         {"", "a", "A", "a/b", "a%2Fb", "a%2fb", "%", "%25", " ", " b c ", "\xC3\xA9\xE5\x90\x8D", ".", "/..",
          "/../..", "a\nb", ".segment", ".gate", kWindows ? "windows" : "_mutex"})
        ends.emplace_back(end);
    std::vector<Word> words(ends.size());
    for (std::size_t i = 0; i < ends.size(); ++i)
        EXPECT_TRUE(words[i].open(key_ + ends[i]) && words[i]->exchange(1) == 0) << ends[i];
}

TEST_F(SharedMemory, isLockedByOneThreadAnyNumberOfTimes) {
    Word first, second;
    first.lock();
    first.unlock();
    for (const std::string& key : {std::string(), key_}) {
        for (Word* word : {&first, &second}) word->close();
        ASSERT_TRUE(first.open(key) && second.open(key));
        *first = 1;
        EXPECT_EQ(*second, key.empty() ? 0U : 1U);  // without a key they share only the lock
        for (Word* word : {&first, &first, &second}) word->lock();
        for (Word* word : {&first, &second}) word->unlock();
        expectLockedUntil(second, [&] { first.unlock(); });
        Word third;
        ASSERT_TRUE(third.open(key));
        for (Word* word : {&first, &second, &first}) word->lock();
        if (kWindows) first.unlock();  // on Windows a closed segment stays locked
        if (kWindows) first.unlock();
        first.close();
        expectLockedUntil(third, [&] { second.unlock(); });
    }
}

TEST_F(SharedMemory, passesFromAThreadThatEndedWithTheLock) {
    for (const bool isClosedByItself : {true, false}) {
        Word first, second, third;
        ASSERT_TRUE(first.open(key_) && second.open(key_) && third.open(key_));
        onThreads(1, [&](int) {
            for (Word* word : {&first, &second}) word->lock();
            if (isClosedByItself) first.close();
        });
        for (Word* word : {&first, &second}) word->close();
        third.lock();
        ASSERT_TRUE(first.open(key_));
        expectLockedUntil(first, [&] { third.unlock(); });
    }
}

TEST_F(SharedMemory, keepsNothingOfProcessesThatAreKilledAtAnyMoment) {
    onThreads(2, [this](int lane) {
        const bool forks = lane == 1 && !kWindows;
        const auto holds =
            [=](auto condition) {  // a forked process keeps its resources longer than the killed one
                return forks ? support::comesTrue(condition) : condition();
            };
        const std::string key = key_ + std::to_string(lane), words = forks ? " forks" : "";
        Word counter;
        ASSERT_TRUE(counter.open(key + "counter"));
        for (int death = 0; death < kDeaths / 2; ++death) {
            const bool isAlone = death % 2 == 0;
            Block holder, next;
            ASSERT_TRUE(isAlone || holder.open(key + "block"));
            if (!isAlone) holder->back() = 'h';
            *counter = 0;
            auto* child = Process::execute(support::childProgram(),
                                           "churn " + key + "block " + key + "counter" + words);
            support::comesTrue([&] { return *counter > 0; });
            std::this_thread::sleep_for(std::chrono::microseconds(death * 7 % 300));
            Process::kill(child);
            Process::destroyProcessHandle(child);
            ASSERT_GT(*counter, 0U);
            ASSERT_TRUE(holds([&] { return next.isOpen() || next.open(key + "block"); }));
            next.lock();
            next.unlock();
            next.lock();
            ASSERT_TRUE(isAlone ? *next == support::SharedBlock{} : next->back() == 'h');
            if (death % 10 == 1) expectLockedUntil(holder, [&] { next.unlock(); });
            for (Block* block : {&next, &holder}) block->close();
            ASSERT_TRUE(holds([&] {
                if (forks && next.open(key + "block")) next.close();
                return filesOf(key + "block").empty();
            }));
        }
    });
}

TEST_F(SharedMemory, hasOneGenerationAtATime) {
    support::SharedSegment<support::Meeting> meeting;
    ASSERT_TRUE(meeting.open(key_ + "meeting"));
    onThreads(kProcesses, [this](int) {
        const std::string words = "meet " + key_ + " " + key_ + "meeting " + std::to_string(kProcesses);
        std::int64_t exitCode = -1;
        EXPECT_TRUE(Process::shellExecute(support::childProgram(), words, false, true, &exitCode));
        EXPECT_EQ(exitCode, 0);
    });
    EXPECT_EQ(meeting->visits, 100U * kProcesses);
}

#ifndef _WIN32
TEST_F(SharedMemory, trustsNoFileThatOthersMayHaveMade) {
    namespace fs = std::filesystem;
    const std::string file = "/dev/shm/qv-" + std::to_string(geteuid()) + "-" + key_ + ".segment";
    const std::string own = "/dev/shm/own" + key_;
    const std::vector<std::function<void()>> plants{
        [&] { support::writeFile(file); },  // anybody may read it
        [&] { fs::create_directory(file); },
        [&] { ASSERT_EQ(mkfifo(file.c_str(), 0600), 0); },
        [&] { fs::create_symlink(own, file); },
        [&] { fs::create_hard_link(own, file); },
        [&] {
            support::writeFile(file);
            fs::permissions(file, fs::perms(0600));
            ASSERT_TRUE(geteuid() != 0 || chown(file.c_str(), 65534, 65534) == 0);
        }};
    for (std::size_t i = 0; i < plants.size() - (geteuid() == 0 ? 0 : 1); ++i) {
        support::writeFile(own);
        fs::permissions(own, fs::perms(0600));
        plants[i]();
        expectRefused(key_, 1,
                      "3 SharedMemory::open - another user may have made the file that has the segment's "
                      "name\n");
        EXPECT_TRUE(fs::exists(fs::symlink_status(file))) << i;
        EXPECT_EQ(support::readFile(own), "content") << i;
        EXPECT_TRUE(!fs::is_regular_file(file) || support::readFile(file) == "content") << i;
        fs::remove(file);
        fs::remove(own);
    }
    Word segment;
    EXPECT_TRUE(segment.open(key_));
}

TEST_F(SharedMemory, isRefusedBeyondTheLimitOfFiles) {
    support::inFork([this] {
        const rlimit limit{8192, 8192};
        setrlimit(RLIMIT_FSIZE, &limit);
        expectRefused(key_, 9000, kNoFile);
    });
}

TEST_F(SharedMemory, isRefusedByAFullMemoryFileSystem) {
    if (unshare(CLONE_NEWNS) != 0 || mount("", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", "/dev/shm", "tmpfs", 0, "size=64k") != 0)
        GTEST_SKIP() << "may not mount";
    support::writeFile("/dev/shm/filling", std::string(40'000, 'x'));
    expectRefused(key_, 60'000, kNoFile);
    EXPECT_EQ(filesOf(""), Strings{"filling"});
    std::filesystem::remove("/dev/shm/filling");
    Word segment;
    EXPECT_TRUE(segment.open(key_ + std::string(1000, 'k'), 40'000));
    for (const std::string& name : filesOf(""))
        EXPECT_EQ(std::filesystem::status("/dev/shm/" + name).permissions(), std::filesystem::perms(0600));
    segment.close();
    EXPECT_EQ(filesOf(""), Strings());
    umount2("/dev/shm", MNT_DETACH);
}
#endif

}  // namespace
