"""Finds the errors that the sources of the library raise.

A raise is a `throw` of an exception with a message, or a call of process_assert or ZANDREL_ASSERT.
Its message is a list of pieces: the literal texts of the source, and HOLE for a part that is known only
when the program runs.

If a function takes the message (or the number) as a parameter and throws it, each of its calls is a
raise. Code that cannot be understood is an error, so that no raise is missed.
"""

import pathlib
import re
from typing import NamedTuple, Optional

from cpp_tokens import Token, arguments, closing, spelled, split, tokenize

HOLE = None  # a piece of a message that the source does not tell
ASSERTION = "process_assert"  # stands for the class in assertions

_ASSERT_CALLS = {"process_assert": 0, "ZANDREL_ASSERT": 1}  # where the text stands
_CONVERSIONS = ("qtString", "string", "string_view")
_NO_EFFECT = ("c_str", "str", "view", "data")
_NO_FUNCTIONS = ("if", "for", "while", "switch", "catch")
_DEEPEST_WRAPPER = 4
_CONSTANT = re.compile(r"k[A-Z]\w*|[A-Z][A-Z0-9_]+")


class Raise(NamedTuple):
    raised: str  # "qtX<zeSml>", "qtXbase", "process_assert"
    number: str  # "-" where the class has none
    pieces: tuple
    argument_count: Optional[int]  # None where the source does not tell; then there are some
    place: str  # "folder/file.cpp:12"

    def key(self):
        return self.raised, self.number, self.pieces


class NotUnderstood(Exception):
    pass


class Unsettled(NamedTuple):
    """A raise whose expressions are not yet resolved."""

    raised: str
    number: Optional[list]  # tokens, as the next two
    message: list
    given: Optional[list]
    source: str  # the file, and the place in it at which the parameters are to be looked up
    index: int


class Function(NamedTuple):
    name: str
    parameters: dict  # name to the tokens of its default, or None


