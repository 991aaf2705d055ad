#include "BenchSupport.h"

#include <QvPlatform/diagnostics/Log.h>

namespace bench {
namespace {

void dropMessage(Qv::eLogLevel, const char* const, Qv::LogArgs) {}

}  // namespace

void report(benchmark::State& state, const Row& row, const Sides& sides) {
    const auto put = [&](const char* field, double value) {
        state.counters[row.operation + ";" + row.peer + "|" + field] = value;
    };
    put("size", static_cast<double>(row.size));
    put("ours", sides.ours.value());
    put("peer", sides.peer.value());
    if (row.target.ratio > 0) put("target ratio", row.target.ratio);
    if (row.target.nanoseconds > 0) put("target time", row.target.nanoseconds);
}

void reportCount(benchmark::State& state, const std::string& operation, std::size_t size, std::size_t count) {
    state.counters[operation + ";|size"] = static_cast<double>(size);
    state.counters[operation + ";|count"] = static_cast<double>(count);
}

void silenceLog() { Qv::LogSetHandler(dropMessage); }

}  // namespace bench
