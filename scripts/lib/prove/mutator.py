"""Every small change of a C++ source that a test should notice, found in its tokens alone."""

import bisect
import dataclasses
import re
import zlib

TOKEN = re.compile(
    r"""(?P<space>\s+)
      |(?P<comment>//[^\n]*|/\*.*?\*/)
      |(?P<directive>^\#(?:[^\n]*\\\n)*[^\n]*)
      |(?P<raw>(?:u8|[LuU])?R"(?P<mark>[^()\s]*)\(.*?\)(?P=mark)")
      |(?P<text>(?:u8|[LuU])?"(?:\\.|[^"\\\n])*")
      |(?P<character>(?:u8|[LuU])?'(?:\\.|[^'\\\n])+')
      |(?P<number>\.?\d(?:'?[\w.]|[eEpP][+-])*)
      |(?P<word>[A-Za-z_]\w*)
      |(?P<sign><<=|>>=|<=>|\.\.\.|->\*|::|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|\[\[|.)""", re.VERBOSE | re.DOTALL | re.MULTILINE)

# What stands between two operands, with blanks on both sides, and what takes its place.
BETWEEN = {"==": ["!="], "!=": ["=="], "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"],
           "&&": ["||"], "||": ["&&"], "+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["*"], "&": ["|"],
           "|": ["&"], "<<": [">>"], ">>": ["<<"], "+=": ["-="], "-=": ["+="], "|=": ["&="], "&=": ["|="]}
BESIDE = {"++": "--", "--": "++", "!": "", "~": ""}
WORDS = {"true": "false", "false": "true", "TRUE": "FALSE", "FALSE": "TRUE"}
SCOPES = {"class", "struct", "union", "enum", "namespace", "extern"}
JUMPS = {"return", "break", "continue", "throw", "goto"}
OPENING, CLOSING = {"(": ")", "[": "]", "{": "}", "[[": "]"}, {")", "]", "}"}
PIECE = 24


@dataclasses.dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int

    @property
    def end(self):
        return self.start + len(self.text)


@dataclasses.dataclass(frozen=True)
class Mutant:
    """`text` takes the place of [start, end). `lines` are its own, `statement` those of the statement around it;
    none outside of functions."""
    file: str
    kind: str
    start: int
    end: int
    text: str
    lines: tuple
    statement: tuple
    before: str
    after: str
    number: int

    @property
    def key(self):
        number = f" #{self.number}" if self.number > 1 else ""
        return f"{self.file}: {self.kind}{number}\n- {self.before}\n+ {self.after}"

    def apply(self, source):
        return source[:self.start] + self.text + source[self.end:]


