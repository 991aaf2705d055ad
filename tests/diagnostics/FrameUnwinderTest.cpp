#include "os/posix/stack/FileIdentity.h"
#include "os/posix/stack/FrameUnwinder.h"
#include "os/posix/stack/LoadedFile.h"
#include "os/posix/stack/ThreadInterrupt.h"
#include "support/DeniedCalls.h"
#include "support/ForkAsNobody.h"
#include "support/Platform.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <link.h>
#include <sys/mman.h>
#include <sys/syscall.h>

#include <algorithm>
#include <bit>
#include <random>
#include <thread>
#include <vector>

// Functions that keep their caller's %rbp, change it, and call back. Each has another rule for where it is.
asm(R"(
    .text
    .macro keeper name, rule:vararg
\name:
    .cfi_startproc
    push %rbp
    .cfi_adjust_cfa_offset 8
    push %rbx
    .cfi_adjust_cfa_offset 8
    .cfi_rel_offset %rbx, 0
    mov %rbp, %rbx
    .cfi_escape \rule
    sub $8, %rsp
    .cfi_adjust_cfa_offset 8
    xor %ebp, %ebp
    call *%rdi
    add $8, %rsp
    .cfi_adjust_cfa_offset -8
    pop %rbx
    .cfi_adjust_cfa_offset -8
    pop %rbp
    .cfi_adjust_cfa_offset -8
    ret
    .cfi_endproc
    .endm

    keeper savedAtComputed, 0x10, 6, 2, 0x40, 0x1c  # where the frame's address minus 16 points to
    keeper inRegister, 0x09, 6, 3                   # in %rbx
    keeper atOffset, 0x15, 6, 0x7e                  # the frame's address plus 16
    keeper computed, 0x16, 6, 2, 0x23, 16           # the same
    keeper readFrom, 0x16, 6, 3, 0x40, 0x1c, 0x06   # what the frame's address minus 16 points to

withFrame:
    .cfi_startproc
    push %rbp
    .cfi_adjust_cfa_offset 8
    .cfi_rel_offset %rbp, 0
    mov %rsp, %rbp
    .cfi_def_cfa_register %rbp
    sub $16, %rsp
    call *%rsi
    leave
    .cfi_def_cfa %rsp, 8
    ret
    .cfi_endproc
)");

extern "C" {
using CallBack = void();
void savedAtComputed(CallBack* callBack);
void inRegister(CallBack* callBack);
void atOffset(CallBack* callBack);
void computed(CallBack* callBack);
void readFrom(CallBack* callBack);
void withFrame(CallBack* callBack, void (*keeper)(CallBack*));
}

