"""Every change of a source that is tried, by operator."""
import re
from dataclasses import dataclass

from .scanner import scan

CONSTANT, COMPARISON, CONDITION = "constant", "comparison", "condition"
STATEMENT, ARGUMENTS, LOCK = "statement", "arguments", "lock"
OPERATORS = (CONSTANT, COMPARISON, CONDITION, STATEMENT, ARGUMENTS, LOCK)

COMPARISONS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="}
INTEGER = re.compile(r"(0[xX][0-9a-fA-F']+|[\d']+)([uUlLzZ]*|[a-z]+)")
NO_CALL = {"if", "while", "for", "switch", "return", "sizeof", "catch", "alignof", "decltype", "noexcept"}
SYMMETRIC = {"min", "max", "swap", "strcmp", "strncmp", "memcmp"}
"""Calls that are the same with their first arguments the other way round, when only equality is asked for."""
NO_STATEMENT = {"return", "using", "typedef", "const", "constexpr", "static", "auto", "if", "for", "while", "do", "else",
                "case", "default", "break", "continue", "goto", "throw", "extern", "friend", "template", "switch", "try"}
LOCKS = re.compile(r"[ \t]*(?:const )?(?:Guard|std::(?:lock_guard|unique_lock|scoped_lock))\b[^;\n]*;")


@dataclass(frozen=True)
class Mutant:
    file: str
    operator: str
    start: int
    end: int
    new: str
    line: int
    before: str
    after: str
    """The lines that are changed, without the blanks around them, as they are and as they become."""

    def applied(self, source):
        return source[:self.start] + self.new + source[self.end:]


def find(file, source):
    """[[Mutant]]: for each place the changes there are, of which a sample has one."""
    tokens = scan(source)
    found = [*constants(tokens), *comparisons(source, tokens), *conditions(source, tokens), *arguments(source, tokens),
             *statements(source, tokens), *locks(source)]
    return [[make(file, source, *change) for change in place] for place in found if place]


def make(file, source, operator, start, end, new):
    first, last = source.rfind("\n", 0, start) + 1, source.find("\n", end)
    last = len(source) if last < 0 else last
    return Mutant(file, operator, start, end, new, source.count("\n", 0, start) + 1,
                  one_line(source[first:last]), one_line(source[first:start] + new + source[end:last]))


def one_line(text):
    return " ".join(text.split())


def constants(tokens):
    for token in tokens:
        if token.unchanged:
            continue
        if token.kind == "number":
            whole = INTEGER.fullmatch(token.text)
            if whole:
                value = int(whole[1].replace("'", ""), 16 if whole[1][:2] in ("0x", "0X") else 10)
                others = sorted({value + 1, abs(value - 1), 0} - {value})
                yield [(CONSTANT, token.start, token.end, f"{other}{whole[2]}") for other in others]
        elif token.kind == "word" and token.text in ("true", "false"):
            yield [(CONSTANT, token.start, token.end, "false" if token.text == "true" else "true")]


def spaced(source, token):
    """A sign between blanks has two sides; one of a template or a reference has not."""
    return source[token.start - 1] in " \n" and source[token.end] in " \n"


def comparisons(source, tokens):
    for index, token in enumerate(tokens):
        if token.text in COMPARISONS and token.kind == "sign" and not token.unchanged and spaced(source, token) \
                and tokens[index - 1].text not in ("operator", "template"):
            yield [(COMPARISON, token.start, token.end, COMPARISONS[token.text])]


def conditions(source, tokens):
    for index, token in enumerate(tokens):
        if token.unchanged:
            continue
        if token.text in ("&&", "||") and spaced(source, token):
            yield [(CONDITION, token.start, token.end, "||" if token.text == "&&" else "&&")]
        elif token.text == "!" and token.kind == "sign":
            yield [(CONDITION, token.start, token.end, "")]
        elif token.text in ("if", "while") and tokens[index + 1].text == "(":
            start, end = tokens[index + 1].end, tokens[tokens[index + 1].partner].start
            inside = source[start:end]
            if ";" not in inside and not re.match(r"(?:const )?auto\b", inside):
                yield [(CONDITION, start, end, f"!({inside})")]


def arguments(source, tokens):
    for index, token in enumerate(tokens):
        if token.text != "(" or token.kind != "sign" or not token.in_function or token.unchanged or index == 0:
            continue
        name = tokens[index - 1]
        if name.text in NO_CALL | SYMMETRIC or not (name.kind == "word" or name.text == ">"):
            continue
        if name.text == ">" and any(t.text in SYMMETRIC for t in tokens[max(0, index - 8):index]):
            continue
        parts = split(source, tokens, index)
        for left, right in zip(parts, parts[1:]):
            one, other = source[left[0]:left[1]], source[right[0]:right[1]]
            if one != other:
                yield [(ARGUMENTS, left[0], right[1], other + source[left[1]:right[0]] + one)]


def split(source, tokens, opening):
    """[(start, end)] of the arguments of a call."""
    found, index, closing = [], opening + 1, tokens[opening].partner
    start = index
    while index <= closing:
        if tokens[index].text in (",", ")") and tokens[index].kind == "sign":
            if index > start:
                found.append((tokens[start].start, tokens[index - 1].end))
            start = index + 1
        elif tokens[index].text in ("(", "[", "{") and tokens[index].partner > index:
            index = tokens[index].partner
        index += 1
    return found


def statements(source, tokens):
    """Calls and assignments that have their lines for themselves."""
    for index, token in enumerate(tokens):
        if not token.in_function or token.unchanged or not begins(tokens, index):
            continue
        end = expression_end(tokens, index)
        if end is None or source[source.rfind("\n", 0, token.start) + 1:token.start].strip():
            continue
        if "\n" not in source[token.start:tokens[end].end] and not any(t.text == "reserve" for t in tokens[index:end]):
            yield [(STATEMENT, token.start, tokens[end].end, "{}")]


def begins(tokens, index):
    before = tokens[index - 1]
    if before.text in (";", "{", "}", "else", ":"):
        return True
    return before.text == ")" and before.partner > 0 and tokens[before.partner - 1].text in ("if", "for", "while")


def expression_end(tokens, index):
    """Where a statement that calls or assigns ends; None where it is a declaration or another one."""
    if tokens[index].text in ("++", "--"):
        index += 1
    elif tokens[index].text == "*":
        index += 1
    if tokens[index].kind != "word" or tokens[index].text in NO_STATEMENT:
        return None
    acts = tokens[index - 1].text in ("++", "--")
    while index < len(tokens):
        text = tokens[index].text
        if text == ";":
            return index if acts else None
        if text in ("=", "+=", "-=", "|=", "&=", "^=", "<<=", ">>=", "*=", "/=", "%=", "++", "--"):
            acts = True
            while index < len(tokens) and tokens[index].text != ";":
                index = max(index, tokens[index].partner) + 1
            continue
        if text == "(":
            acts, index = True, tokens[index].partner
        elif text == "[":
            index = tokens[index].partner
        elif text not in (".", "->", "::") and (tokens[index].kind != "word" or tokens[index - 1].kind == "word"):
            return None
        index += 1
    return None


def locks(source):
    for match in LOCKS.finditer(source):
        start = match.start() + len(match[0]) - len(match[0].lstrip())
        yield [(LOCK, start, match.end(), "{}")]
