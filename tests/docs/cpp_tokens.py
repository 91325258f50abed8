"""Splits C++ source into tokens, as far as the checks of documents need it."""

import re
from typing import NamedTuple

# Also matches comments and preprocessor lines, which tokenize() drops. A preprocessor line may
# continue after a backslash.
_TOKEN = re.compile(
    r"""
    (?P<comment>//[^\n]*|/\*.*?\*/)
  | (?P<directive>^[ \t]*\#(?:[^\\\n]|\\.)*)
  | (?P<raw>R"(?P<mark>[^(\s]*)\((?P<raw_text>.*?)\)(?P=mark)")
  | (?P<string>"(?:[^"\\\n]|\\.)*")
  | (?P<char>'(?:[^'\\\n]|\\.)+')
  | (?P<number>\.?\d(?:[\w.']|(?<=[eEpP])[+-])*)
  | (?P<name>[A-Za-z_]\w*)
  | (?P<mark_of_two>::|->)
  | (?P<other>\S)
    """,
    re.VERBOSE | re.MULTILINE | re.DOTALL,
)
_ESCAPE = re.compile(r"\\(x[0-9a-fA-F]+|[0-7]{1,3}|.)", re.DOTALL)
_SHORT_ESCAPES = {"n": "\n", "t": "\t", "r": "\r", "0": "\0"}

OPENING = {"(": ")", "{": "}", "[": "]"}


class Token(NamedTuple):
    kind: str  # "string" (text without quotes and escapes), "name", "number" or "other"
    text: str
    line: int


def unescape(literal):
    """The text between the quotes of a literal."""

    def value(match):
        escape = match.group(1)
        if escape[0] == "x":
            return chr(int(escape[1:], 16))
        if escape[0] in "01234567":
            return chr(int(escape, 8))
        return _SHORT_ESCAPES.get(escape, escape)

    return _ESCAPE.sub(value, literal)


def tokenize(source):
    """The tokens of a source text; neighbouring string literals are one."""
    tokens = []
    line = 1
    position = 0
    for match in _TOKEN.finditer(source):
        line += source.count("\n", position, match.start())
        position = match.start()
        kind = match.lastgroup
        if match.group("raw") is not None:
            kind, text = "string", match.group("raw_text")
        elif kind == "string":
            text = unescape(match.group()[1:-1])
        elif kind in ("name", "number"):
            text = match.group()
        elif kind in ("comment", "directive"):
            continue
        else:
            kind, text = "other", match.group()
        if kind == "string" and tokens and tokens[-1].kind == "string":
            tokens[-1] = Token("string", tokens[-1].text + text, tokens[-1].line)
        else:
            tokens.append(Token(kind, text, line))
    return tokens


def closing(tokens, opening):
    """The index of the bracket that closes the one at `opening`."""
    depth = 0
    for index in range(opening, len(tokens)):
        if tokens[index].kind == "other":
            if tokens[index].text in OPENING:
                depth += 1
            elif tokens[index].text in OPENING.values():
                depth -= 1
                if depth == 0:
                    return index
    raise ValueError(f"line {tokens[opening].line}: a bracket is not closed")


def split(tokens, separator):
    """The parts of a token list between separators that are outside all brackets."""
    parts = [[]]
    depth = 0
    for token in tokens:
        if token.kind == "other" and token.text in OPENING:
            depth += 1
        elif token.kind == "other" and token.text in OPENING.values():
            depth -= 1
        if depth == 0 and token.kind == "other" and token.text == separator:
            parts.append([])
        else:
            parts[-1].append(token)
    return parts


def arguments(tokens, opening):
    """The arguments of the call whose bracket is at `opening`."""
    inner = tokens[opening + 1 : closing(tokens, opening)]
    return split(inner, ",") if inner else []


def spelled(tokens):
    return "".join(token.text for token in tokens)
