"""Rules that keep the documents true: what they name exists, and what exists is named."""

import fnmatch
import os
import re

from recipes import recipes
from treeFiles import CODE, files, lines, text

SOURCE_FOLDERS = ("Datasource", "casefile")
SOURCE_DOCUMENTS = ("docs/architecture.md", "docs/headers.md")


def readme_shows_the_example(top, _):
    """The README's C++ blocks are the programs in examples to the letter."""
    shown = re.findall(r"```cpp\n(.*?)```", text(top, "README.md"), re.DOTALL)
    for name in files(top, "examples"):
        if re.fullmatch(r"examples/[^/]+\.cpp", name) and text(top, name) not in shown:
            yield f"README.md: no C++ block is identical to {name}"


def getting_started_shows_the_example(top, _):
    """The C++ block of the page for beginners is a program in examples to the letter."""
    page = "docs/getting-started.md"
    programs = [text(top, name) for name in files(top, "examples") if re.fullmatch(r"examples/[^/]+\.cpp", name)]
    shown = re.findall(r"```cpp\n(.*?)```", text(top, page), re.DOTALL)
    if not shown:
        yield f"{page}: shows no program"
    for block in shown:
        if block not in programs:
            yield f"{page}: shows a program that is none of examples: {block.splitlines()[0]}"


def last_run(top):
    """Name of each harness, and how many cases the page on reliability says were run of how many."""
    section = text(top, "docs/reliability.md").partition("## The last run")[2].partition("\n## ")[0]
    return [(name, f"{run} of {of}") for name, run, of in
            re.findall(r"^\| `([\w-]+)` \| ([\d,]*\d)[^|]* \| ([\d,]*\d)[^|]* \|$", section, re.MULTILINE)]


def readme_shows_the_last_run(top, _):
    """The README's table of harnesses is made of that of the last run on the page on reliability."""
    wanted = last_run(top)
    table = "".join(f"| `{name}` | {count} |\n" for name, count in wanted)
    if not wanted:
        yield "docs/reliability.md: has no table of the last run"
    elif f"\n| --- | --- |\n{table}\n" not in text(top, "README.md"):
        yield f"README.md: its table of harnesses is not that of the last run, which is\n{table}"


RECIPES = "docs/recipes.md"


def recipes_show_the_examples(top, _):
    """The programs of the pages of recipes are those of their folders to the letter, each with what it prints."""
    for page, folder, ending in ((RECIPES, "examples/casefile", ".cpp"), ("docs/c.md", "examples/c", ".c")):
        shown = dict(recipes(text(top, page))) if os.path.exists(os.path.join(top, page)) else {}
        programs = {text(top, name): name for name in files(top, folder) if name.endswith(ending)}
        for code, name in programs.items():
            if not shown.get(code):
                yield f"{page}: no block with a text block behind it is identical to {name}"
        for code in shown.keys() - programs.keys():
            yield f"{page}: shows a program that is none of {folder}: {code.splitlines()[0]}"


def recipes_list_the_record_sizes(top, _):
    """The sizes that the page says straddle no block are the divisors of a block's size."""
    block = int(re.search(r"\bkBlockSize = (\w+);", text(top, "Datasource/form/block/blockSize.h"))[1], 0)
    rows = re.findall(r"^\| [\d,]+ \| ([\d, ]+) \|$", text(top, RECIPES), re.MULTILINE)
    listed = sorted(int(size.replace(",", "")) for row in rows for size in row.split(", "))
    if listed != [size for size in range(1, block + 1) if block % size == 0]:
        yield f"{RECIPES}: the sizes listed are not the divisors of {block}"


def readme_lists_the_options(top, _):
    """Every option of the build stands in the README's table, and the table names no other."""
    build = [name for name in files(top) if name.endswith((".cmake", "CMakeLists.txt"))
             and not name.startswith("tests/packaging/")]
    options = {option for name in build for option in
               re.findall(r"^\s*option\((\w+)|^\s*set\((\w+) [^)]*\bCACHE\b(?![^)]*\bFORCE\b)", text(top, name), re.MULTILINE)}
    options = {first or second for first, second in options}
    told = set()
    for row in re.findall(r"^\|([^|]*)\|", re.search(r"^\| option .*?\n\n", text(top, "README.md"), re.DOTALL | re.MULTILINE)[0],
                          re.MULTILINE):
        names = back_ticked(row)
        # `A_TESTS`, `_TOOLS` stands for two: the second ends as it says.
        told |= {names[0].rpartition("_")[0] + name if name.startswith("_") else name for name in names}
    for option in sorted(options - told):
        yield f"README.md: does not list {option}"
    for option in sorted(told - options - {"BUILD_SHARED_LIBS"}):
        yield f"README.md: lists {option}, which no build file has"


