"""The rules of mutation: small changes of C++ source that a test should see.

Each rule yields mutants of one line. Text in comments, strings and includes is
left alone, and so is what a compiler computes only (static_assert, constexpr
tables of texts).
"""

import dataclasses
import re


@dataclasses.dataclass(frozen=True)
class Mutant:
    """One change: a line of a file, before and after."""

    path: str
    line: int  # From 1.
    rule: str
    before: str
    after: str


OPERATORS = {
    "==": ["!="], "!=": ["=="],
    "<=": ["<"], ">=": [">"],
    " < ": [" <= "], " > ": [" >= "],
    "&&": ["||"], "||": ["&&"],
    " + ": [" - "], " - ": [" + "], " * ": [" / "], " / ": [" * "], " % ": [" * "],
    "++": ["--"], "--": ["++"],
    "+=": ["-="], "-=": ["+="],
    " & ": [" | "], " | ": [" & "], " ^ ": [" & "], "<<": [">>"], ">>": ["<<"],
}
# Longest first, so that "<=" is not read as "<".
_OPERATOR = re.compile("|".join(sorted(map(re.escape, OPERATORS), key=len, reverse=True)))
_NUMBER = re.compile(r"(?<![\w.'])(\d+)(?![\w.'])")
_BOOL = re.compile(r"\b(true|false)\b")
_CONDITION = re.compile(r"\b(if|while) \((.+)\)(\s*(?:\{|\S.*;)?\s*)$")
_CALL = re.compile(r"^\s*(?!return\b|throw\b|case\b|delete\b|goto\b|using\b)[\w:.>\[\]()*-]+\(.*\);\s*$")
_RETURN_BOOL = re.compile(r"^(\s*return )(?!true;|false;)(.*);\s*$")

_LITERAL = re.compile(r'"(?:[^"\\]|\\.)*"|\'(?:[^\'\\]|\\.)+\'|//.*$|/\*.*?\*/')


def masked(line):
    """Returns the line with literals and comments as blanks of the same length.

    An apostrophe between digits separates them and is no literal.
    """
    quiet = re.sub(r"(?<=\d)'(?=\d)", "_", line)
    return _LITERAL.sub(lambda match: " " * len(match.group()), quiet)


def is_left_alone(code):
    """Returns whether a masked line has nothing that a test at run time can see."""
    text = code.strip()
    return (not text or text.startswith(("#", "template", "static_assert", "using ", "namespace",
                                         "class ", "struct ", "enum ", "requires", "friend "))
            or "operator" in text or "[[" in text)


def _operators(line, code):
    for match in _OPERATOR.finditer(code):
        text = match.group()
        # A template's brackets, a pointer or a reference are no operators.
        if text in ("<<", ">>") and "<" in code.replace("<<", ""):
            continue
        if text in (" & ", " * ") and re.search(r"\b(const|auto|char|void|int)\s*$", code[:match.start()]):
            continue
        for replacement in OPERATORS[text]:
            yield "operator", line[:match.start()] + replacement + line[match.end():]


def _numbers(line, code):
    for match in _NUMBER.finditer(code):
        text = match.group()
        is_octal = text.startswith("0") and text != "0"
        value = int(text, 8 if is_octal else 10)
        for other in (value + 1, value - 1):
            if other >= 0:
                number = f"0{other:o}" if is_octal else str(other)
                yield "constant", line[:match.start()] + number + line[match.end():]


def _bools(line, code):
    for match in _BOOL.finditer(code):
        other = "false" if match.group() == "true" else "true"
        yield "constant", line[:match.start()] + other + line[match.end():]


def _conditions(line, code):
    match = _CONDITION.search(code)
    if match is None or "constexpr" in code or match.group(2).count("(") != match.group(2).count(")"):
        return
    if ";" in match.group(2):
        return
    start, end = match.span(2)
    yield "condition", line[:start] + "!(" + line[start:end] + ")" + line[end:]
    if match.group(1) == "if":
        yield "condition", line[:start] + "false && (" + line[start:end] + ")" + line[end:]


def _calls(line, code):
    """Removes a call that is a whole statement."""
    if _CALL.match(code) and "=" not in code and code.count("(") == code.count(")"):
        indent = line[:len(line) - len(line.lstrip())]
        yield "call", indent + ";"


def mutants_of_line(path, number, line, previous=""):
    """Returns the mutants of a line; `previous` is the line above it.

    A statement that goes on from the line above is no whole statement, so its
    call is not removed.
    """
    code = masked(line)
    if is_left_alone(code):
        return []
    found = [*_operators(line, code), *_numbers(line, code), *_bools(line, code),
             *_conditions(line, code)]
    if masked(previous).strip().endswith((";", "{", "}", ":", "")) and (
            not masked(previous).strip() or masked(previous).strip()[-1] in ";{}:"):
        found += _calls(line, code)
    seen = set()
    result = []
    for rule, after in found:
        if after != line and after not in seen:
            seen.add(after)
            result.append(Mutant(path, number, rule, line, after))
    return result


def mutants_of_file(path, text):
    """Returns the mutants of a source, in the order of its lines."""
    result = []
    previous = ""
    for number, line in enumerate(text.split("\n"), 1):
        result += mutants_of_line(path, number, line, previous)
        if line.strip():
            previous = line
    return result