class Source:
    """A source in tokens, with its brackets and statements."""

    def __init__(self, text):
        self.text = text
        self.starts = [0, *(match.end() for match in re.finditer("\n", text))]
        self.tokens = self._without_attributes([
            Token(match.lastgroup if match.lastgroup != "mark" else "raw", match[0], match.start())
            for match in TOKEN.finditer(text)
            if match.lastgroup not in ("comment", "directive", "space")])
        self.partner = self._pair()
        self.braces = {}
        self._classify()
        self.statements = []  # (first token, last token, simple, last of a function)
        self.neighbours = []  # pairs of simple statements
        for opening, kind in self.braces.items():
            if kind == "code":
                self._read_block(opening + 1, self.partner[opening])

    def line(self, position):
        return bisect.bisect_right(self.starts, position)

    @staticmethod
    def _without_attributes(tokens):
        kept, inside = [], False
        for index, token in enumerate(tokens):
            if token.text == "[[":
                inside = True
            if not inside:
                kept.append(token)
            elif token.text == "]" and tokens[index - 1].text == "]":
                inside = False
        return kept

    def _pair(self):
        partner, open_ones = {}, []
        for index, token in enumerate(self.tokens):
            if token.kind != "sign":
                continue
            if token.text in OPENING:
                open_ones.append(index)
            elif token.text in CLOSING:
                opening = open_ones.pop()
                partner[opening], partner[index] = index, opening
        return partner

    def _classify(self):
        """Says of each brace whether it opens code, a scope of declarations or a list of values."""
        around = []
        for index, token in enumerate(self.tokens):
            if token.kind != "sign":
                continue
            if token.text == "{":
                self.braces[index] = self._brace(index, around[-1] if around else "scope")
                around.append(self.braces[index])
            elif token.text == "}":
                around.pop()

    def _brace(self, index, around):
        before = self.tokens[index - 1].text if index else ";"
        if before in (")", "else", "do", "try", "const", "noexcept", "override", "mutable"):
            return "code"
        if before == "]":
            return "code" if self._is_lambda(self.partner[index - 1]) else "values"
        header = self._header(index)
        if header & SCOPES:
            return "scope"
        if "->" in header and ")" in header:
            return "code"
        if around == "values" or before in ("=", "(", ",", "return") or self.tokens[index - 1].kind == "word":
            return "values"
        return "code" if before in (";", "{", "}", ":") else "values"

    def _is_lambda(self, opening):
        before = self.tokens[opening - 1]
        return before.kind == "sign" and before.text not in (")", "]") or before.text == "return"

    def _header(self, index):
        """The words between the last statement or brace and this brace."""
        words = set()
        index -= 1
        while index >= 0 and self.tokens[index].text not in (";", "{", "}"):
            words.add(self.tokens[index].text)
            if self.tokens[index].text in CLOSING:
                index = self.partner[index]
                words.add("(")
            elif self.tokens[index].text in ("(", "["):
                break
            index -= 1
        return words

    def _read_block(self, index, end):
        previous = None
        while index < end:
            first = index
            index, simple = self._read_statement(index, end)
            if simple and previous is not None and not self._jumps(first) and not self._jumps(previous[0]):
                self.neighbours.append((previous, (first, index - 1)))
            previous = (first, index - 1) if simple else None

    def _jumps(self, index):
        return self.tokens[index].text in JUMPS

    def _read_statement(self, index, end):
        """Reads the statement at `index`. Answers where the next one begins, and whether it was a simple one."""
        word = self.tokens[index].text
        first = index
        if word == "{":
            return self.partner[index] + 1, False
        if word in ("if", "while", "for", "switch", "catch"):
            while self.tokens[index].text != "(":
                index += 1
            index = self._read_inner(self.partner[index] + 1, end)
            if word == "if" and index < end and self.tokens[index].text == "else":
                return self._read_inner(index + 1, end), False
            if word != "catch":
                self.statements.append((first, index - 1))
            return index, False
        if word in ("else", "do", "try"):
            return self._read_inner(index + 1, end), False
        if word in ("case", "default"):
            while self.tokens[index].text != ":":
                index += 1
            return index + 1, False
        while index < end and self.tokens[index].text != ";":
            index = self.partner[index] + 1 if self.tokens[index].text in OPENING else index + 1
        self.statements.append((first, index))
        return index + 1, True

    def _read_inner(self, index, end):
        return self._read_statement(index, end)[0]

    def in_code_or_values(self, index):
        """Not among declarations, where a list is one of parameters."""
        around = [(opening, kind) for opening, kind in self.braces.items() if opening < index < self.partner[opening]]
        return bool(around) and max(around)[1] != "scope"

    def statement_around(self, start, end):
        """The lines of the smallest statement around the place; none outside of functions."""
        found = ()
        for first, last in self.statements:
            begin, stop = self.tokens[first].start, self.tokens[min(last, len(self.tokens) - 1)].end
            if begin <= start and end <= stop and (not found or stop - begin < found[1] - found[0]):
                found = (begin, stop)
        return (self.line(found[0]), self.line(found[1] - 1)) if found else ()


def mutants(file, text):
    """All mutants of the file, in the order of their places."""
    source = Source(text)
    changes = set()
    for find in (_operators, _constants, _flags, _texts, _statements, _arguments):
        changes.update(find(source))
    found, numbers = [], {}
    for start, end, new, kind in sorted(changes):
        if text[start:end] == new:
            continue
        lines = (source.line(start), source.line(end - 1))
        whole = text[source.starts[lines[0] - 1]:start], text[end:].split("\n", 1)[0]
        before = _squeezed(whole[0] + text[start:end] + whole[1])
        after = _squeezed(whole[0] + new + whole[1])
        identity = (kind, before, after)
        numbers[identity] = numbers.get(identity, 0) + 1
        found.append(Mutant(file, kind, start, end, new, lines, source.statement_around(start, end), before, after,
                            numbers[identity]))
    return found


def _squeezed(text):
    return " ".join(text.split())


def _operators(source):
    tokens, text = source.tokens, source.text
    for index, token in enumerate(tokens):
        if token.kind != "sign" or index and tokens[index - 1].text == "operator":
            continue
        if token.text in BETWEEN and text[token.start - 1].isspace() and text[token.end].isspace():
            for new in BETWEEN[token.text]:
                yield token.start, token.end, new, "operator"
        elif token.text in BESIDE and not (token.text == "~" and tokens[index + 2].text == "("):
            yield token.start, token.end, BESIDE[token.text], "operator"


def _constants(source):
    for token in source.tokens:
        if token.kind == "word" and token.text in WORDS:
            yield token.start, token.end, WORDS[token.text], "constant"
        elif token.kind == "number":
            match = re.fullmatch(r"(0[xX])?([\da-fA-F']+?)([uUlLzZ]*)", token.text)
            if not match:
                continue
            base = 16 if match[1] else 10
            value = int(match[2].replace("'", ""), base)
            for new in [value + 1] + [value - 1] * (value > 0):
                digits = f"{new:0{len(match[2])}X}" if match[1] else str(new)
                yield token.start, token.end, f"{match[1] or ''}{digits}{match[3]}", "constant"
        elif token.kind == "character":
            prefix, character = re.fullmatch(r"(\w*)'(.*)'", token.text, re.DOTALL).groups()
            yield token.start, token.end, f"{prefix}'{_other(character) if len(character) == 1 else 'x'}'", "constant"


