"""Hand-like faults of C++ sources: where one can be made, and the source with a switch for each.

A fault is a change that leaves the text around it alone: `a < b` becomes
`(::mutant::on(0x1f) ? (a <= b) : (a < b))`, so one build has them all, and the lines keep their numbers.
"""
import dataclasses
import pathlib
import re
import zlib

from clang.cindex import CursorKind as Kind
from clang.cindex import Index, TypeKind

# What every rewritten source includes before anything else. What a test asked for is kept in a file, because processes
# that a test starts and kills count too. Two numbers may share a place there: then a test is run that need not be.
PLACES = 1 << 20
SWITCH = f"""#pragma once
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>

namespace mutant {{
inline unsigned char* placesOfNumbers() {{
  const char* const path = std::getenv("MUTANTS_ASKED_FOR");
  const int file = path == nullptr ? -1 : open(path, O_RDWR | O_CLOEXEC);
  void* const places = file < 0 ? MAP_FAILED : mmap(nullptr, {PLACES}, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  if (file >= 0) close(file);
  return places == MAP_FAILED ? nullptr : static_cast<unsigned char*>(places);
}}
inline bool on(unsigned number) {{
  static const unsigned active = [] {{
    const char* const text = std::getenv("MUTANT");
    return text == nullptr ? 0U : static_cast<unsigned>(std::strtoul(text, nullptr, 16));
  }}();
  static unsigned char* const places = placesOfNumbers();
  if (places != nullptr) places[number % {PLACES}] = 1;
  return number == active;
}}
}}  // namespace mutant
"""

OTHER_OPERATOR = {
    "<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "&&": "||", "||": "&&",
    "+": "-", "-": "+", "*": "/", "/": "*", "%": "/", "+=": "-=", "-=": "+=", "|": "&", "&": "|", "<<": ">>", ">>": "<<",
}
COMPARISONS = {"<", "<=", ">", ">=", "==", "!="}
OTHER_FUNCTION = {"min": "max", "max": "min"}
# Which argument they run: it runs all the same without them, until something goes wrong.
GUARDS = {"guarded": -1, "perform": -1, "runGuarded": 0}
FUNCTIONS = {Kind.FUNCTION_DECL, Kind.CXX_METHOD, Kind.CONSTRUCTOR, Kind.DESTRUCTOR, Kind.FUNCTION_TEMPLATE,
             Kind.CONVERSION_FUNCTION}
# Nothing in these is the behaviour of the program that runs.
CONSTANT = {Kind.STATIC_ASSERT, Kind.ENUM_DECL}
BRANCHING = {Kind.IF_STMT, Kind.FOR_STMT, Kind.WHILE_STMT, Kind.DO_STMT, Kind.CXX_FOR_RANGE_STMT}
NUMBER = re.compile(r"(0[xX][0-9a-fA-F']+|[0-9][0-9']*)(\.[0-9]+)?([a-zA-Z_]*)")


@dataclasses.dataclass(frozen=True)
class Mutant:
    number: str  # eight hexadecimal digits, the same as long as the line is the same
    path: str
    line: int
    last_line: int
    start: int  # offsets in the source, in bytes
    end: int
    head: str  # what stands before the original text, and behind it
    tail: str
    what: str  # for people

    def __str__(self):
        return f"{self.number}  {self.path}:{self.line}: {self.what}"