def documents_link_to_what_is_there(top, _):
    """Every relative link and every script named in a Markdown file exists."""
    for name in files(top):
        if not name.endswith(".md"):
            continue
        program = False  # a lambda looks like a link there
        for number, line in enumerate(lines(top, name), 1):
            program = line.startswith("```cpp") or (program and not line.startswith("```"))
            for target in [] if program else re.findall(r"\]\((?!https?:|#)([^)#\s]+)", line):
                if not os.path.exists(os.path.join(top, os.path.dirname(name), target)):
                    yield f"{name}:{number}: links to {target}, which is not there"
            for target in re.findall(r"\b(scripts/[\w-]+\.(?:sh|py))\b", line):
                if not os.path.exists(os.path.join(top, target)):
                    yield f"{name}:{number}: names {target}, which is not there"


def kept_oddities_are_documented_and_tested(top, _):
    """docs/kept-as-is.md names every test of a kept oddity, and every test that it names exists."""
    tests = set()
    for name in files(top, "tests"):
        if name.endswith(".cpp"):
            tests |= {f"{suite}.{rule}" for suite, rule in
                      re.findall(r"\bTEST(?:_F|_P)?\(\s*(\w+)\s*,\s*(\w+)\s*\)", text(top, name))}
    document = "docs/kept-as-is.md"
    rows = [line for line in lines(top, document) if line.startswith("|")]
    named = {test for row in rows for test in re.findall(r"`(\w+\.\w+)`", row.rstrip("| ").rpartition("|")[2])}
    for test in sorted(named - tests):
        yield f"{document}: names {test}, which is not there"
    for test in sorted(test for test in tests - named if test.endswith("_KeptAsIs")):
        yield f"{document}: does not name {test}"


def alternatives(notation):
    """What a notation with braces stands for: `{posix,windows}/system` for two paths."""
    found = re.search(r"\{([^{}]*)\}", notation)
    if not found:
        return [notation]
    return [rest for part in found[1].split(",")
            for rest in alternatives(notation[:found.start()] + part.strip() + notation[found.end():])]


def matches(path, notation):
    """Whether the notation, perhaps with `*` and without an ending, is the end of the path."""
    wanted = notation.rstrip("/").split("/")
    parts = path.split("/")[-len(wanted):]
    if len(parts) != len(wanted):
        return False
    without_ending = parts[:-1] + [re.sub(r"\.(h|cpp)$", "", parts[-1])]
    return any(all(fnmatch.fnmatchcase(part, want) for part, want in zip(ways, wanted)) for ways in (parts, without_ending))


def back_ticked(line):
    return re.findall(r"`([^`]+)`", line)


def documents(top):
    return [name for name in files(top) if name.endswith(".md") and name != "CHANGELOG.md"]


def every_source_is_in_a_document(top, _):
    """Each source stands in a row of a table of those documents, by name, with or without its folder and ending."""
    rows = [line for name in documents(top) if name in SOURCE_DOCUMENTS
            for line in lines(top, name) if line.startswith("|")]
    notations = {path for row in rows for notation in back_ticked(row) for path in alternatives(notation)
                 if re.fullmatch(r"[\w./*-]*\w{3}[\w./*-]*", path)}
    sources = [name for folder in SOURCE_FOLDERS for name in files(top, folder) if name.endswith(CODE)]
    for name in sources:
        if not any(matches(name, notation) for notation in notations):
            yield f"{name}: stands in no table of {' or '.join(SOURCE_DOCUMENTS)}"


PATH = re.compile(r"(?:[\w.{}*,-]+/)+[\w.{}*,-]*|[\w{}*,-]+\.(?:h|cpp|py|sh|md|cmake|map|def)")
NO_PATH_OF_THE_TREE = re.compile(r"^(build|\.\.?)(/|$)|NAME|^[A-Z]+/")


def documents_name_paths_that_exist(top, _):
    """A back-ticked path in a document is, or ends, a path of the tree, or of what the build makes of NAME.in."""
    paths = set(files(top))
    paths |= {path[:-len(".in")] for path in paths if path.endswith(".h.in")}
    for path in list(paths):
        while "/" in path:
            path = path.rpartition("/")[0]
            paths.add(path)
    for name in documents(top):
        for number, line in enumerate(lines(top, name), 1):
            for token in back_ticked(line):
                if not PATH.fullmatch(token) or NO_PATH_OF_THE_TREE.search(token):
                    continue
                for notation in alternatives(token):
                    if not any(matches(path, notation) for path in paths):
                        yield f"{name}:{number}: names `{token}`, which is not there"


def without_comments(source):
    return re.sub(r"//[^\n]*|/\*.*?\*/", "", source, flags=re.DOTALL)


