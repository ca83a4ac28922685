"""Finds the places of a C++ source that can be mutated.

It reads text, not syntax, and relies on the layout that clang-format gives: spaces around binary operators,
braces around each branch. What it takes for an expression and is none does not compile, which drops it.
"""
import dataclasses
import re

KINDS = ("arithmetic", "check", "comparison", "constant", "index", "lock", "logical", "statement")

# Levels of binary operators, the loosest first; 0 ends any expression.
_LEVELS = {operator: level for level, operators in enumerate(
    ("= += -= *= /= %= &= |= ^= <<= >>= ? :", "||", "&&", "|", "^", "&", "== !=", "< <= > >= <=>", "<< >>", "+ -",
     "* / %")) for operator in operators.split()}
_SWAPS = {
    "comparison": {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="},
    "logical": {"&&": "||", "||": "&&"},
    "arithmetic": {"+": "-", "-": "+", "*": "+", "/": "*", "%": "/", "&": "|", "|": "&"},
}
_KIND_OF = {operator: kind for kind, swaps in _SWAPS.items() for operator in swaps}

_NOT_CODE = re.compile(r'''R"([^(\s]*)\(.*?\)\1"|//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|(?<![\w])'(?:\\.|[^'\\\n])+'|'''
                       r'''^[ \t]*\#(?:[^\n]*\\\n)*[^\n]*''', re.DOTALL | re.MULTILINE)
_OPERATOR = r"(?<=\S) (?P<operator>\|\||&&|<<=|>>=|<=>|[=!<>]=|[-+*/%&|^]=|<<|>>|[-+*/%&|^<>=?:])(?=\s)"
_TOKEN = re.compile(_OPERATOR + r"|(?P<open>[(\[{])|(?P<close>[)\]}])|(?P<end>[,;]|\b(?:return|throw)\b)")
_LABELS = re.compile(r"\s*(?:(?:case (?:[^:]|::)+|default):(?!:)\s*)*")
_UNSUITABLE = re.compile(r"(?:(?:static|inline|const) )*constexpr\b|(?:else )?if constexpr\b|"
                         r"(?:static_assert|using|typedef|template|assert|friend|alignas)\b|"
                         r"(?!return|throw|delete|else)[\w:]+(?:<[^;=(]*>)? \w+\[|"  # the extents of an array
                         r"[\w.>-]+(?:\.|->)reserve\(")                              # a capacity changes nothing
_NUMBER = re.compile(r"(?<![\w.'<])(?:0[xX][\da-fA-F']+|\d[\d']*)(?P<float>\.[\da-fA-F']*)?(?:[eEpP][-+]?\d+)?\w*"
                     r"(?![\w.'>])")
_SUBSCRIPT = re.compile(r"(?<=[\w)\]])\[([^\[\]\"]+)\]")
_LOCK = re.compile(r"(?:const )?std::(?:lock_guard|scoped_lock)(?:<.*>)? (\w+)\(([^,]+)\)\Z")
_EXPRESSION_STATEMENT = re.compile(
    r"(?!(?:return|throw|delete|if|for|while|switch|do|else|static_cast|co_return|goto)\b)"
    r"(?:\+\+|--|\*)?[\w:]+(?:<[^;=(]*>)?(?:(?:\.|->)\w+|\[[^;=]*?\]|\((?:[^()]|\([^()]*\))*\))*"
    r"(?:\(| [-+*/%&|^]?= | (?:<<|>>)= |\Z)")


@dataclasses.dataclass(frozen=True)
class Candidate:
    kind: str
    begin: int
    end: int
    switched: str  # what stands there instead, with "@" for "this mutation is chosen"
    mutated: str   # what that comes to if it is


def find(text):
    """All candidates in a source, in order; some overlap."""
    masked = _mask(text)
    found = []
    for piece in _split_functions(masked):
        if not _UNSUITABLE.match(masked, piece.begin):
            found += _find_in_statements(text, masked, piece)
            found += _find_operators(text, masked, piece)
            found += _find_values(text, masked, piece)
    return sorted(found, key=lambda c: (c.begin, c.end, c.kind, c.mutated))


def _mask(text):
    """The text with something harmless of equal length for comments, directives and literals of text."""
    def cover(match):
        return re.sub(r"[^\n]", '"' if match.group().startswith(('"', "'", "R")) else " ", match.group())
    return _NOT_CODE.sub(cover, text)


@dataclasses.dataclass(frozen=True)
class _Piece:
    """What stands between braces and semicolons: a statement, the head of one, or part of one."""
    begin: int
    end: int
    before: str  # the character that ends what is before it
    after: str   # the character that ends it


def _split_functions(masked):
    """The pieces of all function bodies and of constructors' initialisers."""
    pieces = []
    scopes = []  # for each open brace: what it opens, and the parentheses that were open before it
    parentheses, begin, before = 0, 0, ";"
    for at, character in enumerate(masked):
        if character in "([":
            parentheses += 1
        elif character in ")]":
            parentheses -= 1
        if character not in "{};" or (character == ";" and parentheses > 0):
            continue
        begin = _LABELS.match(masked, begin, at).end()
        is_inside = "function" in _kinds_of(scopes)
        start = begin if is_inside else None
        kind = "function" if is_inside else "other"
        if character == "{" and not is_inside and all(k == "scope" for k in _kinds_of(scopes)):
            kind, start = _classify(masked, begin, at)
        if start is not None and start < at:
            pieces.append(_Piece(start, at, before, character))
        if character == "{":
            scopes.append((kind, parentheses))
            parentheses = 0
        elif character == "}" and scopes:
            parentheses = scopes.pop()[1]
        begin, before = at + 1, character
    return pieces


def _kinds_of(scopes):
    return [kind for kind, _ in scopes]


def _classify(masked, begin, end):
    """What a brace after masked[begin:end] opens, and where a constructor's initialisers begin."""
    head = re.sub(r"template <[^\n]*\n|\b(?:public|private|protected):", lambda m: " " * len(m[0]), masked[begin:end])
    if re.match(r"\s*(?:inline )?(?:class|struct|union|namespace|extern)\b", head):
        return "scope", None
    if "(" not in head or re.search(r"=\s*\Z|^\s*enum\b", head):
        return "other", None
    initialisers = re.search(r"\)\s*(?:noexcept\s*)?:\s", head)
    return "function", begin + initialisers.end() if initialisers else None


def _flatten(text):
    """On one line, so that no line of the source moves."""
    return re.sub(r"\s*\n\s*", " ", text)


def _find_in_statements(text, masked, piece):
    body = masked[piece.begin:piece.end]
    whole = text[piece.begin:piece.end]
    condition = re.match(r"(?:else )?(if|while) \(", body)
    if condition:
        begin = piece.begin + condition.end()
        end = _find_close(masked, begin, piece.end)
        if end is not None and ";" not in masked[begin:end] and " = " not in masked[begin:end]:
            inner = text[begin:end]
            yield Candidate("check", begin, end, f"({inner}) && !@", "false")
            if condition.group(1) == "if":
                yield Candidate("check", begin, end, f"({inner}) || @", "true")
        return
    if piece.after != ";" or body.count("(") != body.count(")"):
        return
    lock = _LOCK.match(body)
    if lock:
        yield Candidate("lock", piece.begin, piece.end, f"const ::Mutation::Guard {lock[1]}({lock[2]}, @)", "")
    elif _EXPRESSION_STATEMENT.match(body) or body in ("break", "continue"):
        yield Candidate("statement", piece.begin, piece.end, f"if (!@) {whole}", "")


def _find_close(masked, begin, end):
    depth = 0
    for at in range(begin, end):
        depth += {"(": 1, ")": -1}.get(masked[at], 0)
        if depth < 0:
            return at
    return None


def _find_operators(text, masked, piece):
    tokens = list(_TOKEN.finditer(masked, piece.begin, piece.end))
    for place, token in enumerate(tokens):
        operator = token["operator"]
        if operator not in _KIND_OF:
            continue
        kind = _KIND_OF[operator]
        # An operator that is made looser must not take in what the original leaves alone.
        level = min(_LEVELS[operator], _LEVELS[_SWAPS[kind][operator]])
        begin = _find_edge(reversed(tokens[:place]), level, "close", "open", piece.begin, lambda t: t.end())
        end = _find_edge(tokens[place + 1:], level, "open", "close", piece.end, lambda t: t.start())
        if begin is None or end is None or end - begin > 300 or re.search(r"//|/\*", text[begin:end]):
            continue
        if kind == "arithmetic" and '"' in masked[begin:end]:  # joins texts
            continue
        begin += len(masked[begin:end]) - len(masked[begin:end].lstrip())
        end -= len(masked[begin:end]) - len(masked[begin:end].rstrip())
        original = text[begin:end]
        at = token.start("operator") - begin
        mutated = original[:at] + _SWAPS[kind][operator] + original[at + len(operator):]
        yield Candidate(kind, begin, end, f"(@ ? ({_flatten(mutated)}) : ({original}))", mutated)


def _find_edge(tokens, level, opens, closes, limit, edge):
    """Where the operand ends on one side; None if it is not whole."""
    depth = 0
    for token in tokens:
        if token[opens]:
            depth += 1
        elif token[closes]:
            depth -= 1
            if depth < 0:
                return edge(token)
        elif depth == 0 and (token["end"] or _LEVELS[token["operator"]] < level):
            return edge(token)
    return limit if depth == 0 else None


def _find_values(text, masked, piece):
    for match in _NUMBER.finditer(masked, piece.begin, piece.end):
        number = match.group()
        is_zero = not re.search(r"[1-9a-fA-F]", number[2:] if number[:2].lower() == "0x" else number.rstrip("uUlLfFzZ"))
        is_float = match["float"] or (number[:2].lower() != "0x" and re.search(r"[eE]", number))
        for mutated in [f"{number} * 9 / 8"] if is_float and not is_zero else \
                [f"{number} + 1"] if is_zero else [f"{number} + 1", f"{number} - 1"]:
            yield Candidate("constant", match.start(), match.end(), f"(@ ? {mutated} : {number})", f"({mutated})")
    for match in re.finditer(r"(?<![<\w])(true|false)\b(?![>\w])", masked[piece.begin:piece.end]):
        begin = piece.begin + match.start()
        yield Candidate("constant", begin, begin + len(match[1]), f"(@ != {match[1]})",
                        "false" if match[1] == "true" else "true")
    for match in _SUBSCRIPT.finditer(masked, piece.begin, piece.end):
        if not re.match(r"\s*(?:[&=]|this\b)", match[1]):
            inner = text[match.start(1):match.end(1)]
            yield Candidate("index", match.start(1), match.end(1), f"({inner}) + (@ ? 1 : 0)", f"{inner} + 1")