class Source:
    """One file, with the faults found in it so far."""

    def __init__(self, path, text, sentences):
        self.path, self.text, self.sentences, self.found = path, text, sentences, {}

    def between(self, start, end):
        return self.text[start:end].decode()

    def of(self, cursor):
        return self.between(cursor.extent.start.offset, cursor.extent.end.offset)

    def add(self, cursor, head, tail, what, rank, end=None):
        """The fault with the higher rank stays where there are two in one place."""
        place = (cursor.extent.start.offset, end or cursor.extent.end.offset)
        if place[0] < place[1] and (place not in self.found or self.found[place][0] < rank):
            self.found[place] = (rank, head, tail, " ".join(what.split()))

    def instead(self, cursor, changed, rank):
        original = self.of(cursor)
        if "\n" in changed and "//" in changed or original == changed:
            return
        flat = " ".join(changed.split("\n"))
        self.add(cursor, f"(::mutant::on(@) ? ({flat}) : (", "))", f"{original}  ->  {changed}", rank)

    def mutants(self):
        result, seen = [], {}
        for (start, end), (_, head, tail, what) in sorted(self.found.items()):
            line = self.text.count(b"\n", 0, start) + 1
            words = self.text.split(b"\n")[line - 1].decode().strip()
            key = f"{self.path}|{words}|{what}"
            seen[key] = seen.get(key, 0) + 1
            number = f"{zlib.crc32(f'{key}|{seen[key]}'.encode()):08x}"
            last = self.text.count(b"\n", 0, end) + 1
            shown = what if len(what) < 150 else what[:147] + "..."
            result.append(Mutant(number, self.path, line, last, start, end, head.replace("@", f"0x{number}"), tail, shown))
        return result


def written_in(cursor, source):
    """Whether the cursor's text is in this file, and not in a macro elsewhere."""
    return cursor.location.file is not None and source.is_own(cursor.location.file.name)


def is_constant(cursor, source):
    if cursor.kind in CONSTANT:
        return True
    if cursor.kind in FUNCTIONS or cursor.kind == Kind.VAR_DECL:
        before_name = source.between(cursor.extent.start.offset, max(cursor.extent.start.offset, cursor.location.offset))
        return re.search(r"\bconst(expr|eval)\b", before_name) is not None
    return False


def operator_of(cursor, source):
    """The text of a binary operator, built in or a function; "" when the cursor is none."""
    children = list(cursor.get_children())
    if cursor.kind in (Kind.BINARY_OPERATOR, Kind.COMPOUND_ASSIGNMENT_OPERATOR) and len(children) == 2:
        text = source.between(children[0].extent.end.offset, children[1].extent.start.offset).strip()
        return text if re.fullmatch(r"[-+*/%<>=!&|^]+", text) else ""
    if cursor.kind == Kind.CALL_EXPR and cursor.spelling.startswith("operator"):
        for child in children:
            if child.spelling == cursor.spelling:
                return source.of(child)
    return ""


def add_operator(cursor, source):
    operator = operator_of(cursor, source)
    if operator not in OTHER_OPERATOR:
        return
    is_function = cursor.kind == Kind.CALL_EXPR
    if is_function and operator not in COMPARISONS and "duration" not in cursor.type.get_canonical().spelling:
        return
    children = list(cursor.get_children())
    if is_function:
        start = next(child.extent.start.offset for child in children if child.spelling == cursor.spelling)
    else:
        gap = source.between(children[0].extent.end.offset, children[1].extent.start.offset)
        start = children[0].extent.end.offset + gap.index(operator)
    begin, end = cursor.extent.start.offset, cursor.extent.end.offset
    if not begin < start < end - 1:
        return
    changed = source.between(begin, start) + OTHER_OPERATOR[operator] + source.between(start + len(operator), end)
    source.instead(cursor, changed, 3)
    if operator in ("&&", "||"):
        for child in children:
            if not operator_of(unwrapped(child), source):
                add_always(child, source, operator)


def unwrapped(cursor):
    """Below the conversions that the compiler added."""
    while cursor.kind == Kind.UNEXPOSED_EXPR:
        children = [c for c in cursor.get_children() if c.extent == cursor.extent]
        if len(children) != 1:
            break
        cursor = children[0]
    return cursor


def add_always(cursor, source, operator):
    """An operand that no longer says anything."""
    if operator == "&&":
        source.add(cursor, "(::mutant::on(@) || static_cast<bool>(", "))", f"{source.of(cursor)}  ->  true", 2)
    else:
        source.add(cursor, "(!::mutant::on(@) && static_cast<bool>(", "))", f"{source.of(cursor)}  ->  false", 2)


