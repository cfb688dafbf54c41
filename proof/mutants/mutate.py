"""Finds the mutants of a source by libclang, and writes the source that holds them all.

A mutant is one change of a text: a condition that is always true or false, a comparison that differs in the equal case,
a number that is one more, a statement that is left out.
"""

import ctypes
import dataclasses
import re
import sys

try:
    import clang.cindex as cindex
except ImportError:  # Debian's package serves Debian's Python, which need not be the first one
    sys.path.append("/usr/lib/python3/dist-packages")
    import clang.cindex as cindex

KIND = cindex.CursorKind
TYPE = cindex.TypeKind

FUNCTIONS = {KIND.FUNCTION_DECL, KIND.CXX_METHOD, KIND.CONSTRUCTOR, KIND.DESTRUCTOR, KIND.CONVERSION_FUNCTION,
             KIND.FUNCTION_TEMPLATE}
COMPARISONS = {"<": ("less", "<="), "<=": ("lessEqual", "<"), ">": ("greater", ">="), ">=": ("greaterEqual", ">"),
               "==": ("equal", "!="), "!=": ("different", "==")}
INTEGERS = {TYPE.CHAR_U, TYPE.UCHAR, TYPE.CHAR16, TYPE.CHAR32, TYPE.USHORT, TYPE.UINT, TYPE.ULONG, TYPE.ULONGLONG,
            TYPE.CHAR_S, TYPE.SCHAR, TYPE.WCHAR, TYPE.SHORT, TYPE.INT, TYPE.LONG, TYPE.LONGLONG}
# Statements that can be left out. A declaration cannot, and what is a block is looked at inside.
STATEMENTS = {KIND.CALL_EXPR, KIND.BINARY_OPERATOR, KIND.COMPOUND_ASSIGNMENT_OPERATOR, KIND.UNARY_OPERATOR,
              KIND.UNEXPOSED_EXPR, KIND.BREAK_STMT, KIND.CONTINUE_STMT, KIND.CXX_THROW_EXPR, KIND.CXX_DELETE_EXPR}
LITERALS = {KIND.INTEGER_LITERAL, KIND.CHARACTER_LITERAL, KIND.CXX_BOOL_LITERAL_EXPR, KIND.FLOATING_LITERAL}
LINES_IN_FRONT = 2  # of a mutated source
# The checks of objects' own invariants are for `assert`, which a release leaves out; what a call of `reserve` asks for
# changes the cost alone.
ONLY_ASSERTED = {"KeepsInvariants"}
ONLY_COST = {"reserve"}
CONDITIONALS = {KIND.IF_STMT, KIND.WHILE_STMT, KIND.FOR_STMT, KIND.DO_STMT, KIND.CONDITIONAL_OPERATOR}


@dataclasses.dataclass(frozen=True)
class Mutant:
    """One change: its number, where it stands, the text that is changed and how."""
    number: int
    file: str
    line: int
    last_line: int
    text: str
    what: str


@dataclasses.dataclass
class Edit:
    """A piece of the source, and what stands in front of it and behind it where it has mutants; `split` is the operator
    of a comparison, which becomes a comma."""
    start: int
    end: int
    before: str
    after: str
    split: tuple = None


def _file_location_reader():
    """libclang's position in the file that was written, for what stands in a macro's argument too."""
    function = cindex.conf.lib.clang_getFileLocation
    function.argtypes = [cindex.SourceLocation, ctypes.POINTER(ctypes.c_void_p), ctypes.POINTER(ctypes.c_uint),
                         ctypes.POINTER(ctypes.c_uint), ctypes.POINTER(ctypes.c_uint)]
    function.restype = None

    def offset(location):
        file, line, column, result = ctypes.c_void_p(), ctypes.c_uint(), ctypes.c_uint(), ctypes.c_uint()
        function(location, ctypes.byref(file), ctypes.byref(line), ctypes.byref(column), ctypes.byref(result))
        return result.value
    return offset


def _without_comments(text):
    return re.sub(r"//[^\n]*|/\*.*?\*/", " ", text, flags=re.S)


def _changes_nothing(node):
    return (node.kind in FUNCTIONS and node.spelling in ONLY_ASSERTED
            or node.kind == KIND.CALL_EXPR and node.spelling in ONLY_COST)


