# Turns the JSON of the benchmark programs into one table. A row's figures are counters named
# "operation;other side|field"; those of one row stand together. Exits with 1 when a target is missed or
# a program failed.

function grouped(number,   text) {
    text = sprintf("%d", number)
    while (match(text, /[0-9][0-9][0-9][0-9]($|,)/))
        text = substr(text, 1, RSTART) "," substr(text, RSTART + 1)
    return text
}

function duration(nanoseconds,   size) {
    size = nanoseconds < 0 ? -nanoseconds : nanoseconds
    if (size < 1000) return sprintf("%.1f ns", nanoseconds)
    if (size < 1000000) return sprintf("%.2f us", nanoseconds / 1000)
    return sprintf("%.2f ms", nanoseconds / 1000000)
}

function amount(row, value) {
    return row ~ /^memory/ ? sprintf("%.2f MB", value / 1000000) : duration(value)
}

function line(operation, size, ours, peer, side, ratio, target, verdict) {
    printf "%-34s %8s %11s %11s  %-18s %6s %7s  %s\n", operation, size, ours, peer, side, ratio, target, verdict
}

function verdictOf(holds) {
    if (!holds) missed = 1
    return holds ? "ok" : "MISSED"
}

function targetOf(row) {
    if ((row, "target ratio") in field) return sprintf("%.2f", field[row, "target ratio"])
    if ((row, "target time") in field) return duration(field[row, "target time"])
    return (row, "count") in field ? "0" : "-"
}

function judge(row, ratio) {
    if ((row, "target ratio") in field) return verdictOf(ratio <= field[row, "target ratio"])
    if ((row, "target time") in field) return verdictOf(field[row, "ours"] <= field[row, "target time"])
    return (row, "count") in field ? verdictOf(field[row, "count"] == 0) : "-"
}

function printRow(row,   names, ratio, size) {
    split(row, names, ";")
    size = grouped(field[row, "size"])
    if ((row, "count") in field)
        return line(names[1], size, grouped(field[row, "count"]), "-", "-", "-", targetOf(row), judge(row, 0))
    ratio = field[row, "ours"] / field[row, "peer"]
    line(names[1], size, amount(row, field[row, "ours"]), amount(row, field[row, "peer"]), names[2],
         sprintf("%.2f", ratio), targetOf(row), judge(row, ratio))
}

# What the manager adds in the two calls of a plugin's life.
function rememberAddition(row,   names, layout) {
    split(row, names, ";")
    if (names[2] != "by hand") return
    layout = substr(names[1], index(names[1], ", ") + 2)
    layouts[layout] = 1
    added[layout, field[row, "size"]] += field[row, "ours"] - field[row, "peer"]
}

# It must not grow with the number of plugins; what is linear in it would be four times as high.
function printAdditions(   layout, ratio) {
    for (layout in layouts) {
        if (!((layout, 500) in added) || !((layout, 2000) in added)) continue
        ratio = added[layout, 2000] / added[layout, 500]
        line("added by the manager, " layout, "2,000", duration(added[layout, 2000]), duration(added[layout, 500]),
             "of 500", sprintf("%.2f", ratio), "2.00", verdictOf(ratio <= 2))
    }
}

function endBenchmark(   i) {
    for (i = 1; i <= rows; ++i) {
        printRow(rowNames[i])
        rememberAddition(rowNames[i])
    }
    rows = 0
    delete field
    delete known
}

BEGIN { line("operation", "size", "ours", "beside", "the other side", "ratio", "target", "verdict") }

/^ *"name": / { endBenchmark(); split($0, parts, "\""); name = parts[4] }

/^ *"error_message": / { split($0, parts, "\""); line(name, "-", "-", "-", "-", "-", "-", "FAILED: " parts[4]); missed = 1 }

/^ *"[^"]*;[^"]*\|[^"]*": / {
    split($0, parts, "\"")
    bar = index(parts[2], "|")
    row = substr(parts[2], 1, bar - 1)
    if (!(row in known)) { known[row] = 1; rowNames[++rows] = row }
    value = parts[3]
    sub(/^: */, "", value)
    field[row, substr(parts[2], bar + 1)] = value + 0
}

END { endBenchmark(); printAdditions(); exit missed }