def add_negation(cursor, source):
    text = source.of(cursor)
    opposite = text[1:] if re.fullmatch(r"![\w.()>*-]+", text) else f"!({text})"
    source.add(cursor, "(::mutant::on(@) != static_cast<bool>(", "))", f"{text}  ->  {opposite}", 1)


def condition_of(cursor, source):
    children = list(cursor.get_children())
    if cursor.kind == Kind.CONDITIONAL_OPERATOR:
        return children[0]
    if cursor.kind == Kind.WHILE_STMT:
        return children[-2]
    if len(children) < 2:
        return None
    between = source.between(children[-2].extent.end.offset, children[-1].extent.start.offset)
    has_else = re.match(r"\s*;?\s*else\b", between) is not None
    return children[-3 if has_else else -2]


def add_condition(cursor, source):
    condition = condition_of(cursor, source)
    before = source.between(cursor.extent.start.offset, cursor.extent.start.offset + 14)
    if condition is None or not condition.kind.is_expression() or before.startswith("if constexpr"):
        return
    if re.match(r"\s*(const )?auto\b", source.of(condition)) or is_declared(cursor, condition):
        return
    if cursor.kind == Kind.WHILE_STMT and source.of(condition) == "true":
        return  # nothing follows a loop that a return alone leaves
    if cursor.kind == Kind.WHILE_STMT:
        source.add(condition, "(!::mutant::on(@) && static_cast<bool>(", "))", f"{source.of(condition)}  ->  false", 1)
    else:
        add_negation(condition, source)


def is_declared(cursor, condition):
    """`if (const auto x = ...)`: the compiler's test of x is not in the text."""
    declared = [child for child in cursor.get_children() if child.kind == Kind.VAR_DECL]
    return any(child.location.offset == condition.extent.start.offset for child in declared)


def add_statement(cursor, parent, source):
    """A statement that is not there."""
    is_return = cursor.kind == Kind.RETURN_STMT and not list(cursor.get_children())
    if not (cursor.kind.is_expression() or is_return or cursor.kind == Kind.CONTINUE_STMT):
        return
    is_body = parent.kind == Kind.COMPOUND_STMT or (parent.kind in BRANCHING and is_branch(cursor, parent, source))
    semicolon = re.match(rb"\s*;", source.text[cursor.extent.end.offset:])
    text = source.of(cursor)
    if not is_body or semicolon is None or text.startswith(("assert", "static_cast<void>")):
        return
    end = cursor.extent.end.offset + semicolon.end()
    source.add(cursor, "{ if (!::mutant::on(@)) ", " }", f"without  {text}", 1, end)


def is_branch(cursor, parent, source):
    before = source.between(parent.extent.start.offset, cursor.extent.start.offset).rstrip()
    if before.endswith(("else", "do")):
        return True
    children = list(parent.get_children())
    is_last = cursor.extent.start.offset == children[-1].extent.start.offset
    return before.endswith(")") and (is_last or condition_of(parent, source).extent.end.offset <= cursor.extent.start.offset)


def add_number(cursor, source):
    match = NUMBER.fullmatch(source.of(cursor))
    if match is None:
        return
    digits, fraction, suffix = match.groups()
    digits = digits.replace("'", "")
    if digits.lower().startswith("0x"):
        changed = hex(int(digits, 16) + 1)
    elif len(digits) > 1 and digits.startswith("0"):
        changed = "0" + oct(int(digits, 8) + 1)[2:]
    else:
        changed = str(int(digits) + 1)
    source.instead(cursor, changed + (fraction or "") + suffix, 2)


def add_text(cursor, source):
    """Another character of a key or a line; sentences for people only where they are part of what is specified."""
    text = source.of(cursor)
    match = re.fullmatch(r'"((?:[^"\\]|\\.)*[A-Za-z0-9])([^"\\A-Za-z0-9]*)"', text)
    if match is None or (" " in text and not source.sentences):
        return
    word, rest = match.groups()
    if len(word) > 1 and word[-2] == "\\" or "\\x" in word:
        return
    other = "Y" if word[-1] == "X" else "X"
    source.instead(cursor, f'"{word[:-1]}{other}{rest}"', 2)