class Sources:
    """The token lists of some files, by name."""

    def __init__(self, texts):
        self.files = {name: tokenize(text) for name, text in texts.items()}
        self.constants = {}
        for tokens in self.files.values():
            self._find_constants(tokens)

    @staticmethod
    def of_folder(folder):
        folder = pathlib.Path(folder)
        paths = sorted(p for p in folder.rglob("*") if p.suffix in (".h", ".cpp"))
        return Sources(
            {p.relative_to(folder.parent).as_posix(): p.read_text("utf-8") for p in paths}
        )

    def _find_constants(self, tokens):
        """`kName = literal`, which may be an enumerator."""
        for index in range(len(tokens) - 2):
            name, equals, value = tokens[index : index + 3]
            if not _CONSTANT.fullmatch(name.text) or equals.text != "=":
                continue
            if value.kind in ("string", "number"):
                self.constants.setdefault(name.text, value)

    def raises(self):
        found = []
        for source, tokens in self.files.items():
            for index, token in enumerate(tokens):
                for each in self._at(source, tokens, index, token):
                    found.extend(self._settle(each, 0))
        return found

    def place(self, source, index):
        return f"{source}:{self.files[source][index].line}"

    def _at(self, source, tokens, index, token):
        if token.kind != "name":
            return
        if token.text == "throw" and tokens[index + 1].text != ";":
            unsettled = self._of_throw(source, tokens, index)
            if unsettled is not None:
                yield unsettled
        elif token.text in _ASSERT_CALLS and _is_call(tokens, index):
            text = arguments(tokens, index + 1)[_ASSERT_CALLS[token.text]]
            yield Unsettled(ASSERTION, None, text, None, source, index)

    def _of_throw(self, source, tokens, index):
        start = index + 1
        end = start
        depth = 0
        while depth > 0 or tokens[end].text not in ("(", "{", ";"):
            depth += {"<": 1, ">": -1}.get(tokens[end].text, 0)
            end += 1
        raised = spelled(tokens[start:end])
        given = arguments(tokens, end) if tokens[end].text != ";" else []
        if raised == "qtxAssert":
            return None  # The handler of assertions; the text is that of process_assert's callers.
        if not given or (raised.startswith("qtX<") and len(given) < 2):
            raise NotUnderstood(f"{self.place(source, index)}: a throw without a message")
        if raised.startswith("qtX<"):
            number, message, rest = given[0], given[1], given[2:]
        elif raised == "qtXbase":
            number = given[1] if len(given) > 1 else [Token("number", "0", 0)]
            message, rest = given[0], given[2:]
        else:
            number, message, rest = None, given[0], []
        return Unsettled(raised, number, message, rest[0] if rest else None, source, index)

    def _settle(self, raw, depth):
        """The raises of one place, which are several behind a wrapper."""
        function = self._enclosing_function(raw.source, raw.index)
        number = self._number(raw.number)
        messages = self._pieces(raw, raw.message)
        is_told = any(piece is not HOLE for pieces in messages for piece in pieces)
        if number is not None and is_told:
            return [
                Raise(
                    raw.raised,
                    number,
                    pieces,
                    _count(raw.given),
                    self.place(raw.source, raw.index),
                )
                for pieces in messages
            ]
        calls = list(self._calls(raw.source, function)) if function else []
        if not calls or depth == _DEEPEST_WRAPPER:
            raise NotUnderstood(
                f"{self.place(raw.source, raw.index)}: cannot tell number and text of this raise"
            )
        return [each for call in calls for each in self._settle_call(raw, function, call, depth)]

    def _settle_call(self, raw, function, call, depth):
        source, index = call
        values = _bind(function, arguments(self.files[source], index + 1))

        def substituted(tokens):
            return None if tokens is None else _substitute(tokens, values)

        outer = Unsettled(
            raw.raised,
            substituted(raw.number),
            substituted(raw.message),
            substituted(raw.given),
            source,
            index,
        )
        return self._settle(outer, depth + 1)

    def _calls(self, source, function):
        """A function of a source file is called there, one that is a member anywhere."""
        names = function.name.split("::")
        is_local = source.endswith(".cpp") and len(names) == 1
        for other in [source] if is_local else self.files:
            tokens = self.files[other]
            for index, token in enumerate(tokens):
                if token.text == names[-1] and token.kind == "name" and _is_call(tokens, index):
                    yield other, index

    def _number(self, tokens):
        if tokens is None:
            return "-"
        tokens = _without_brackets(tokens)
        last = tokens[-1]
        if last.kind == "name" and last.text in self.constants:
            last = self.constants[last.text]
        return last.text if last.kind == "number" else None

    def _pieces(self, raw, tokens):
        """All messages that an expression may give, each as a tuple of pieces."""
        tokens = _without_brackets(tokens)
        question = split(tokens, "?")
        if len(question) == 2:
            return [p for branch in split(question[1], ":") for p in self._pieces(raw, branch)]
        messages = [()]
        for term in split(tokens, "+"):
            tails = self._term(raw, term)
            messages = [_joined(message + tail) for message in messages for tail in tails]
        return messages

    def _term(self, raw, tokens):
        if len(tokens) == 1 and tokens[0].kind == "string":
            return [(tokens[0].text,)]
        if tokens[-1].text in self.constants and all(t.kind == "name" or t.text == "::" for t in tokens):
            constant = self.constants[tokens[-1].text]
            return [(constant.text,)] if constant.kind == "string" else [(HOLE,)]
        unwrapped = _without_conversions(tokens)
        if unwrapped != tokens:
            return self._pieces(raw, unwrapped)
        if tokens[0].text == "(" and closing(tokens, 0) == len(tokens) - 1:
            return self._pieces(raw, tokens)
        if any(token.kind == "string" for token in tokens):
            raise NotUnderstood(
                f"{self.place(raw.source, raw.index)}: a text inside {spelled(tokens)}"
            )
        return [(HOLE,)]

    def _enclosing_function(self, source, index):
        tokens = self.files[source]
        depth = 0
        for at in range(index - 1, -1, -1):
            if tokens[at].kind != "other":
                continue
            if tokens[at].text == "}":
                depth += 1
            elif tokens[at].text == "{":
                if depth == 0:
                    function = _function_before(tokens, at)
                    if function is not None:
                        return function
                else:
                    depth -= 1
        return None


