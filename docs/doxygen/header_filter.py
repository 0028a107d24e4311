"""Turns the comments of the public header, which are columns for reading in place, into Doxygen's commands.

Usage: header_filter.py HEADER     writes to the standard output
"""
import re
import sys

PARAMETER = re.compile(r"^(\w[\w, .]*?) {2,}(in/out|in|out) +(.*)$")
DIRECTIONS = {"in": "in", "out": "out", "in/out": "in,out"}


def parameters(names, signature, comment):
    """The parameters that a row of the columns describes: those it names, or, with "...", all from one to another."""
    ends = names.split(" ... ")
    if len(ends) == 1:
        return names.replace(" ", "")
    ordered = re.findall(r"(\w+)[,)]", signature)
    between = ordered[ordered.index(ends[0]):ordered.index(ends[1]) + 1]
    return ",".join(name for name in between if not re.search(rf"^ \* {name}  ", comment, re.M) or name in ends)


def function_comment(match):
    """Columns become parameters, what follows "Returns" the result, and its brackets remarks."""
    lines, in_result = [], False
    for line in re.sub(r"^ \* ?", "", match[1], flags=re.M).splitlines():
        row = PARAMETER.match(line)
        if row:
            names, direction, text = row.groups()
            lines.append(f"@param[{DIRECTIONS[direction]}] {parameters(names, match[2], match[1])} {text}")
            continue
        if line.startswith("Returns "):
            in_result, line = True, "@return " + line.removeprefix("Returns ")
        if in_result:
            line = re.sub(r"(?:^| )\[(\w[^]]+)\]", r"\n@remark \1.", line)
        in_result = in_result and line != ""
        lines.append(line if line.startswith("     ") or in_result else line.strip())
    return "/**\n" + "\n".join(lines) + "\n*/\n" + match[2]


def file_comment(match):
    """Words in the left column become headings."""
    text = re.sub(r"^ \* ?", "", match[1], flags=re.M)
    text = re.sub(r"^([A-Z]\w+) {2,}(?=\S)", r"\n@par \1\n", text, flags=re.M)
    text = re.sub(r"^ {6,11}(?=\S)", "", text, flags=re.M)
    return "/**\n@file\n" + text + "*/\n#ifndef"


header = open(sys.argv[1]).read()
header = re.sub(r"^/\*\n(.*?)^ \*/\n#ifndef", file_comment, header, count=1, flags=re.M | re.S)
header = re.sub(r"^/\*\*\n((?: \*(?!/).*\n)+) \*/\n(KELVO_AUDIO_API [^;]*;)", function_comment, header, flags=re.M)
# Sets of values, and the values in them.
header = re.sub(r"^/\* (?=.*\*/\nenum)", "/** ", header, flags=re.M)
header = re.sub(r"^( +KELVO_AUDIO_\w+ = .*?)/\* ", r"\1/**< ", header, flags=re.M)
header = re.sub(r"^(?=#define KELVO_AUDIO_VERSION_(\w+) \d+$)", r"/** The \1 part of the version. */\n", header,
                flags=re.M)
# The macro that exports a symbol is of no interest to callers.
header = re.sub(r"^#if defined\(_WIN32\)\n.*?(?=^#ifdef __cplusplus)", "", header, flags=re.M | re.S)
print(header, end="")
