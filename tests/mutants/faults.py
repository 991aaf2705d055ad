"""Finds the places of the sources where a single fault can be planted, line by line, without parsing C++."""
import collections
import re
import subprocess

SWAPS = {"compare": {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="},
         "logic": {"&&": "||", "||": "&&"}, "arithmetic": {"+": "-", "-": "+", "+=": "-=", "-=": "+="}}
CALL = r"(?!return\b|throw\b|QV_ASSERT|if\b|while\b|switch\b|for\b)[\w:]+(?:(?:\.|->|\(\)\.|\(\)->)[\w:]+)*\([^;]*\);"
# A first value that is overwritten, room for more than there is: a larger constant makes no difference.
WITHOUT_EFFECT = r"^\s*(?:mutable )?[\w:<>*]+(?: [\w:<>*]+)* \w+ = 0;$|\bchar \w+\[\d+\]|\breserve\("
Site = collections.namedtuple("Site", "file line kind column before after")


def blanked(text):
    """The text with spaces in place of comments, literals, the preprocessor's lines and assertions."""
    pattern = r'//[^\n]*|/\*.*?\*/|R"\((?:.|\n)*?\)"|"(?:\\.|[^"\\\n])*"|(?<![0-9a-fA-F])\'(?:\\.|[^\'\\\n])+\'' \
              r'|^[ \t]*#(?:[^\n]*\\\n)*[^\n]*|\b(?:QV_ASSERT\w*|static_assert)\b[^;]*;'
    return re.sub(pattern, lambda match: re.sub(r"[^\n]", " ", match[0]), text, flags=re.M | re.S)


def line_changes(code, previous):
    """(kind, first column, past the last one, replacement) of each fault that a line can have."""
    for kind, swaps in SWAPS.items():
        for match in re.finditer(r"(?<= )(" + "|".join(map(re.escape, sorted(swaps, key=len)[::-1])) + ")(?= |$)", code):
            if kind != "arithmetic" or "reserve(" not in code:
                yield kind, *match.span(), swaps[match[0]]
    for match in re.finditer(r"\b(?:if|while) \((?!constexpr)(?:[^()]*;)?((?:[^()]|\((?:[^()]|\([^()]*\))*\))*)\)", code):
        yield "negate", *match.span(1), f"!({match[1].strip()})"
    for match in re.finditer(r"(?<![\w.'])(0x[0-9a-fA-F']+|\d[\d']*)(?=[uUlLzZ]*\b(?![.']))", code):
        if not re.search(WITHOUT_EFFECT, code):
            value = int(match[0].replace("'", ""), 8 if re.match(r"0\d", match[0]) else 0)
            yield "constant", *match.span(), str(value - 1 if re.search(r"(?<![\w) ] )-$", code[:match.start()]) else value + 1)
    for match in re.finditer(r"(?<=return )(true|false)(?=;)", code):
        yield "bool", *match.span(), "false" if match[0] == "true" else "true"
    for match in re.finditer(r"(const )?std::(lock_guard|scoped_lock|unique_lock|shared_lock)\b[^;]*;", code):
        yield "lock", *match.span(), ";"
    if re.search(r"[;{}:)]\s*$|\belse\s*$", previous):
        for match in re.finditer(r"(?:^\s*|\{ )(" + CALL + r")(?=\s*$| \})", code):
            if not re.search(r"\breserve\(", match[1]):
                yield "call", *match.span(1), ";"
        for match in re.finditer(r"^\s*([\w.:>*\[\]()-]+ [-+|&^]?= [^;]*;)\s*$", code):
            yield "assignment", *match.span(1), ";"


def sites_of(root, file):
    """All faults that a file can have."""
    lines, previous = file.read_text().split("\n"), ";"
    for number, code in enumerate(blanked("\n".join(lines)).split("\n"), 1):
        for kind, start, end, replacement in line_changes(code, previous):
            before = lines[number - 1]
            yield Site(str(file.relative_to(root)), number, kind, start, before,
                       before[:start] + replacement + before[end:])
        previous = code if code.strip() else previous


def sources(root, family):
    """The tracked sources of a folder of src, without those for the other system."""
    patterns = [f"src/{family}/*.h", f"src/{family}/*.cpp"]
    listed = subprocess.check_output(["git", "ls-files", *patterns], cwd=root, text=True)
    return [root / name for name in listed.split() if "/win32/" not in name]
