"""C++ as tokens: which of them are code that may be changed, and where a function's body is."""
import re
from dataclasses import dataclass

TOKEN = re.compile(r"""
    (?P<skip>   \s+ | //[^\n]* | /\*.*?\*/ | ^[ \t]*\#(?:\\\n|[^\n])* )
  | (?P<text>   R"(?P<mark>\w*)\(.*?\)(?P=mark)" | "(?:\\.|[^"\\\n])*" )
  | (?P<number> \.?\d(?:[\w.]|'\w)* )
  | (?P<char>   '(?:\\.|[^'\\\n])+' )
  | (?P<word>   [A-Za-z_]\w* )
  | (?P<sign>   <=> | <<= | >>= | -> | :: | \+\+ | -- | <= | >= | == | != | && | \|\| | [-+*/%&|^]= | << | >> | \.\.\. | . )
""", re.VERBOSE | re.MULTILINE | re.DOTALL)

PAIRS = {"(": ")", "[": "]", "{": "}"}
TYPES = {"namespace", "class", "struct", "enum", "union"}
UNCHANGED = {"LOG", "PROBE", "static_assert", "reserve", "alignas"}
"""What is in their parentheses is left alone; docs/mutation.md tells why."""


@dataclass
class Token:
    kind: str
    text: str
    start: int
    end: int
    partner: int = -1
    """Where a bracket's other end is."""
    in_function: bool = False
    unchanged: bool = False


def scan(source):
    tokens = [Token(match.lastgroup if match.lastgroup != "mark" else "text", match[0], match.start(), match.end())
              for match in TOKEN.finditer(source) if match.lastgroup != "skip"]
    pair(tokens)
    find_functions(tokens)
    for index, token in enumerate(tokens):
        if token.text in UNCHANGED and index + 1 < len(tokens) and tokens[index + 1].text == "(":
            leave_alone(tokens, index, tokens[index + 1].partner)
        if token.text == "array" and index + 1 < len(tokens) and tokens[index + 1].text == "<":
            leave_alone(tokens, index, next(i for i in range(index, len(tokens)) if tokens[i].text in (">", ">>")))
        if token.text == "[" and declares(tokens, index):
            leave_alone(tokens, index, token.partner)
    return tokens


def leave_alone(tokens, first, last):
    for token in tokens[first:last + 1]:
        token.unchanged = True


def pair(tokens):
    waiting = []
    for index, token in enumerate(tokens):
        if token.kind != "sign":
            continue
        if token.text in PAIRS:
            waiting.append(index)
        elif waiting and token.text == PAIRS[tokens[waiting[-1]].text]:
            token.partner = waiting.pop()
            tokens[token.partner].partner = index


def find_functions(tokens):
    """Marks what is in a function's body. A brace without parentheses before it is of a type or of a value."""
    inside = []
    for index, token in enumerate(tokens):
        if token.text == "}" and inside and token.kind == "sign":
            inside.pop()
        token.in_function = bool(inside) and inside[-1]
        if token.text == "{" and token.kind == "sign":
            words = [t.text for t in head(tokens, index)]
            if TYPES & set(words):
                inside.append(False)
            else:
                inside.append(")" in words or (bool(inside) and inside[-1]))


def head(tokens, index):
    """What stands between a brace and the end of what is before it; of parentheses only the ends."""
    found = []
    index -= 1
    while index >= 0 and tokens[index].text not in ("{", "}", ";"):
        found.append(tokens[index])
        index = tokens[index].partner if tokens[index].text in (")", "]") and tokens[index].partner >= 0 else index - 1
    return found


def declares(tokens, index):
    """Whether a bracket holds the size of an array that is declared: a type and a name stand before it."""
    if index < 2 or tokens[index - 1].kind != "word":
        return False
    before = tokens[index - 2]
    return before.text in (">", "*") or (before.kind == "word" and before.text not in ("return", "case", "else"))
