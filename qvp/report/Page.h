#pragma once

#include <algorithm>
#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

namespace qvp {

enum class Style { plain, strong, good, bad, doubtful, faint };

struct Cell {
    std::string text;
    Style style = Style::plain;
};

/// Rows of cells. Columns that are empty in all rows are omitted; text is wrapped within its column.
struct Table {
    struct Row {
        std::vector<Cell> cells;
        Cell note;  ///< below the row, across all columns
    };
    std::vector<std::string> titles;  ///< empty for a table without titles
    std::vector<Row> rows;
};

/// Text output.
class Page {
public:
    /// For what is not a terminal: nothing is wrapped.
    static constexpr std::size_t kUnlimited = std::size_t{1} << 30U;
    static constexpr std::size_t kNarrowest = 40;

    /// `width` in columns; a narrower page is taken as `kNarrowest` wide.
    Page(std::ostream& out, bool hasColours, std::size_t width)
        : out_(out), hasColours_(hasColours), width_(std::max(width, kNarrowest)) {}

    /// Prints a blank line first, except at the start.
    void heading(const std::string& text);
    void paragraph(const Cell& text, std::size_t indent = 0, std::size_t furtherIndent = 0);
    void table(const Table& table, std::size_t indent = 2);
    /// Prints the text unchanged.
    void verbatim(const std::string& text) { out_ << text; }

private:
    void write(const Cell& text);
    void writeRow(const std::vector<Cell>& cells, const std::vector<std::size_t>& widths, std::size_t indent);

    std::ostream& out_;
    bool hasColours_;
    std::size_t width_;
    bool isEmpty_ = true;
};

}  // namespace qvp