def definitions(sources):
    """Name of each class, structure, enumeration or namespace: the texts between its braces, joined."""
    found = {}
    for source in sources:
        for start in re.finditer(r"\b(?:class|struct|enum|namespace|union)\s[^;{}()]*?(\w+)(?:<[^;{}()]*>)?"
                                 r"(?:\s+final)?\s*(?::(?!:)[^;{}]*)?\{", source):
            depth, end = 1, start.end()
            while depth and end < len(source):
                depth += {"{": 1, "}": -1}.get(source[end], 0)
                end += 1
            found[start[1]] = found.get(start[1], "") + source[start.end():end]
    return found


MEMBER = re.compile(r"(\w+)(?:<[^`]*>)?((?:::~?\w+)+)(?:\(.*\))?")


# Tools that the documents speak of, and that are no part of the tree.
FOREIGN = {"std", "Python3"}


def documents_name_members_that_exist(top, _):
    """A back-ticked `Class::member` in a document names a class of the code and a member of it, or a target."""
    targets = " ".join(text(top, name) for name in files(top) if name.endswith((".cmake", ".txt")))
    code = [without_comments(text(top, name)) for name in files(top) if name.endswith(CODE)]
    inside = definitions(code)
    for name in documents(top):
        for number, line in enumerate(lines(top, name), 1):
            for token in back_ticked(line):
                named = MEMBER.fullmatch(token)
                if not named or named[1] in FOREIGN or token in targets:
                    continue
                steps = [named[1]] + named[2].split("::")[1:]
                for owner, member in zip(steps, steps[1:]):
                    if not re.search(rf"{'' if member[0] == '~' else chr(92) + 'b'}{member}\b", inside.get(owner, "")):
                        yield f"{name}:{number}: names `{token}`, which is not there"
                        break


LITERAL = r'L?"(?:\\.|[^"\\])*"'


def spoken(literals):
    """The text of adjacent string literals."""
    return "".join(re.sub(r"\\(.)", r"\1", part) for part in re.findall(r'"((?:\\.|[^"\\])*)"', literals))


def closing(source, start):
    """Where the parenthesis that is open at `start` is closed, string literals aside."""
    depth, end = 1, start
    while depth and end < len(source):
        literal = re.compile(LITERAL).match(source, end)
        depth += {"(": 1, ")": -1}.get(source[end], 0)
        end = literal.end() if literal else end + 1
    return end


def assertion_texts(source):
    """The texts that the source reports: those in assertion macros, and every other wide literal."""
    joined = rf"{LITERAL}(?:\s*{LITERAL})*"
    for macro in re.finditer(r"\b(?:DATASOURCE_)?ASSERT\w*\(", source):
        yield from (spoken(found) for found in re.findall(joined, source[macro.end():closing(source, macro.end())]))
    yield from (spoken(found) for found in re.findall(joined, source) if found.startswith('L"'))


def errors_document_has_the_assertions(top, _):
    """The expressions in the tables of assertions in docs/errors.md are those that the library reports."""
    document = "docs/errors.md"
    section = re.search(r"^## Assertions\n(.*?)^## ", text(top, document), re.DOTALL | re.MULTILINE)[1]
    cells = [re.split(r"(?<!\\)\|", line)[1] for line in section.split("\n") if line.startswith("|")]
    told = {expression.replace("\\|", "|") for cell in cells for expression in back_ticked(cell)}
    sources = [name for name in files(top, "Datasource") if name.endswith(CODE) and "/platform/" not in name]
    reported = {words for name in sources for words in assertion_texts(without_comments(text(top, name)))}
    reported = {words for words in reported if not words.startswith("Datasource/")}
    for words in sorted(told - reported):
        yield f"{document}: the library reports no `{words}`"
    for words in sorted(reported - told):
        yield f"{document}: does not tell of `{words}`"


REASONED = ("proof/mutants/explained.txt", "proof/coverage/excluded.txt")


def lists_of_proof_name_lines_that_exist(top, _):
    """Each entry of the lists of what no test notices or reaches names a line that its file has, and says why."""
    for document in REASONED:
        if not os.path.exists(os.path.join(top, document)):
            continue
        for entry in re.split(r"\n{2,}", text(top, document)):
            fields = dict(re.findall(r"^(\w+): (.*)$", entry, re.MULTILINE))
            if not fields:
                continue
            name = fields.get("file", "")
            known = os.path.exists(os.path.join(top, name)) and name
            if not known or fields.get("line") not in [line.strip() for line in lines(top, name)]:
                yield f"{document}: no such line: {name}: {fields.get('line')}"
            if not fields.get("because"):
                yield f"{document}: gives no reason: {name}: {fields.get('line')}"