def add_call(cursor, source):
    name = cursor.spelling
    if name in OTHER_FUNCTION:
        text = source.of(cursor)
        changed = re.sub(rf"\bstd::{name}\b", f"std::{OTHER_FUNCTION[name]}", text, count=1)
        source.instead(cursor, changed, 2)
    if name in GUARDS:
        arguments = [source.of(one) for one in cursor.get_arguments()]
        if arguments and re.match(r"\[[^]]*\] *\{[^/]*$|\w+$", arguments[GUARDS[name]]):
            operation = " ".join(arguments[GUARDS[name]].split())
            source.add(cursor, f"(::mutant::on(@) ? static_cast<void>(({operation})()) : static_cast<void>(", "))",
                       f"without the {name}() around its operation", 3)
    if name.startswith('operator""'):
        add_number(cursor, source)


def add_return(cursor, source):
    value = next(iter(cursor.get_children()), None)
    if value is not None and value.type.get_canonical().kind == TypeKind.BOOL:
        add_negation(value, source)


def visit(cursor, parent, sources):
    source = sources(cursor)
    if source is None or is_constant(cursor, source):
        return
    if parent is not None:
        add_statement(cursor, parent, source)
    kind = cursor.kind
    if kind in (Kind.IF_STMT, Kind.WHILE_STMT, Kind.CONDITIONAL_OPERATOR):
        add_condition(cursor, source)
    elif kind in (Kind.INTEGER_LITERAL, Kind.FLOATING_LITERAL):
        add_number(cursor, source)
    elif kind == Kind.CXX_BOOL_LITERAL_EXPR and parent.kind != Kind.WHILE_STMT:
        text = source.of(cursor)
        source.add(cursor, "(::mutant::on(@) != ", ")", f"{text}  ->  {'false' if text == 'true' else 'true'}", 2)
    elif kind == Kind.STRING_LITERAL:
        add_text(cursor, source)
    elif kind == Kind.RETURN_STMT:
        add_return(cursor, source)
    elif kind == Kind.CALL_EXPR:
        add_call(cursor, source)
    add_operator(cursor, source)
    for child in cursor.get_children():
        if cursor.kind in (Kind.VAR_DECL, Kind.FIELD_DECL) and child.extent.start.offset < cursor.location.offset:
            continue  # an argument of its type
        if cursor.kind == Kind.CASE_STMT and child.kind.is_expression() and child == next(iter(cursor.get_children())):
            continue
        visit(child, cursor, sources)


def find(path, root, arguments, is_wanted):
    """The faults of one translation unit, its own headers' among them. `is_wanted` tells of a path below the root."""
    unit = Index.create().parse(str(path), args=arguments)
    errors = [str(one) for one in unit.diagnostics if one.severity >= 3]
    if errors:
        raise SystemExit(f"mutate: {path} does not compile: {errors[0]}")
    known = {}

    def source_of(cursor):
        name = cursor.location.file.name if cursor.location.file else None
        if name not in known:
            known[name] = None
            absolute = pathlib.Path(name or "/").resolve()
            if absolute.is_relative_to(root) and is_wanted(relative := str(absolute.relative_to(root))):
                known[name] = Source(relative, absolute.read_bytes(), relative.startswith("Fliprugair/"))
        return known[name]

    for cursor in unit.cursor.get_children():
        visit(cursor, None, source_of)
    return [mutant for source in known.values() if source for mutant in source.mutants()]


def rewritten(text, mutants):
    """The source with a switch for each of the faults."""
    insertions = []
    for one in mutants:
        insertions.append((one.start, 1, -one.end, one.head))
        insertions.append((one.end, 0, -one.start, one.tail))
    result, last = [], 0
    for offset, _, _, inserted in sorted(insertions, key=lambda one: one[:3]):
        result += [text[last:offset], inserted.encode()]
        last = offset
    return b"".join(result + [text[last:]])
