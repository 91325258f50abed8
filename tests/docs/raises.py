"""Finds the errors that the sources of the library raise.

A raise is a `throw` of an exception with a message, or a call of process_assert or ZANDREL_ASSERT.
Its message is a list of pieces: the literal texts of the source, and HOLE for a part that is known only
when the program runs.

If a function throws a message (or a number) that it takes as a parameter, each of its calls is a raise:
the arguments replace the parameters in the thrown expression. Code that cannot be understood is an
error, so that no raise is missed. Example:

    void refuse(const char* what) { throw qtX<A>(1, what); }     // finds nothing here,
    void f() { refuse("Bad: " + key); }                          // but qtX<A> 1 "Bad: " + HOLE here
"""

import itertools
import pathlib
import re
from typing import NamedTuple, Optional

from cpp_tokens import Token, arguments, closing, spelled, split, tokenize

HOLE = None  # a piece of a message that the source does not show
ASSERTION = "process_assert"  # takes the place of the class in assertions

_ASSERT_CALLS = {"process_assert": 0, "ZANDREL_ASSERT": 1}  # which argument is the text
_CONVERSIONS = ("qtString", "string", "string_view")
_NO_EFFECT = ("c_str", "str", "view", "data")
_NO_FUNCTIONS = ("if", "for", "while", "switch", "catch")
_BEFORE_BODY = ("const", "noexcept", "override", "final")
_DEEPEST_WRAPPER = 4
_CONSTANT = re.compile(r"k[A-Z]\w*|[A-Z][A-Z0-9_]+")


class Raise(NamedTuple):
    raised: str  # "qtX<zeSml>", "qtXbase", "process_assert"
    number: str  # "-" where the class has none
    pieces: tuple
    argument_count: Optional[int]  # None where the source does not show it; then there are some
    place: str  # "folder/file.cpp:12"

    def key(self):
        return self.raised, self.number, self.pieces


class NotUnderstood(Exception):
    pass


class Thrown(NamedTuple):
    """The tokens of a raise, in which parameters may still be replaced."""

    raised: str
    parts: list  # the tokens of number, message and arguments; none for a part that is missing
    source: str  # the file, and the place in it
    index: int


class Function(NamedTuple):
    name: str  # "zeIO::Read" for a member that is defined outside of its class
    parameters: dict  # name to the tokens of its default, which may be none
    body: range


class Sources:
    """The token lists of some files, by name."""

    def __init__(self, texts):
        self.files = {name: tokenize(text) for name, text in texts.items()}
        self.functions = {name: list(_functions(tokens)) for name, tokens in self.files.items()}
        self.constants = {}  # `kName = literal`, which may be an enumerator
        for tokens in self.files.values():
            for name, equals, value in zip(tokens, tokens[1:], tokens[2:]):
                is_literal = equals.text == "=" and value.kind in ("string", "number")
                if is_literal and _CONSTANT.fullmatch(name.text):
                    self.constants.setdefault(name.text, value)

    @staticmethod
    def of_folder(folder):
        folder = pathlib.Path(folder)
        paths = sorted(p for p in folder.rglob("*") if p.suffix in (".h", ".cpp"))
        return Sources(
            {p.relative_to(folder.parent).as_posix(): p.read_text("utf-8") for p in paths}
        )

    def raises(self):
        found = []
        for source, tokens in self.files.items():
            for index, token in enumerate(tokens):
                if token.kind == "name":
                    found += self._raises_at(source, tokens, index)
        return found

    def _raises_at(self, source, tokens, index):
        text = tokens[index].text
        if text == "throw" and tokens[index + 1].text != ";":
            raised, parts = self._parts_of_throw(source, tokens, index)
        elif text in _ASSERT_CALLS and _is_call(tokens, index):
            raised = ASSERTION
            parts = [[], arguments(tokens, index + 1)[_ASSERT_CALLS[text]], []]
        else:
            return []
        if raised == "qtxAssert":
            return []  # in the handler of assertions; the text is that of process_assert's callers
        return self._settled(Thrown(raised, parts, source, index), 0)

    def _parts_of_throw(self, source, tokens, index):
        end = index + 1
        depth = 0
        while depth > 0 or tokens[end].text not in ("(", "{", ";"):
            depth += {"<": 1, ">": -1}.get(tokens[end].text, 0)
            end += 1
        raised = spelled(tokens[index + 1 : end])
        given = arguments(tokens, end) if tokens[end].text != ";" else []
        has_number = raised.startswith("qtX<")
        if len(given) < (2 if has_number else 1):
            self._refuse(source, index, "a throw without a message")
        if raised == "qtXbase":
            given = [given[1] if len(given) > 1 else [Token("number", "0", 0)], given[0], *given[2:]]
        elif not has_number:
            given = [[], given[0]]
        return raised, [*given, []][:3]

    def _settled(self, thrown, depth):
        """The raises of one place, or those of the calls if parameters are thrown there."""
        number_tokens, message, given = thrown.parts
        number = self._number(number_tokens)
        messages = self._messages(thrown, message)
        if number is not None and set(itertools.chain(*messages)) - {HOLE}:
            place = f"{thrown.source}:{self.files[thrown.source][thrown.index].line}"
            return [Raise(thrown.raised, number, each, _count(given), place) for each in messages]
        calls = list(self._calls(thrown)) if depth < _DEEPEST_WRAPPER else []
        if not calls:
            self._refuse(thrown.source, thrown.index, "cannot find number and text of this raise")
        return [each for call in calls for each in self._settled(call, depth + 1)]

    def _calls(self, thrown):
        """The same raise for each call of its function, with the arguments of the call.

        A function of a source file is called in that file, and a member anywhere.
        """
        around = [f for f in self.functions[thrown.source] if thrown.index in f.body]
        if not around:
            return
        function = around[-1]
        names = function.name.split("::")
        is_local = thrown.source.endswith(".cpp") and len(names) == 1
        for source in [thrown.source] if is_local else self.files:
            tokens = self.files[source]
            for index, token in enumerate(tokens):
                if token.text == names[-1] and token.kind == "name" and _is_call(tokens, index):
                    given = arguments(tokens, index + 1)
                    values = {**function.parameters, **dict(zip(function.parameters, given))}
                    parts = [_substituted(part, values) for part in thrown.parts]
                    yield Thrown(thrown.raised, parts, source, index)

    def _number(self, tokens):
        if not tokens:
            return "-"
        last = _without_brackets(tokens)[-1]
        if last.kind == "name":
            last = self.constants.get(last.text, last)
        return last.text if last.kind == "number" else None

    def _messages(self, thrown, tokens):
        """All messages that an expression may give, each as a tuple of pieces."""
        tokens = _without_brackets(_without_conversions(tokens))
        question = split(tokens, "?")
        if len(question) == 2:
            return [m for branch in split(question[1], ":") for m in self._messages(thrown, branch)]
        terms = split(tokens, "+")
        if len(terms) > 1:
            tails = itertools.product(*(self._messages(thrown, term) for term in terms))
            return [_joined(itertools.chain(*each)) for each in tails]
        is_name = all(token.kind == "name" or token.text == "::" for token in tokens)
        last = self.constants.get(tokens[-1].text, tokens[-1]) if is_name else tokens[-1]
        if last.kind == "string" and (is_name or len(tokens) == 1):
            return [(last.text,)]
        if any(token.kind == "string" for token in tokens):
            self._refuse(thrown.source, thrown.index, f"a text inside {spelled(tokens)}")
        return [(HOLE,)]

    def _refuse(self, source, index, reason):
        raise NotUnderstood(f"{source}:{self.files[source][index].line}: {reason}")


