#include "report/Page.h"

#include "report/Text.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace qvp {
namespace {

constexpr std::size_t kGap = 2;
constexpr std::size_t kNarrowestColumn = 4;

const char* codeOf(Style style) {
    switch (style) {
        case Style::strong:
            return "\033[1m";
        case Style::good:
            return "\033[32m";
        case Style::bad:
            return "\033[31m";
        case Style::doubtful:
            return "\033[33m";
        case Style::faint:
            return "\033[2m";
        default:
            return "";
    }
}

std::string blanks(std::size_t count) { return std::string(count, ' '); }

std::vector<std::size_t> naturalWidths(const Table& table) {
    std::vector<std::size_t> widths;
    for (const Table::Row& row : table.rows) {
        widths.resize(std::max(widths.size(), row.cells.size()));
        for (std::size_t column = 0; column < row.cells.size(); ++column)
            widths[column] = std::max(widths[column], columnsOf(printable(row.cells[column].text)));
    }
    for (std::size_t column = 0; column < std::min(widths.size(), table.titles.size()); ++column) {
        if (widths[column] > 0) widths[column] = std::max(widths[column], columnsOf(table.titles[column]));
    }
    return widths;
}

// Narrows the widest columns until the table fits.
void fit(std::vector<std::size_t>& widths, std::size_t room) {
    const auto used = [&] {
        const auto columns = static_cast<std::size_t>(
            std::count_if(widths.begin(), widths.end(), [](std::size_t width) { return width > 0; }));
        return std::accumulate(widths.begin(), widths.end(), columns * kGap);
    };
    while (used() > room + kGap) {
        const auto widest = std::max_element(widths.begin(), widths.end());
        if (*widest <= kNarrowestColumn) return;
        --*widest;
    }
}

}  // namespace

void Page::write(const Cell& text) {
    isEmpty_ = false;
    const std::string code = hasColours_ && !text.text.empty() ? codeOf(text.style) : "";
    out_ << code << text.text << (code.empty() ? "" : "\033[0m");
}

void Page::heading(const std::string& text) {
    if (!isEmpty_) out_ << '\n';
    paragraph({text, Style::strong});
}

void Page::paragraph(const Cell& text, std::size_t indent, std::size_t furtherIndent) {
    std::string margin = blanks(indent);
    for (const std::string& line :
         wrapped(printable(text.text), width_ - std::min(width_ - kNarrowest / 2, indent + furtherIndent))) {
        out_ << margin;
        write({line, text.style});
        out_ << '\n';
        margin = blanks(indent + furtherIndent);
    }
}

void Page::table(const Table& table, std::size_t indent) {
    std::vector<std::size_t> widths = naturalWidths(table);
    fit(widths, width_ - std::min(width_ - kNarrowest / 2, indent));
    if (!table.titles.empty() && !table.rows.empty()) {
        std::vector<Cell> titles;
        for (const std::string& title : table.titles) titles.push_back({title, Style::faint});
        writeRow(titles, widths, indent);
    }
    for (const Table::Row& row : table.rows) {
        writeRow(row.cells, widths, indent);
        if (!row.note.text.empty()) paragraph(row.note, indent + 4);
    }
}

void Page::writeRow(const std::vector<Cell>& cells, const std::vector<std::size_t>& widths,
                    std::size_t indent) {
    std::vector<std::vector<std::string>> columns;
    std::size_t height = 0;
    for (std::size_t column = 0; column < cells.size(); ++column) {
        const bool isShown = widths[column] > 0;
        columns.push_back(isShown ? wrapped(printable(cells[column].text), widths[column])
                                  : std::vector<std::string>());
        height = std::max(height, columns.back().size());
    }
    for (std::size_t line = 0; line < height; ++line) {
        std::size_t owed = indent;
        for (std::size_t column = 0; column < columns.size(); ++column) {
            if (widths[column] == 0) continue;
            const std::string text = line < columns[column].size() ? columns[column][line] : std::string();
            if (!text.empty()) {
                out_ << blanks(std::exchange(owed, 0));
                write({text, cells[column].style});
            }
            owed += widths[column] - std::min(widths[column], columnsOf(text)) + kGap;
        }
        out_ << '\n';
    }
}

}  // namespace qvp