def _is_call(tokens, index):
    """True if the name at `index` is called there and not declared."""
    if index + 1 == len(tokens) or tokens[index + 1].text != "(":
        return False
    before = index - 1
    while before > 0 and tokens[before].text == "::":
        before -= 2
    if before < 0:
        return False
    if tokens[before].kind == "name":
        return tokens[before].text in ("return", "else", "do", "throw")
    return tokens[before].text not in ("*", "&", ">")


def _function_before(tokens, brace):
    """The function whose body begins at `brace`, or None if something else does."""
    at = brace - 1
    while tokens[at].kind == "name" and tokens[at].text in ("const", "noexcept", "override", "final"):
        at -= 1
    if tokens[at].text != ")":
        return None
    depth = 0
    while True:
        depth += {")": 1, "(": -1}.get(tokens[at].text, 0) if tokens[at].kind == "other" else 0
        if depth == 0:
            break
        at -= 1
    name = tokens[at - 1]
    if name.kind != "name" or name.text in _NO_FUNCTIONS:
        return None
    is_member = tokens[at - 2].text == "::"
    full_name = f"{tokens[at - 3].text}::{name.text}" if is_member else name.text
    parameters = {}
    for parameter in arguments(tokens, at):
        declared, *default = split(parameter, "=")
        parameters[declared[-1].text] = default[0] if default else None
    return Function(full_name, parameters)


def _bind(function, given):
    values = {}
    for position, (name, default) in enumerate(function.parameters.items()):
        value = given[position] if position < len(given) else default
        if value is not None:
            values[name] = value
    return values


def _substitute(tokens, values):
    replaced = []
    for index, token in enumerate(tokens):
        is_member = index > 0 and tokens[index - 1].text in (".", "->")
        if token.kind == "name" and token.text in values and not is_member:
            replaced += [Token("other", "(", token.line), *values[token.text]]
            replaced.append(Token("other", ")", token.line))
        else:
            replaced.append(token)
    return replaced


def _without_brackets(tokens):
    while tokens and tokens[0].text == "(" and closing(tokens, 0) == len(tokens) - 1:
        tokens = tokens[1:-1]
    return tokens


def _without_conversions(tokens):
    """`qtString(a).append(b)` as `(a)+(b)`, and `a.c_str()` as `a`."""
    if len(tokens) > 3 and tokens[-2].text == "(" and tokens[-3].text in _NO_EFFECT:
        return tokens[:-4]
    start = 2 if tokens[0].text == "std" and len(tokens) > 2 and tokens[1].text == "::" else 0
    if tokens[start].text not in _CONVERSIONS or tokens[start + 1 : start + 2] == []:
        return tokens
    if tokens[start + 1].text != "(":
        return tokens
    end = closing(tokens, start + 1)
    result = tokens[start + 1 : end + 1]
    while end + 2 < len(tokens) and tokens[end + 2].text == "append":
        appended = end + 3
        end = closing(tokens, appended)
        result += [Token("other", "+", 0), *tokens[appended : end + 1]]
    return result if end == len(tokens) - 1 else tokens


def _joined(pieces):
    """The same without empty texts, neighbouring texts as one, and neighbouring holes too."""
    joined = []
    for piece in pieces:
        if piece == "":
            continue
        if joined and piece is HOLE and joined[-1] is HOLE:
            continue
        if joined and piece is not HOLE and joined[-1] is not HOLE:
            joined[-1] += piece
        else:
            joined.append(piece)
    return tuple(joined)


def _count(given):
    if given is None:
        return 0
    given = _without_brackets(given)
    if given[0].text == "{" and closing(given, 0) == len(given) - 1:
        return len(arguments(given, 0))
    return None
