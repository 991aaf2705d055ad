#include <QvPlatform/core/UniqueNamesCollection.h>

#include <charconv>
#include <iterator>
#include <string_view>
#include <utility>
#include <vector>

namespace QvSim::StringUtils {
namespace {

using Runs = std::map<std::uint64_t, std::uint64_t>;
using RunsAfter = std::unordered_map<std::string, Runs>;

// A number with more digits can never be the smallest free one.
constexpr std::size_t kMaxDigits = 19;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Calls `use` with each way to split the name into a prefix and a number without leading zeros.
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

// A number to insert into or erase from the runs of a prefix. `spare` is allocated beforehand, so that
// nothing can fail once the collection begins to change.
struct Change {
    RunsAfter::value_type* numbers;
    std::uint64_t number;
    Runs spare;
};

std::vector<Change> changesBy(std::string_view name, RunsAfter& numbersAfter) {
    std::vector<Change> changes;
    forEachNumberAtEnd(name, [&](std::string prefix, std::uint64_t number) {
        auto& numbers = *numbersAfter.try_emplace(std::move(prefix)).first;
        changes.push_back({&numbers, number, {{number, number}}});
    });
    return changes;
}

// Precondition: the runs do not contain the number.
void insert(Change& change) noexcept {
    Runs& runs = change.numbers->second;
    const std::uint64_t number = change.number;
    const auto next = runs.upper_bound(number);
    const bool joinsNext = next != runs.end() && next->first == number + 1;
    const std::uint64_t last = joinsNext ? next->second : number;
    const bool joinsPrevious = next != runs.begin() && std::prev(next)->second == number - 1;
    if (joinsPrevious) {
        std::prev(next)->second = last;
    } else {
        change.spare[number] = last;
        runs.merge(change.spare);
    }
    if (joinsNext) runs.erase(next);
}

// Precondition: the runs contain the number.
void erase(Change& change) noexcept {
    Runs& runs = change.numbers->second;
    const std::uint64_t number = change.number;
    const auto run = std::prev(runs.upper_bound(number));
    const std::uint64_t last = run->second;
    if (run->first == number)
        runs.erase(run);
    else
        run->second = number - 1;
    if (number == last) return;
    auto rest = change.spare.extract(number);
    rest.key() = number + 1;
    rest.mapped() = last;
    runs.insert(std::move(rest));
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
    std::vector<Change> changes = changesBy(acquired, numbersAfter_);
    taken_.insert(acquired);  // the last step that can fail
    for (Change& change : changes) insert(change);
    return acquired;
}

bool UniqueNamesCollection::release(const std::string& name) {
    if (!contains(name)) return false;
    std::vector<Change> changes = changesBy(name, numbersAfter_);
    taken_.erase(name);
    for (Change& change : changes) {
        erase(change);
        if (change.numbers->second.empty()) numbersAfter_.erase(numbersAfter_.find(change.numbers->first));
    }
    return true;
}

bool UniqueNamesCollection::contains(const std::string& name) const { return taken_.count(name) != 0; }

std::size_t UniqueNamesCollection::size() const noexcept { return taken_.size(); }

void UniqueNamesCollection::clear() noexcept {
    taken_.clear();
    numbersAfter_.clear();
}

}  // namespace QvSim::StringUtils
