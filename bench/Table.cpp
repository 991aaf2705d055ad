// Turns the JSON of the benchmark programs into one table. A row's figures are counters named
// "operation;other side|field", as BenchSupport reports them. Exit status: 1 if a target is missed or a
// benchmark failed, 2 if a file cannot be read.

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using Json = nlohmann::ordered_json;

std::string formatted(const char* format, double value) {
    char text[64];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

std::string grouped(double number) {
    std::string text = formatted("%.0f", std::trunc(number));
    const std::size_t firstDigit = text.find_first_of("0123456789");
    for (std::size_t end = text.size(); end > firstDigit + 3; end -= 3) text.insert(end - 3, 1, ',');
    return text;
}

std::string duration(double nanoseconds) {
    const double size = std::abs(nanoseconds);
    if (size < 1e3) return formatted("%.1f ns", nanoseconds);
    if (size < 1e6) return formatted("%.2f us", nanoseconds / 1e3);
    return formatted("%.2f ms", nanoseconds / 1e6);
}

struct Row {
    bool has(const std::string& field) const { return fields.contains(field); }
    double get(const std::string& field) const { return has(field) ? fields.at(field) : 0; }

    std::string amount(const std::string& field) const {
        if (operation.starts_with("memory")) return formatted("%.2f MB", get(field) / 1e6);
        return duration(get(field));
    }

    std::string operation;
    std::string peer;
    std::map<std::string, double> fields;
};

struct Line {
    std::string operation;
    std::string size = "-";
    std::string ours = "-";
    std::string beside = "-";
    std::string peer = "-";
    std::string ratio = "-";
    std::string target = "-";
    std::string verdict = "-";
};

// Prints line by line what it is given and remembers whether all is as it should be.
class Table {
public:
    Table() {
        print({"operation", "size", "ours", "beside", "the other side", "ratio", "target", "verdict"});
    }

    void addFailure(const std::string& benchmark, const std::string& message) {
        print({.operation = benchmark, .verdict = "FAILED: " + message});
        failed_ = true;
    }

    void addRow(const Row& row) {
        Line line{.operation = row.operation, .size = grouped(row.get("size"))};
        if (row.has("count")) {
            line.ours = grouped(row.get("count"));
            judge(line, row.get("count"), 0, "0");
        } else {
            const double ratio = row.get("ours") / row.get("peer");
            line.ours = row.amount("ours");
            line.beside = row.amount("peer");
            line.peer = row.peer;
            line.ratio = formatted("%.2f", ratio);
            judge(line, row, ratio);
        }
        print(line);
        rememberAddition(row);
        if (row.has("elements")) growing_[{row.operation, row.peer}][row.get("size")] = row;
    }

    // What the manager adds must not grow with the number of plugins; what is linear in it would be four
    // times as high.
    void addAdditions() {
        for (const auto& [layout, bySize] : added_) {
            if (!bySize.contains(500) || !bySize.contains(2000)) continue;
            const double many = bySize.at(2000);
            const double few = bySize.at(500);
            Line line{"added by the manager, " + layout, "2,000", duration(many), duration(few), "of 500"};
            line.ratio = formatted("%.2f", many / few);
            judgeAddition(line, many, few);
            print(line);
        }
    }

    // The cost of an element at the largest size as a multiple of that at the smallest. It may grow by half,
    // and if the other side grows too, by 1.3 of that.
    void addGrowth() {
        for (const auto& [names, bySize] : growing_) {
            if (bySize.size() < 2) continue;
            const double ours = growthOf("ours", bySize);
            const double peer = growthOf("peer", bySize);
            Line line{"growth: " + names.first, grouped(bySize.rbegin()->first)};
            line.ours = formatted("x %.2f", ours);
            line.beside = formatted("x %.2f", peer);
            line.peer = "from " + grouped(bySize.begin()->first);
            line.ratio = formatted("%.2f", ours / peer);
            const double allowed = std::max(1.5, 1.3 * peer);
            judge(line, ours, allowed, formatted("x %.2f", allowed));
            print(line);
        }
    }

    bool failed() const { return failed_; }

private:
    using RowsBySize = std::map<double, Row>;

    static double growthOf(const char* side, const RowsBySize& rows) {
        const auto costIn = [&](const Row& row) { return row.get(side) / row.get("elements"); };
        return costIn(rows.rbegin()->second) / costIn(rows.begin()->second);
    }

    void judge(Line& line, const Row& row, double ratio) {
        if (const double target = row.get("target ratio"); row.has("target ratio"))
            judge(line, ratio, target, formatted("%.2f", target));
        else if (const double time = row.get("target time"); row.has("target time"))
            judge(line, row.get("ours"), time, duration(time));
    }

    void judge(Line& line, double value, double target, const std::string& text) {
        const bool holds = value <= target;
        line.target = text;
        line.verdict = holds ? "ok" : "MISSED";
        failed_ = failed_ || !holds;
    }

    // A ratio of two differences can have any sign; noise was then greater than what was to be measured.
    void judgeAddition(Line& line, double many, double few) {
        const bool isMeasured = many > 0 && few > 0;
        if (isMeasured) return judge(line, many / few, 1.3, "1.30");
        line.verdict = "NOT MEASURED";
        failed_ = true;
    }

    // What the manager adds in the two calls of a plugin's life, by the layout of the plugins and their
    // number.
    void rememberAddition(const Row& row) {
        const bool isCounted =
            row.operation.starts_with("load, ") || row.operation.starts_with("unloadAll, ");
        if (row.peer != "limit, by hand" || !isCounted) return;
        const std::string layout = row.operation.substr(row.operation.find(", ") + 2);
        added_[layout][row.get("size")] += row.get("ours") - row.get("peer");
    }

    static void print(const Line& line) {
        std::printf("%-40s %13s %11s %11s  %-31s %6s %7s  %s\n", line.operation.c_str(), line.size.c_str(),
                    line.ours.c_str(), line.beside.c_str(), line.peer.c_str(), line.ratio.c_str(),
                    line.target.c_str(), line.verdict.c_str());
    }

    std::map<std::string, std::map<double, double>> added_;
    std::map<std::pair<std::string, std::string>, RowsBySize> growing_;
    bool failed_ = false;
};

// The rows of one benchmark, in the order of their first counters.
std::vector<Row> rowsOf(const Json& benchmark) {
    std::vector<Row> rows;
    for (const auto& [key, value] : benchmark.items()) {
        const std::size_t semicolon = key.find(';');
        const std::size_t bar = key.find('|', semicolon);
        if (semicolon == std::string::npos || bar == std::string::npos || !value.is_number()) continue;
        const std::string operation = key.substr(0, semicolon);
        const std::string peer = key.substr(semicolon + 1, bar - semicolon - 1);
        auto row = std::find_if(rows.begin(), rows.end(), [&](const Row& known) {
            return known.operation == operation && known.peer == peer;
        });
        if (row == rows.end()) row = rows.insert(row, Row{operation, peer, {}});
        row->fields[key.substr(bar + 1)] = value.get<double>();
    }
    return rows;
}

void addFile(Table& table, const char* path) {
    std::ifstream file(path);
    if (!file) throw std::runtime_error("cannot be opened");
    const Json content = Json::parse(file);
    for (const Json& benchmark : content.at("benchmarks")) {
        if (benchmark.contains("error_message"))
            table.addFailure(benchmark.at("name").get<std::string>(),
                             benchmark["error_message"].get<std::string>());
        for (const Row& row : rowsOf(benchmark)) table.addRow(row);
    }
}

}  // namespace

int main(int argc, char** argv) {
    Table table;
    for (int i = 1; i < argc; ++i) {
        try {
            addFile(table, argv[i]);
        } catch (const std::exception& error) {
            std::cerr << argv[i] << ": " << error.what() << '\n';
            return 2;
        }
    }
    table.addAdditions();
    table.addGrowth();
    return table.failed() ? 1 : 0;
}
