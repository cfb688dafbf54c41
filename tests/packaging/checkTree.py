"""Checks one rule about the source tree: checkTree.py RULE --source FOLDER --build FOLDER

Prints every place that breaks the rule and fails if there is one.
"""
import argparse
import json
import os
import re
import sys

LEFT_OUT_FOLDERS = re.compile(r"^(build.*|\.git|\.cache|__pycache__)$")
BINARY = re.compile(r"\.(png|bin|dat|vorn|gz|zst)$")


def files(top, below=""):
    """Every file of the tree, relative to it, with forward slashes."""
    for folder, folders, names in os.walk(os.path.join(top, below)):
        folders[:] = sorted(name for name in folders if not LEFT_OUT_FOLDERS.match(name))
        for name in sorted(names):
            yield os.path.relpath(os.path.join(folder, name), top).replace(os.sep, "/")


def lines(top, name):
    with open(os.path.join(top, name), encoding="utf-8", errors="replace") as file:
        return file.read().splitlines()


def text(top, name):
    return "\n".join(lines(top, name)) + "\n"


def offending_lines(top, names, pattern):
    for name in names:
        for number, line in enumerate(lines(top, name), 1):
            if pattern.search(line):
                yield f"{name}:{number}: {line.strip()}"


def every_test_source_is_built(top, build):
    """Every .cpp below tests/ is compiled, except for another platform's and the projects in packaging/."""
    with open(os.path.join(build, "compile_commands.json"), encoding="utf-8") as file:
        compiled = {os.path.realpath(entry["file"]) for entry in json.load(file)}
    mine, other = ("windows", "posix") if is_windows_build(build) else ("posix", "windows")
    sources = [name for name in files(top, "tests") if name.endswith((".cpp", ".cc", ".cxx"))]
    sources = [name for name in sources if not name.startswith("tests/packaging/") and f"/{other}/" not in name]
    if not sources:
        yield f"no test sources found for {mine}"
    for name in sources:
        if os.path.realpath(os.path.join(top, name)) not in compiled:
            yield f"{name}: is compiled into no test"


def is_windows_build(build):
    return any(line.startswith("CMAKE_TOOLCHAIN_FILE") and "windows" in line for line in lines(build, "CMakeCache.txt"))


def sources_ask_for_no_platform(top, _):
    """Datasource/src has no conditional compilation at all, except include guards."""
    for name in files(top, "Datasource/src"):
        guard = re.sub(r"[^A-Za-z0-9]", "_", os.path.basename(name)).upper()
        for number, line in enumerate(lines(top, name), 1):
            directive = re.match(r"\s*#\s*(if|ifdef|ifndef|elif|else)\b(.*)", line)
            if directive and not (directive[1] == "ifndef" and directive[2].strip().endswith(guard)):
                yield f"{name}:{number}: {line.strip()}"
            elif re.search(r"\b(_WIN32|_WIN64|WIN32|_MSC_VER|__MINGW\w+|__linux__|__unix__|__APPLE__)\b", line):
                yield f"{name}:{number}: {line.strip()}"


LOSES_WAKE_UPS = re.compile(r"#\s*include\s*<(semaphore|latch|barrier|stop_token)>|\bcondition_variable_any\b|"
                            r"\b(counting|binary)_semaphore\b|\batomic_wait\b")


def sources_use_nothing_that_loses_wake_ups(top, _):
    """Some standard primitives hang at random in the Windows cross compiler's library: nobody uses them."""
    names = [name for name in files(top) if name.endswith((".h", ".cpp"))]
    yield from offending_lines(top, names, LOSES_WAKE_UPS)


STANDARD_HEADERS = re.compile(
    r"<(algorithm|array|atomic|bit|cerrno|climits|compare|concepts|condition_variable|cstddef|cstdint|cstdlib|cstring|"
    r"deque|exception|fcntl\.h|functional|initializer_list|iosfwd|limits|map|memory|mutex|new|optional|set|share\.h|"
    r"span|stdexcept|string|string_view|sys/stat\.h|system_error|thread|tuple|type_traits|utility|variant|vector)>")


def headers_include_nothing_foreign(top, _):
    """Public headers include each other, the standard library and, on Windows, the C runtime; no others."""
    names = [name for name in files(top, "Datasource/include") if name.endswith(".h")]
    if not names:
        yield "no headers found"
    for name in names:
        for number, line in enumerate(lines(top, name), 1):
            include = re.match(r"\s*#\s*include\s*(.*)", line)
            if not include:
                continue
            own = re.match(r'"(Datasource/[^"]+)"', include[1])
            if own and os.path.exists(os.path.join(top, "Datasource/include", own[1])):
                continue
            if not STANDARD_HEADERS.match(include[1]):
                yield f"{name}:{number}: {line.strip()}"


# Joined from halves, so that this file passes its own check.
FOREIGN_WORDS = re.compile("|".join([
    r"(?i:\bspecifi" + r"cations?\b)", r"(?i:\bthe " + r"spec\b)", r"(?i:\bspec" + r"\.md\b)", r"\bPart " + r"\d+\.\d",
    r"\bParts " + r"\d", r"(?i:\bissue " + r"#?\d)", r"\bH" + r"\d{2,3}\b", r"/wo" + r"rk/", r"/tmp/" + r"brief",
    r"\.\./sha" + r"red", r"\bCE" + r"O\b", r"\bTO" + r"DO\b", r"\bFIX" + r"ME\b",
]))


def files_use_our_own_words(top, _):
    """No file or file name speaks of papers that are not part of the project, or of one machine's folders."""
    names = [name for name in files(top) if not BINARY.search(name)]
    for name in names:
        if FOREIGN_WORDS.search(name.replace("_", " ")):
            yield f"{name}: the file's name"
    yield from offending_lines(top, names, FOREIGN_WORDS)


def readme_shows_the_example(top, _):
    """The README's C++ block is examples/roundTrip.cpp to the letter."""
    shown = re.findall(r"```cpp\n(.*?)```", text(top, "README.md"), re.DOTALL)
    if text(top, "examples/roundTrip.cpp") not in shown:
        yield "README.md: no C++ block is identical to examples/roundTrip.cpp"


def documents_link_to_what_is_there(top, _):
    """Every relative link and every script named in a Markdown file exists."""
    for name in files(top):
        if not name.endswith(".md"):
            continue
        for number, line in enumerate(lines(top, name), 1):
            for target in re.findall(r"\]\((?!https?:|#)([^)#\s]+)", line):
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


RULES = {
    "EveryTestSourceIsBuilt": every_test_source_is_built,
    "SourcesAskForNoPlatform": sources_ask_for_no_platform,
    "SourcesUseNothingThatLosesWakeUps": sources_use_nothing_that_loses_wake_ups,
    "HeadersIncludeNothingForeign": headers_include_nothing_foreign,
    "FilesUseOurOwnWords": files_use_our_own_words,
    "KeptOdditiesAreDocumentedAndTested": kept_oddities_are_documented_and_tested,
    "ReadmeShowsTheExample": readme_shows_the_example,
    "DocumentsLinkToWhatIsThere": documents_link_to_what_is_there,
}


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("rule", choices=RULES)
    parser.add_argument("--source", required=True)
    parser.add_argument("--build", required=True)
    arguments = parser.parse_args()

    complaints = list(RULES[arguments.rule](arguments.source, arguments.build))
    for complaint in complaints:
        print(complaint)
    return 1 if complaints else 0


sys.exit(main())
