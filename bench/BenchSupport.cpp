#include "BenchSupport.h"

#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

#include <cstdlib>
#include <random>

namespace bench {
namespace {

void dropMessage(Qv::eLogLevel, const char* const, Qv::LogArgs) {}

// Adds the time of `count` calls and tells what the last of them found.
std::size_t measure(LeastTime& time, std::size_t count, Reader read, const std::string& text) {
    std::size_t found = 0;
    time.add(timePerCall(count, [&](std::size_t) { found = read(text); }));
    return found;
}

}  // namespace

void report(benchmark::State& state, const Row& row, const Sides& sides) {
    const auto put = [&](const char* field, double value) {
        state.counters[row.operation + ";" + row.peer + "|" + field] = value;
    };
    put("size", static_cast<double>(row.size));
    put("ours", sides.ours.value());
    put("peer", sides.peer.value());
    if (row.elements > 0) put("elements", static_cast<double>(row.elements));
    if (row.target.ratio > 0) put("target ratio", row.target.ratio);
    if (row.target.nanoseconds > 0) put("target time", row.target.nanoseconds);
}

void reportCount(benchmark::State& state, const std::string& operation, std::size_t size, std::size_t count) {
    state.counters[operation + ";|size"] = static_cast<double>(size);
    state.counters[operation + ";|count"] = static_cast<double>(count);
}

void compareReaders(benchmark::State& state, const std::string& operation, std::size_t callsPerTurn,
                    const std::string& text, std::size_t size, Reader ours, const std::vector<Peer>& peers,
                    Growth growth) {
    std::vector<Sides> sides(peers.size());
    for ([[maybe_unused]] auto turn : state) {
        for (std::size_t i = 0; i < peers.size(); ++i) {
            const std::size_t expected = measure(sides[i].ours, callsPerTurn, ours, text);
            const std::size_t found = measure(sides[i].peer, callsPerTurn, peers[i].read, text);
            if (found != 0 && found != expected) return state.SkipWithError(peers[i].name);
        }
    }
    const std::size_t elements = growth == Growth::shown ? size : 0;
    for (std::size_t i = 0; i < peers.size(); ++i)
        report(state, {operation, peers[i].name, size, {.ratio = peers[i].targetRatio}, elements}, sides[i]);
}

void check(bool succeeded) {
    if (!succeeded) std::abort();
}

int startProgram(std::vector<std::string> words, const std::string& output) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    pid_t child = 0;
    const int error = posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return error == 0 ? child : 0;
}

std::string randomBytes(std::size_t count) {
    std::mt19937 random(4);
    std::string bytes(count, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    return bytes;
}

Qv::LogHandler silenceLog() { return Qv::LogSetHandler(dropMessage); }

}  // namespace bench
