// Prints what a minidump tells: the exception, with its module and the offset in it, and the modules.
//   readDump FILE

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace {

/// Reads past the end throw.
class Dump {
public:
    explicit Dump(const char* path) {
        std::ifstream file(path, std::ios::binary);
        bytes_.assign(std::istreambuf_iterator<char>(file), {});
    }

    template <typename Number>
    Number at(std::size_t offset) const {
        if (offset > bytes_.size() || bytes_.size() - offset < sizeof(Number))
            throw std::runtime_error("the file is cut at " + std::to_string(bytes_.size()));
        Number number{};
        std::memcpy(&number, bytes_.data() + offset, sizeof number);
        return number;
    }

    /// Where a stream's content is.
    std::size_t stream(std::uint32_t type) const {
        constexpr std::uint32_t kSignature = 0x504d444d;
        if (at<std::uint32_t>(0) != kSignature) throw std::runtime_error("no minidump");
        const std::size_t directory = at<std::uint32_t>(12);
        for (std::size_t i = 0; i < at<std::uint32_t>(8); ++i)
            if (at<std::uint32_t>(directory + 12 * i) == type)
                return at<std::uint32_t>(directory + 12 * i + 8);
        throw std::runtime_error("no stream " + std::to_string(type));
    }

    /// The last part of a path, without characters that are not ASCII.
    std::string fileName(std::size_t offset) const {
        std::string name;
        for (std::size_t i = 0; i < at<std::uint32_t>(offset) / 2; ++i) {
            const auto unit = at<std::uint16_t>(offset + 4 + 2 * i);
            if (unit == '\\')
                name.clear();
            else if (unit < 0x80)
                name += static_cast<char>(unit);
        }
        return name;
    }

private:
    std::string bytes_;
};

void print(const Dump& dump) {
    constexpr std::uint32_t kModules = 4;
    constexpr std::uint32_t kException = 6;
    constexpr std::size_t kModuleSize = 108;
    const std::size_t exception = dump.stream(kException);
    const auto address = dump.at<std::uint64_t>(exception + 24);
    std::printf("exception 0x%08x\n", static_cast<unsigned>(dump.at<std::uint32_t>(exception + 8)));
    const std::size_t modules = dump.stream(kModules);
    for (std::size_t i = 0; i < dump.at<std::uint32_t>(modules); ++i) {
        const std::size_t module = modules + 4 + kModuleSize * i;
        const std::string name = dump.fileName(dump.at<std::uint32_t>(module + 20));
        const std::uint64_t offset = address - dump.at<std::uint64_t>(module);
        std::printf("module %s\n", name.c_str());
        if (offset < dump.at<std::uint32_t>(module + 8))
            std::printf("in %s+0x%llx\n", name.c_str(), static_cast<unsigned long long>(offset));
    }
}

}  // namespace

int main(int argc, char** argv) {
    try {
        print(Dump(argc > 1 ? argv[1] : ""));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