def _other(character):
    """Another character of the same kind."""
    if character in "zZ9":
        return chr(ord(character) - 1)
    if character.isascii() and character.isalnum():
        return chr(ord(character) + 1)
    return "_" if character != "_" else "x"


def _flags(source):
    """One of several flags is left out."""
    tokens, text = source.tokens, source.text
    for index, token in enumerate(tokens):
        if token.kind != "sign" or token.text != "|" or not text[token.start - 1].isspace():
            continue
        left = _operand(source, index - 1, -1)
        right = _operand(source, index + 1, 1)
        yield tokens[left].start, tokens[index + 1].start, "", "flag"
        yield tokens[index - 1].end, tokens[right].end, "", "flag"


def _operand(source, index, step):
    """The far end of the operand at `index`: names, calls and numbers."""
    tokens = source.tokens
    last = index
    while tokens[index].kind in ("word", "number") or tokens[index].text in ("::", ".", "->", "(", ")", "[", "]"):
        if tokens[index].text in ("(", "[") and step < 0 or tokens[index].text in (")", "]") and step > 0:
            break
        if index in source.partner:
            index = source.partner[index]
        last = index
        index += step
        if tokens[last].kind in ("word", "number") and tokens[index].kind in ("word", "number"):
            break
    return last


def _texts(source):
    """In each piece of a text one character is another one."""
    for index, token in enumerate(source.tokens):
        if token.kind not in ("text", "raw") or source.tokens[index - 1].text == "extern":
            continue
        begin = token.text.index('"') + 1
        end = len(token.text) - 1
        if token.kind == "raw":
            begin = token.text.index("(") + 1
            end = token.text.rindex(")")
        if begin == end:
            yield token.start + begin, token.start + begin, "x", "text"
        for piece in range(begin, end, PIECE):
            places = _free_places(token, begin, piece, min(piece + PIECE, end))
            if places:
                place = places[zlib.crc32(f"{piece} {token.text}".encode()) % len(places)]
                old = token.text[place]
                yield token.start + place, token.start + place + 1, _other(old), "text"


def _free_places(token, begin, first, last):
    """Where a character stands for itself: no escape, no line's end, not what a format's percent sign begins."""
    taken = set()
    if token.kind == "text":
        for match in re.finditer(r"\\(?:x[0-9a-fA-F]+|[0-7]{1,3}|u\w{4}|.)", token.text[begin:]):
            taken.update(range(begin + match.start(), begin + match.end()))
    for match in re.finditer(r"%[-+ #0]*[\d*]*(?:\.[\d*]+)?(?:hh|h|ll|l|I64|z|w)?[a-zA-Z%]", token.text):
        taken.update(range(match.start(), match.end()))
    return [place for place in range(first, last) if place not in taken and token.text[place] != "\n"]


def _statements(source):
    """A statement is left out, and two neighbours change places."""
    tokens, text = source.tokens, source.text
    for first, last in source.statements:
        if first == last or tokens[first].text in ("using", "static_assert", "typedef"):
            continue
        # Without its last return a function has no value at all.
        if tokens[first].text == "return" and last - first > 1 and tokens[last + 1].text == "}" and (
                _closes_function(source, last + 1)):
            continue
        yield tokens[first].start, tokens[last].end, ";", "statement"
    for (first, last), (next_first, next_last) in source.neighbours:
        one = text[tokens[first].start:tokens[last].end]
        between = text[tokens[last].end:tokens[next_first].start]
        other = text[tokens[next_first].start:tokens[next_last].end]
        yield tokens[first].start, tokens[next_last].end, other + between + one, "order"


def _closes_function(source, closing):
    opening = source.partner[closing]
    around = [index for index in source.braces
              if index < opening and source.partner[index] > closing and source.braces[index] == "code"]
    return not around


def _arguments(source):
    """Two neighbours in a list of arguments or values change places."""
    tokens, text = source.tokens, source.text
    for opening, token in enumerate(tokens):
        if token.kind != "sign" or not (token.text == "(" and source.in_code_or_values(opening) or
                                        token.text == "{" and source.braces[opening] == "values"):
            continue
        parts = _parts(source, opening)
        for one, other in zip(parts, parts[1:]):
            if not one or not other:
                continue
            first, second = text[one[0]:one[1]], text[other[0]:other[1]]
            yield one[0], other[1], second + text[one[1]:other[0]] + first, "order"


def _parts(source, opening):
    """The ranges between the commas of a list."""
    tokens, text = source.tokens, source.text
    parts, first, index, angles = [], opening + 1, opening + 1, 0
    closing = source.partner[opening]
    while index <= closing:
        word = tokens[index].text
        if word == "<" and not text[tokens[index].start - 1].isspace():
            angles += 1
        elif word in (">", ">>") and angles:
            angles = max(0, angles - len(word))
        elif word == ";":
            return []
        elif index == closing or word == "," and not angles:
            parts.append((tokens[first].start, tokens[index - 1].end) if first < index else None)
            first = index + 1
        if index < closing and word in OPENING:
            index = source.partner[index]
        index += 1
    return parts
