#include <QvPlatform/core/UniqueNamesCollection.h>

#include <charconv>
#include <iterator>
#include <string_view>

namespace QvSim::StringUtils {
namespace {

using Runs = std::map<std::uint64_t, std::uint64_t>;

// More digits than that make no number that could ever be the smallest free one.
constexpr std::size_t kMaxDigits = 19;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Calls `use` with each way of reading the name as a beginning and a number written as this class writes it.
template <typename Use>
void forEachNumberAtEnd(std::string_view name, Use use) {
    const char* const end = name.data() + name.size();
    for (std::size_t digits = 1; digits <= name.size() && digits <= kMaxDigits; ++digits) {
        const char* const first = end - digits;
        if (!isDigit(*first)) return;
        std::uint64_t number = 0;
        std::from_chars(first, end, number);
        if (*first != '0') use(std::string(name.substr(0, name.size() - digits)), number);
    }
}

// Neither is called for a number that it would not change.
void insert(Runs& runs, std::uint64_t number) {
    const auto next = runs.upper_bound(number);
    const bool joinsNext = next != runs.end() && next->first == number + 1;
    const std::uint64_t last = joinsNext ? next->second : number;
    const bool joinsPrevious = next != runs.begin() && std::prev(next)->second == number - 1;
    if (joinsPrevious)
        std::prev(next)->second = last;
    else
        runs.emplace(number, last);
    if (joinsNext) runs.erase(next);
}

void erase(Runs& runs, std::uint64_t number) {
    const auto run = std::prev(runs.upper_bound(number));
    const std::uint64_t last = run->second;
    if (run->first == number)
        runs.erase(run);
    else
        run->second = number - 1;
    if (number < last) runs.emplace(number + 1, last);
}

std::uint64_t smallestFree(const Runs& runs) {
    return runs.empty() || runs.begin()->first > 1 ? 1 : runs.begin()->second + 1;
}

}  // namespace

std::string UniqueNamesCollection::freeNameFor(const std::string& name) const {
    if (!contains(name)) return name;
    const auto numbers = numbersAfter_.find(name);
    return name + std::to_string(numbers == numbersAfter_.end() ? 1 : smallestFree(numbers->second));
}

std::string UniqueNamesCollection::acquire(const std::string& name) {
    std::string acquired = freeNameFor(name);
    taken_.insert(acquired);
    forEachNumberAtEnd(acquired, [&](const std::string& beginning, std::uint64_t number) {
        insert(numbersAfter_[beginning], number);
    });
    return acquired;
}

bool UniqueNamesCollection::release(const std::string& name) {
    if (taken_.erase(name) == 0) return false;
    forEachNumberAtEnd(name, [&](const std::string& beginning, std::uint64_t number) {
        const auto numbers = numbersAfter_.find(beginning);
        erase(numbers->second, number);
        if (numbers->second.empty()) numbersAfter_.erase(numbers);
    });
    return true;
}

bool UniqueNamesCollection::contains(const std::string& name) const { return taken_.count(name) != 0; }

std::size_t UniqueNamesCollection::size() const noexcept { return taken_.size(); }

void UniqueNamesCollection::clear() noexcept {
    taken_.clear();
    numbersAfter_.clear();
}

}  // namespace QvSim::StringUtils
