#pragma once

#include <unistd.h>

#include <utility>

namespace qvp {

/// Where a child finds its report stream.
inline constexpr int kReportDescriptor = 3;

/// An open file, closed at the end.
class Descriptor {
public:
    explicit Descriptor(int number) noexcept : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (number_ >= 0) close(number_);
    }

    int get() const noexcept { return number_; }

private:
    int number_;
};

}  // namespace qvp
