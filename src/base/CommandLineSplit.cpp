#include "base/CommandLineSplit.h"

#include <algorithm>

namespace base {
namespace {

constexpr std::string_view kBlanks = " \t";

bool isBlank(char c) { return kBlanks.find(c) != std::string_view::npos; }

class Splitter {
public:
    explicit Splitter(std::string_view line) : rest_(line) {}

    std::vector<std::string> split() {
        std::vector<std::string> arguments{program()};
        while (skipBlanks()) arguments.push_back(argument());
        return arguments;
    }

private:
    char take() {
        const char c = rest_.front();
        rest_.remove_prefix(1);
        return c;
    }

    bool atSeparator() const { return rest_.empty() || (!quoted_ && isBlank(rest_.front())); }

    bool skipBlanks() {
        rest_.remove_prefix(std::min(rest_.find_first_not_of(kBlanks), rest_.size()));
        return !rest_.empty();
    }

    std::string program() {
        std::string text;
        while (!atSeparator()) {
            const char c = take();
            if (c == '"')
                quoted_ = !quoted_;
            else
                text += c;
        }
        return text;
    }

    std::string argument() {
        std::string text;
        while (!atSeparator()) {
            const auto backslashes = std::min(rest_.find_first_not_of('\\'), rest_.size());
            rest_.remove_prefix(backslashes);
            if (rest_.empty() || rest_.front() != '"') {
                text.append(backslashes, '\\');
                if (!atSeparator()) text += take();
            } else {
                text.append(backslashes / 2, '\\');
                quote(text, backslashes % 2 != 0);
            }
        }
        return text;
    }

    void quote(std::string& text, bool isOrdinary) {
        take();
        const bool isDoubled = quoted_ && !isOrdinary && !rest_.empty() && rest_.front() == '"';
        if (isDoubled) take();
        if (isOrdinary || isDoubled)
            text += '"';
        else
            quoted_ = !quoted_;
    }

    std::string_view rest_;
    bool quoted_ = false;
};

}  // namespace

std::vector<std::string> splitCommandLine(std::string_view line) { return Splitter(line).split(); }

}  // namespace base