namespace {

using os::posix::FrameAddress;
using os::posix::FrameUnwinder;
using os::posix::LocalMemory;

volatile int sink = 0;

std::vector<std::uintptr_t> walk(const ucontext_t& context, int& error) {
    FrameUnwinder unwinder(context);
    std::vector<std::uintptr_t> frames;
    error = os::posix::walkOutwards(unwinder, [&](const FrameAddress& frame) {
        if (frames.size() == 1000) return false;
        frames.push_back(frame.programCounter);
        return true;
    });
    return frames;
}

[[gnu::noinline]] void descend(int levels, std::vector<std::uintptr_t>& frames, int& error) {
    if (levels > 0) {
        descend(levels - 1, frames, error);
    } else {
        ucontext_t context;
        getcontext(&context);
        frames = walk(context, error);
    }
    sink = levels;
}

TEST(FrameUnwinder, findsTheSameFramesBeforeAndAfterTheyAreCached) {
    std::vector<std::uintptr_t> frames[3];
    for (auto& found : frames) {
        int error = -1;
        descend(20, found, error);
        EXPECT_EQ(error, 0);
        EXPECT_GT(found.size(), 20U);
    }
    dl_find_object file;
    ASSERT_EQ(_dl_find_object(std::bit_cast<void*>(frames[0].front()), &file), 0);
    EXPECT_NE(os::posix::fileIdentity(file), 0U);  // else nothing is cached
    // The loop's own frame must be the same, too.
    EXPECT_EQ(frames[0], frames[1]);
    EXPECT_EQ(frames[1], frames[2]);
}

TEST(FrameUnwinder, followsRulesThatCompilersSeldomUse) {
    static std::vector<std::uintptr_t> frames;
    static int error;
    using Keeper = void(CallBack*);
    Keeper* const keepers[] = {savedAtComputed, inRegister, atOffset, computed, readFrom};
    for (int i = 0; i < 15; ++i) {  // each again when some frames are cached
        Keeper* const keeper = keepers[i % 5];
        std::vector<std::uintptr_t> outer;
        descend(0, outer, error);
        withFrame([] { descend(0, frames, error); }, keeper);
        EXPECT_EQ(error, 0);
        ASSERT_GT(frames.size(), outer.size());
        EXPECT_TRUE(
            std::equal(outer.begin() + 2, outer.end(), frames.end() - (outer.end() - outer.begin() - 2)));
    }
}

// A thread's own stack is read directly, any other through the kernel.
void walkBothWays() {
    std::vector<std::uintptr_t> direct;
    const auto take = [&](const FrameAddress& frame) {
        direct.push_back(frame.programCounter);
        return direct.size() < 1000;
    };
    EXPECT_EQ(os::posix::walkFromHere(take), 0);
    std::vector<std::uintptr_t> copied;
    int error = -1;
    descend(0, copied, error);
    EXPECT_EQ(error, 0);
    ASSERT_GE(direct.size(), 2U);
    ASSERT_GE(copied.size(), 2U);
    // Only the frames of this function and below differ.
    const auto commonEnd = std::mismatch(direct.rbegin(), direct.rend(), copied.rbegin(), copied.rend());
    EXPECT_LE(direct.rend() - commonEnd.first, 2);
    EXPECT_LE(copied.rend() - commonEnd.second, 3);
}

TEST(FrameUnwinder, findsTheSameFramesWithoutTheKernel) {
    for (int i = 0; i < 2; ++i) walkBothWays();
    std::thread(walkBothWays).join();
}

TEST(FrameUnwinder, needsNoPermissionToReadTheStack) {
    support::inFork([] {
        support::denyCalls({SYS_process_vm_readv});
        walkBothWays();
    });
}

TEST(FrameUnwinder, asksTheSystemNothingAboutWhatItKnows) {
    support::inFork([] {
        std::size_t frames[] = {0, 0};
        for (std::size_t& count : frames) {
            const auto take = [&](const FrameAddress&) { return ++count < 1000; };
            EXPECT_EQ(os::posix::walkFromHere(take), 0);
            if (&count == frames) support::denyCalls({SYS_process_vm_readv, SYS_rt_sigprocmask}, EFAULT);
        }
        EXPECT_EQ(frames[1], frames[0]);
    });
}

TEST(FrameUnwinder, walksAStackThatTheThreadMadeItself) {
    static std::size_t count;
    static int error;
    ucontext_t here;
    ucontext_t other;
    std::vector<char> stack(std::size_t{1} << 18U);
    ASSERT_EQ(getcontext(&other), 0);
    other.uc_stack.ss_sp = stack.data();
    other.uc_stack.ss_size = stack.size();
    other.uc_link = &here;
    makecontext(
        &other, [] { error = os::posix::walkFromHere([](const FrameAddress&) { return ++count < 100; }); },
        0);
    count = 0;
    ASSERT_EQ(swapcontext(&here, &other), 0);
    EXPECT_GE(count, 2U);
    EXPECT_LT(count, 10U);
    EXPECT_TRUE(error == 0 || error == ENODATA || error == EFAULT) << error;
}

struct EndlessStack {
    static std::uintptr_t programCounter() { return 1; }
    static bool isInterrupted() { return false; }
    static int up() { return 0; }
};

TEST(FrameUnwinder, saysThatThereWasNoRoomForAllFrames) {
    EndlessStack stack;
    std::size_t count = 0;
    EXPECT_EQ(os::posix::walkOutwards(stack, [&](const FrameAddress&) { return ++count <= 100; }), E2BIG);
    EXPECT_EQ(count, 101U);
}

TEST(LocalMemory, doesNotFaultWhereNothingIs) {
    constexpr std::size_t kPage = 4096;
    auto* const pages = static_cast<char*>(
        mmap(nullptr, 2 * kPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    const auto begin = reinterpret_cast<std::uintptr_t>(pages);
    ASSERT_EQ(mprotect(pages + kPage, kPage, PROT_NONE), 0);
    std::uintptr_t word = 1;
    EXPECT_TRUE(LocalMemory().read(begin + kPage - 8, word));
    EXPECT_EQ(word, 0U);
    EXPECT_TRUE(LocalMemory::isReadable(begin + kPage - 8));
    for (const std::uintptr_t address : {std::uintptr_t{0}, std::uintptr_t{8}, ~std::uintptr_t{7},
                                         std::uintptr_t{1} << 63U, begin + kPage, begin + kPage - 4})
        EXPECT_FALSE(LocalMemory().read(address, word) || LocalMemory::isReadable(address)) << address;
    munmap(pages, 2 * kPage);
    EXPECT_FALSE(LocalMemory().read(begin, word));
}

struct Code {
    std::uintptr_t begin, size;
};

[[gnu::noinline]] void takeRegisters(ucontext_t& context) { getcontext(&context); }

// Registers as a crash may leave them: anything, at any instruction of the loaded files.
TEST(FrameUnwinder, survivesAnyRegisters) {
    std::vector<Code> code;
    dl_iterate_phdr(
        [](dl_phdr_info* info, std::size_t, void* found) {
            for (int i = 0; i < info->dlpi_phnum; ++i) {
                const auto& header = info->dlpi_phdr[i];
                if (header.p_type == PT_LOAD && (header.p_flags & PF_X) != 0)
                    static_cast<std::vector<Code>*>(found)->push_back(
                        {info->dlpi_addr + header.p_vaddr, header.p_memsz});
            }
            return 0;
        },
        &code);
    std::mt19937_64 random(1);
    std::size_t frames = 0;
    for (int i = 0; i < 20'000; ++i) {
        ucontext_t context;
        takeRegisters(context);
        const auto here = reinterpret_cast<std::uintptr_t>(&context);
        for (int r = 0; r < REG_RIP; ++r) {
            const std::uint64_t values[] = {0, random(), here + random() % 4096, random() % 65536,
                                            0 - random() % 65536};
            context.uc_mcontext.gregs[r] = static_cast<greg_t>(values[random() % std::size(values)]);
        }
        const Code& part = code[random() % code.size()];
        context.uc_mcontext.gregs[REG_RIP] = static_cast<greg_t>(part.begin + random() % part.size);
        int error = 0;
        frames += walk(context, error).size();
    }
    EXPECT_GE(frames, 20'000U);
}

// Otherwise names of the first one would be shown for the later one, which takes its place in memory.
TEST(LoadedFile, isToldFromAnotherWithoutIdentifier) {
    std::vector<std::uint64_t> identities;
    std::vector<void*> records;
    const auto folder = support::textOf(std::filesystem::canonical("/proc/self/exe").parent_path());
    for (const std::string name : {"first", "later"}) {
        void* const handle = dlopen((folder + "/test-plugins/" + name + ".so").c_str(), RTLD_NOW);
        ASSERT_TRUE(handle) << dlerror();
        const os::posix::LoadedFile file(std::bit_cast<std::uintptr_t>(dlsym(handle, "callBack")));
        identities.push_back(file.identity());
        records.push_back(handle);
        dlclose(handle);
    }
    EXPECT_TRUE(records[0] == records[1] || support::kAddressSanitizer);  // which gives no memory again
    EXPECT_NE(identities[0], identities[1]);
}

}  // namespace
