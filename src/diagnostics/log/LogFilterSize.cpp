#include "diagnostics/log/LogFilterSize.h"

#include <algorithm>
#include <cctype>
#include <regex>
#include <vector>

namespace Qv::detail {
namespace {

[[noreturn]] void refuse() { throw std::regex_error(std::regex_constants::error_complexity); }

// Follows the standard library's scanner, but accepts any text, including what the scanner rejects.
class Measure {
public:
    explicit Measure(std::string_view expression) : rest_(expression) {}

    FilterSize run() {
        while (!rest_.empty()) step(take());
        while (groups_.size() > 1) close();
        return {groups_.front().before + groups_.front().atom, longestLoop_};
    }

private:
    // The part of a group before its last atom, and that atom, to which a quantifier applies.
    struct Group {
        std::size_t before = 0;
        std::size_t atom = 0;
    };

    char take() {
        const char c = rest_.front();
        rest_.remove_prefix(1);
        return c;
    }
    bool takeIf(char c) {
        const bool isNext = !rest_.empty() && rest_.front() == c;
        if (isNext) rest_.remove_prefix(1);
        return isNext;
    }

    void step(char c) {
        switch (c) {
            case '(':
                return open();
            case ')':
                return close();
            case '[':
                return add(bracketSize());
            case '{':
                return repeat();
            case '*':
            case '+':
                return loop();
            case '?':
                return grow(1);
            case '\\':
                return add(escapeSize());
            default:
                return add(1);
        }
    }

    // The standard library computes the number of a back reference without looking for overflow.
    std::size_t escapeSize() {
        const std::size_t before = rest_.size();
        const bool isReference = !rest_.empty() && rest_.front() >= '1' && rest_.front() <= '9';
        if (isReference && takeNumber() == kMaxFilterSize) refuse();
        if (!isReference && !rest_.empty()) take();
        return 1 + before - rest_.size();
    }

    void add(std::size_t size) {
        Group& group = groups_.back();
        group.before += group.atom;
        group.atom = size;
        check(group);
    }
    void grow(std::size_t size) {
        groups_.back().atom += size;
        check(groups_.back());
    }
    static void check(const Group& group) {
        if (group.before + group.atom > kMaxFilterSize) refuse();
    }

    void open() {
        if (groups_.size() > kMaxFilterNesting) refuse();
        groups_.emplace_back();
        grow(2);
    }
    void close() {
        if (groups_.size() == 1) return add(1);
        const Group inner = groups_.back();
        groups_.pop_back();
        add(inner.before + inner.atom);
    }

    void loop() {
        grow(1);
        noteLoop();
    }
    void noteLoop() { longestLoop_ = std::max(longestLoop_, groups_.back().atom); }
    void repeat() {
        const std::size_t least = takeNumber();
        const bool hasUpperBound = !takeIf(',') || (!rest_.empty() && rest_.front() != '}');
        const std::size_t most = hasUpperBound ? takeNumber() : 0;
        takeIf('}');
        grow(1);
        if (!hasUpperBound) noteLoop();
        groups_.back().atom *= std::max(least, most) + 1;
        check(groups_.back());
    }
    std::size_t takeNumber() {
        std::size_t number = 0;
        while (!rest_.empty() && std::isdigit(static_cast<unsigned char>(rest_.front())) != 0)
            number =
                std::min<std::size_t>(number * 10 + static_cast<std::size_t>(take() - '0'), kMaxFilterSize);
        return number;
    }

    // A set is one atom regardless of its length. Classes in it, such as "[:digit:]", have their own closing
    // bracket.
    std::size_t bracketSize() {
        const std::size_t before = rest_.size();
        while (!rest_.empty() && !takeIf(']')) {
            const char c = take();
            if (c == '\\' && !rest_.empty()) take();
            if (c == '[' && !rest_.empty() && isOneOf(rest_.front(), ".:=")) skipClass(take());
        }
        return 1 + before - rest_.size();
    }
    void skipClass(char kind) {
        while (!rest_.empty() && !takeIf(kind)) take();
        takeIf(']');
    }
    static bool isOneOf(char c, std::string_view set) { return set.find(c) != std::string_view::npos; }

    std::string_view rest_;
    std::vector<Group> groups_{1};
    std::size_t longestLoop_ = 0;
};

}  // namespace

FilterSize sizeOfFilter(std::string_view expression) { return Measure(expression).run(); }

}  // namespace Qv::detail
