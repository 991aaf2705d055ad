// Base64 compared with other libraries and with a pass of the vector kernel over memory that is there
// already, which is the limit; and what a processor without these vectors runs, compared with the same
// libraries.

#include <QvPlatform/core/StringUtils.h>

#include "BenchSupport.h"

#include "core/Base64Paths.h"

#include <absl/strings/escaping.h>
#include <glib.h>
#include <modp_b64.h>
#include <openssl/evp.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

namespace StringUtils = QvSim::StringUtils;

constexpr std::size_t kMebibyte = 1024 * 1024;

const unsigned char* bytesOf(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

std::size_t encodeByUs(const std::string& bytes) { return StringUtils::base64Encode(bytes).size(); }
std::size_t decodeByUs(const std::string& text) { return StringUtils::base64Decode(text).size(); }

std::size_t encodeByTables(const std::string& bytes) {
    std::string text((bytes.size() + 2) / 3 * 4, '=');
    Qv::detail::kBase64ByTables.encode(bytes.data(), bytes.size(), text.data());
    return text.size();
}

std::size_t decodeByTables(const std::string& text) {
    const auto padding = static_cast<std::size_t>(std::count(text.end() - 2, text.end(), '='));
    std::string bytes(text.size() / 4 * 3, '\0');
    Qv::detail::kBase64ByTables.decode(text.data(), text.size(), bytes.data());
    bytes.resize(bytes.size() - padding);
    return bytes.size();
}

// Without the few bytes that its steps leave at the end.
std::size_t encodeByKernel(const std::string& bytes) {
    const auto text = std::make_unique_for_overwrite<char[]>((bytes.size() + 2) / 3 * 4);
    Qv::detail::base64ByAvx2()->encode(bytes.data(), bytes.size(), text.get());
    benchmark::DoNotOptimize(text.get());
    return 0;
}

std::size_t decodeByKernel(const std::string& text) {
    const auto bytes = std::make_unique_for_overwrite<char[]>(text.size() / 4 * 3);
    Qv::detail::base64ByAvx2()->decode(text.data(), text.size(), bytes.get());
    benchmark::DoNotOptimize(bytes.get());
    return 0;
}

std::size_t encodeByAbseil(const std::string& bytes) { return absl::Base64Escape(bytes).size(); }

std::size_t decodeByAbseil(const std::string& text) {
    std::string bytes;
    return absl::Base64Unescape(text, &bytes) ? bytes.size() : 0;
}

std::size_t encodeByModp(const std::string& bytes) { return modp::b64_encode(bytes).size(); }
std::size_t decodeByModp(const std::string& text) { return modp::b64_decode(text).size(); }

std::size_t encodeByOpenssl(const std::string& bytes) {
    std::string text((bytes.size() + 2) / 3 * 4, '\0');
    EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytesOf(bytes),
                    static_cast<int>(bytes.size()));
    return text.size();
}

std::size_t encodeByGlib(const std::string& bytes) {
    gchar* text = g_base64_encode(bytesOf(bytes), bytes.size());
    const std::size_t length = std::strlen(text);
    g_free(text);
    return length;
}

// What it decodes has the zero bytes that the padding stands for.
std::size_t decodeByOpenssl(const std::string& text) {
    const auto padding = static_cast<std::size_t>(std::count(text.end() - 2, text.end(), '='));
    std::string bytes(text.size() / 4 * 3, '\0');
    const int length = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()), bytesOf(text),
                                       static_cast<int>(text.size()));
    bytes.resize(static_cast<std::size_t>(length) - padding);
    return bytes.size();
}

std::size_t decodeByGlib(const std::string& text) {
    gsize length = 0;
    g_free(g_base64_decode(text.c_str(), &length));
    return length;
}

using Peers = std::vector<bench::Peer>;

const Peers kEncoders = {{"modp_b64", 1, encodeByModp},
                         {"OpenSSL", 1, encodeByOpenssl},
                         {"Abseil", 1, encodeByAbseil},
                         {"GLib", 1, encodeByGlib}};
const Peers kDecoders = {{"modp_b64", 1, decodeByModp},
                         {"OpenSSL", 1, decodeByOpenssl},
                         {"Abseil", 1, decodeByAbseil},
                         {"GLib", 1, decodeByGlib}};

// Without a kernel there is no limit. A short text spends a good part of its time on what the last step
// leaves.
Peers withLimit(Peers peers, std::size_t size, bench::Reader kernel) {
    const double ratio = size >= kMebibyte ? 2 : 2.2;
    if (kernel && Qv::detail::base64ByAvx2()) peers.push_back({"limit, AVX2 kernel", ratio, kernel});
    return peers;
}

void benchEncode(benchmark::State& state, const char* name, bench::Reader ours, bench::Reader kernel) {
    const auto size = static_cast<std::size_t>(state.range(0));
    bench::compareReaders(state, name, kMebibyte / size, bench::randomBytes(size), size, ours,
                          withLimit(kEncoders, size, kernel));
}

void benchDecode(benchmark::State& state, const char* name, bench::Reader ours, bench::Reader kernel) {
    const auto size = static_cast<std::size_t>(state.range(0));
    const std::string text = StringUtils::base64Encode(bench::randomBytes(size));
    bench::compareReaders(state, name, kMebibyte / size, text, size, ours,
                          withLimit(kDecoders, size, kernel));
}

void eachSize(benchmark::internal::Benchmark* row) { row->Arg(1024)->Arg(kMebibyte)->Iterations(40); }

BENCHMARK_CAPTURE(benchEncode, chosen, "base64 encode, by bytes", encodeByUs, encodeByKernel)
    ->Apply(eachSize);
BENCHMARK_CAPTURE(benchEncode, tables, "base64 encode, no vectors", encodeByTables, nullptr)->Apply(eachSize);
BENCHMARK_CAPTURE(benchDecode, chosen, "base64 decode, by bytes", decodeByUs, decodeByKernel)
    ->Apply(eachSize);
BENCHMARK_CAPTURE(benchDecode, tables, "base64 decode, no vectors", decodeByTables, nullptr)->Apply(eachSize);

}  // namespace