class Source:
    """One source with its mutants, whose numbers begin at `first`."""

    def __init__(self, name, path, arguments, first, dropped):
        self.name = name
        self.text = path.read_bytes().decode("latin-1")  # so that offsets are those of the bytes
        self._path = str(path)
        self._arguments = arguments
        self._first = first
        self._offset = _file_location_reader()
        self._dropped = set(dropped)  # numbers within this source that the compiler refuses
        self._find()

    def _find(self):
        self.mutants = []
        self._edits = []
        self._count = 0
        self._marked = set()
        unit = cindex.Index.create().parse(self._path, self._arguments)
        wrong = [str(message) for message in unit.diagnostics if message.severity >= cindex.Diagnostic.Error]
        if wrong:
            raise RuntimeError("\n".join(wrong))
        for node in unit.cursor.get_children():
            if node.location.file and node.location.file.name == self._path:
                self._visit(node, None, False)

    # ---- places

    def _extent(self, node):
        return self._offset(node.extent.start), self._offset(node.extent.end)

    def _text(self, node):
        start, end = self._extent(node)
        return self.text[start:end]

    # ---- noting mutants

    def _new(self, extent, kind, what):
        """The number of a new mutant, or None where it stands already or the compiler refuses it."""
        start, end = extent
        if start >= end or (start, end, kind) in self._marked:
            return None
        self._marked.add((start, end, kind))
        index = self._count
        self._count += 1
        if index in self._dropped:
            return None
        line = self.text.count("\n", 0, start) + 1
        text = " ".join(self.text[start:end].split())
        self.mutants.append(Mutant(self._first + index, self.name, line, line + self.text.count("\n", start, end), text,
                                   what))
        return self._first + index

    def _condition(self, node, ask, values=(True, False)):
        extent = self._extent(node)
        front = ""
        for value in values:
            number = self._new(extent, value, f"is always {str(value).lower()}")
            if number is not None:
                front += f"::mutants::{ask}({number}) ? {str(value).lower()} : "
        if front:
            self._edits.append(Edit(*extent, f"({front}static_cast<bool>(", "))"))

    def _comparison(self, node):
        children = list(node.get_children())
        start, end = self._extent(children[0])[1], self._extent(children[1])[0]
        sign = self._operator(node)
        if sign not in COMPARISONS or self.text[start:end].count(sign) != 1:
            return
        name, other = COMPARISONS[sign]
        number = self._new(self._extent(node), "compared", f"has {other} for {sign}")
        if number is not None:
            place = self.text.index(sign, start, end)
            self._edits.append(
                Edit(*self._extent(node), f"::mutants::{name}<{number}>(", ")", (place, place + len(sign))))

    def _number(self, extent, constant):
        number = self._new(extent, "number", "is one more")
        if number is not None:
            name = "nextHere" if constant else "next"
            self._edits.append(Edit(*extent, f"::mutants::{name}<{number}>(", ")"))

    def _statement(self, node, ask):
        start, end = self._extent(node)
        rest = re.match(r"\s*;", self.text[end:])
        if rest is None or self.text[start:end].rstrip().endswith(("}", ";")):
            return
        number = self._new((start, end + rest.end()), "statement", "is left out")
        if number is not None:
            self._edits.append(Edit(start, end + rest.end(), "{ if (!::mutants::" + f"{ask}({number})) {{ ", " } }"))

    # ---- looking for them

    def _operator(self, node):
        children = list(node.get_children())
        if node.kind != KIND.BINARY_OPERATOR or len(children) != 2:
            return ""
        return _without_comments(self.text[self._extent(children[0])[1]:self._extent(children[1])[0]]).strip()

    def _is_constant(self, node):
        """Whether the declaration's words in front of its name hold constexpr or consteval."""
        start, _ = self._extent(node)
        words = self.text[start:self._offset(node.location)]
        return re.search(r"\b(constexpr|consteval|constinit)\b", words) is not None

    def _conditions_of(self, node):
        """The condition of a statement that has one, which is no declaration."""
        children = list(node.get_children())
        if node.kind == KIND.CONDITIONAL_OPERATOR:
            return children[:1]
        if node.kind == KIND.DO_STMT:
            return children[1:]
        start, _ = self._extent(node)
        if node.kind == KIND.FOR_STMT:
            return self._condition_of_loop(children)
        if re.match(r"if\s+constexpr", self.text[start:start + 20]):
            return []
        bodies = [index for index, child in enumerate(children) if child.kind == KIND.COMPOUND_STMT]
        if not bodies or bodies[0] == 0:
            return []
        found = children[bodies[0] - 1]
        declared = [child for child in children[:bodies[0]] if child.kind in (KIND.VAR_DECL, KIND.DECL_STMT)]
        if found in declared or any(self._extent(found)[0] < self._extent(child)[1] for child in declared):
            return []
        return [found]

    def _condition_of_loop(self, children):
        """That of a `for`: what ends at its second semicolon."""
        for child in children:
            _, end = self._extent(child)
            front = self.text[:self._extent(child)[0]].rstrip()
            if child.kind not in (KIND.COMPOUND_STMT, KIND.DECL_STMT) and front.endswith(";") and re.match(
                    r"\s*;", self.text[end:]):
                return [child]
        return []

    def _visit(self, node, function, constant):
        kind = node.kind
        if kind in (KIND.STATIC_ASSERT, KIND.ENUM_DECL, KIND.TYPE_ALIAS_DECL, KIND.USING_DECLARATION,
                    KIND.TEMPLATE_TEMPLATE_PARAMETER, KIND.TEMPLATE_NON_TYPE_PARAMETER, KIND.TYPEDEF_DECL):
            return
        if kind in (KIND.VAR_DECL, KIND.FIELD_DECL) and self._is_constant(node) or _changes_nothing(node):
            return
        if kind in FUNCTIONS:
            function, constant = node, self._is_constant(node)
        self._note(node, function, constant)
        children = list(node.get_children())
        if kind == KIND.CASE_STMT:
            children = children[1:]
        if kind == KIND.FIELD_DECL and node.is_bitfield():
            children = []
        for child in children:
            if kind == KIND.IF_STMT and child == children[0] and not self._conditions_of(node) and \
                    child.kind not in (KIND.VAR_DECL, KIND.DECL_STMT):
                continue  # the condition of an `if constexpr`
            self._visit(child, function, constant)

    def _note(self, node, function, constant):
        kind, ask = node.kind, "lives" if constant else "is"
        if kind in CONDITIONALS:
            for condition in self._conditions_of(node):
                self._condition(condition, ask)
        elif kind == KIND.COMPOUND_STMT:
            for child in node.get_children():
                if _changes_nothing(child):
                    continue
                if child.kind in STATEMENTS or child.kind == KIND.RETURN_STMT and not list(child.get_children()):
                    self._statement(child, ask)
        elif kind == KIND.RETURN_STMT:
            self._returned(node, function, ask, constant)
        elif kind == KIND.VAR_DECL:
            values = [child for child in node.get_children() if child.kind.is_expression()]
            is_bool = node.type.get_canonical().kind == TYPE.BOOL and values
            if is_bool and values[-1].kind != KIND.CXX_BOOL_LITERAL_EXPR and re.search(
                    r"=\s*$", self.text[:self._extent(values[-1])[0]]):
                self._condition(values[-1], ask)
        elif kind == KIND.BINARY_OPERATOR:
            self._binary(node, ask)
        else:
            self._literal(node, constant)

    def _returned(self, node, function, ask, constant):
        value = next(iter(node.get_children()), None)
        if value is None or function is None or value.kind in (KIND.CXX_BOOL_LITERAL_EXPR, KIND.INTEGER_LITERAL):
            return
        kind = value.type.get_canonical().kind
        if kind == TYPE.BOOL:
            self._condition(value, ask)
        elif kind in INTEGERS and function.result_type.kind != TYPE.LVALUEREFERENCE:
            self._number(self._extent(value), constant)

    def _binary(self, node, ask):
        sign = self._operator(node)
        if sign in COMPARISONS:
            self._comparison(node)
        elif sign in ("&&", "||"):
            for child in node.get_children():
                if self._operator(child) != sign:  # else its own operands say more
                    self._condition(child, ask, (sign == "&&",))

    def _literal(self, node, constant):
        text = self._text(node)
        if node.kind in LITERALS:
            if re.fullmatch(r"[\w'.+\\]+|'.*'", text) and text != "__LINE__":
                self._number(self._extent(node), constant)
        elif node.kind == KIND.DECL_REF_EXPR and node.type.get_canonical().kind in INTEGERS:
            meant = node.referenced
            if meant is not None and meant.kind == KIND.VAR_DECL and re.search(
                    r"\bconstexpr\b", " ".join(token.spelling for token in meant.get_tokens())) and re.fullmatch(
                        r"[\w:]+", text):
                self._number(self._extent(node), constant)

    # ---- writing

    def mutated(self, header):
        """The source with all its mutants, its lines as they were."""
        pieces = []
        for order, edit in enumerate(self._edits):
            width = edit.end - edit.start
            pieces.append((edit.start, 1, -width, order, edit.before, 0))
            pieces.append((edit.end, 0, width, -order, edit.after, 0))
            if edit.split:
                pieces.append((edit.split[0], 1, 0, order, ",", edit.split[1] - edit.split[0]))
        result, place = [], 0
        for start, _, _, _, text, skipped in sorted(pieces):
            result += [self.text[place:start], text]
            place = start + skipped
        result.append(self.text[place:])
        return f'#include "{header}"\n#line 1\n' + "".join(result)

    def compiled(self, header):
        """The same, without the mutants that clang refuses: those that it names, or else what stands on its lines,
        numbers at first."""
        while True:
            text = self.mutated(header)
            unit = cindex.Index.create().parse(self._path, [*self._arguments, "-Wno-narrowing", "-Werror=vla"], [
                (self._path, text.encode("latin-1").decode("utf-8"))])
            wrong = [message for message in unit.diagnostics if message.severity >= cindex.Diagnostic.Error]
            if not wrong:
                return text
            found = set()
            for message in wrong:
                told = [message, *message.children]
                named = {int(number) for part in told
                         for number in re.findall(r"'(?:next|nextHere)<(\d+)", part.spelling)}
                lines = {part.location.line - LINES_IN_FRONT for part in told
                         if part.location.file and part.location.file.name == self._path}
                here = [mutant for mutant in self.mutants if mutant.number in named] or [
                    mutant for mutant in self.mutants if any(mutant.line <= line <= mutant.last_line for line in lines)]
                found.update(mutant.number - self._first for mutant in
                             [mutant for mutant in here if mutant.what == "is one more"] or here)
            if not found:
                raise RuntimeError(f"{self.name}: " + "\n".join(str(message) for message in wrong))
            self._dropped |= found
            self._find()