def _functions(tokens):
    """The functions with a body. One that is inside another comes after it."""
    for index, (name, bracket) in enumerate(zip(tokens, tokens[1:])):
        if name.kind != "name" or name.text in _NO_FUNCTIONS or bracket.text != "(":
            continue
        begin = closing(tokens, index + 1) + 1
        while begin < len(tokens) and tokens[begin].text in _BEFORE_BODY:
            begin += 1
        if begin < len(tokens) and tokens[begin].text == "{":
            parameters = {}
            for parameter in arguments(tokens, index + 1):
                declared, *default = split(parameter, "=")
                parameters[declared[-1].text] = default[0] if default else []
            is_member = tokens[index - 1].text == "::"
            full_name = f"{tokens[index - 2].text}::{name.text}" if is_member else name.text
            yield Function(full_name, parameters, range(begin, closing(tokens, begin)))


def _is_call(tokens, index):
    """True if the name at `index` is called there and not declared."""
    if [token.text for token in tokens[index + 1 : index + 2]] != ["("]:
        return False
    while tokens[index - 1].text == "::":
        index -= 2
    before = tokens[index - 1]
    if before.kind == "name":
        return before.text in ("return", "else", "do", "throw")
    return before.text not in ("*", "&", ">")


def _bracketed(tokens):
    return [Token("other", "(", 0), *tokens, Token("other", ")", 0)]


def _substituted(tokens, values):
    replaced = []
    for index, token in enumerate(tokens):
        is_member = index > 0 and tokens[index - 1].text in (".", "->")
        is_parameter = token.kind == "name" and values.get(token.text) and not is_member
        replaced += _bracketed(values[token.text]) if is_parameter else [token]
    return replaced


def _without_brackets(tokens):
    while tokens[0].text == "(" and closing(tokens, 0) == len(tokens) - 1:
        tokens = tokens[1:-1]
    return tokens


def _without_conversions(tokens):
    """`std::string(a).append(b)` as `(a)+(b)`, and `a.c_str()` as `a`."""
    result = []
    index = 0
    while index < len(tokens):
        texts = [token.text for token in tokens[index : index + 4]]
        if texts[:2] == ["std", "::"]:
            index += 2
        elif texts[0] in _CONVERSIONS and texts[1:2] == ["("]:
            index += 1
        elif texts[:2] == [".", "append"]:
            result.append(Token("other", "+", 0))
            index += 2
        elif texts[0] == "." and texts[1:2] and texts[1] in _NO_EFFECT and texts[2:] == ["(", ")"]:
            index += 4
        else:
            result.append(tokens[index])
            index += 1
    return result


def _joined(pieces):
    """The same without empty texts, neighbouring texts as one, and neighbouring holes too."""
    joined = []
    for is_hole, run in itertools.groupby((p for p in pieces if p != ""), lambda p: p is HOLE):
        joined.append(HOLE if is_hole else "".join(run))
    return tuple(joined)


def _count(given):
    if not given:
        return 0
    given = _without_brackets(given)
    if given[0].text == "{" and closing(given, 0) == len(given) - 1:
        return len(arguments(given, 0))
    return None
