"""Rules about the sources: what is built, what they may include and use, and what lies in the tree."""

import json
import os
import re

from treeFiles import files, lines, offending_lines


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
    """Sources above the platform have no conditional compilation at all, except include guards."""
    for name in [*files(top, "Datasource/src"), *files(top, "Datasource/form"), *files(top, "casefile/src")]:
        guard = re.sub(r"[^A-Za-z0-9]", "_", os.path.basename(name)).upper()
        for number, line in enumerate(lines(top, name), 1):
            directive = re.match(r"\s*#\s*(if|ifdef|ifndef|elif|else)\b(.*)", line)
            if directive and not (directive[1] == "ifndef" and directive[2].strip().endswith(guard)):
                yield f"{name}:{number}: {line.strip()}"
            elif re.search(r"\b(_WIN32|_WIN64|WIN32|_MSC_VER|__MINGW\w+|__linux__|__unix__|__APPLE__)\b", line):
                yield f"{name}:{number}: {line.strip()}"


SYSTEM_HEADERS = re.compile(r"#\s*include\s*<(?!zlib\.h>)(\w+\.h|sys/[^>]+|linux/[^>]+|filesystem)>")


def casefile_leaves_the_system_to_the_seam(top, _):
    """The program includes no header of the operating system but where it is a process, and takes no file by another
    road than the seam: the standard library's converts names by rules of its own."""
    names = [name for name in files(top, "casefile/tool") if name.endswith((".h", ".cpp"))]
    yield from offending_lines(top, [name for name in names if "/platform/" not in name], SYSTEM_HEADERS)


LOSES_WAKE_UPS = re.compile(r"#\s*include\s*<(semaphore|latch|barrier|stop_token)>|\bcondition_variable_any\b|"
                            r"\b(counting|binary)_semaphore\b|\batomic_wait\b")


def sources_use_nothing_that_loses_wake_ups(top, _):
    """Some standard primitives hang at random in the Windows cross compiler's library: nobody uses them."""
    names = [name for name in files(top) if name.endswith((".h", ".cpp"))]
    yield from offending_lines(top, names, LOSES_WAKE_UPS)


DESTROYED_WITH_A_THREAD = re.compile(r"^(?!\s*//).*\bthread_local\b(?!\s+constinit\b)")


def thread_locals_are_not_destroyed(top, _):
    """What a thread ends with runs no destructor in a DLL: on 64-bit Windows that hangs or breaks the heap."""
    names = [name for name in [*files(top, "Datasource"), *files(top, "casefile")] if name.endswith((".h", ".cpp"))]
    yield from offending_lines(top, names, DESTROYED_WITH_A_THREAD)


STANDARD_HEADERS = re.compile(
    r"<(algorithm|array|atomic|bit|cerrno|climits|compare|concepts|condition_variable|cstddef|cstdint|cstdlib|cstring|"
    r"deque|exception|fcntl\.h|functional|initializer_list|ios|iosfwd|istream|limits|map|memory|mutex|new|optional|ostream|"
    r"set|share\.h|span|stddef\.h|stdexcept|stdint\.h|streambuf|string|string_view|sys/stat\.h|system_error|thread|tuple|type_traits|utility|"
    r"variant|vector)>")


def headers_include_nothing_foreign(top, _):
    """Public headers include each other, the standard library and, on Windows, the C runtime; no others."""
    folders = ("Datasource/include", "casefile/include")
    names = [name for folder in folders for name in files(top, folder) if name.endswith((".h", ".h.in"))]
    if not names:
        yield "no headers found"
    for name in names:
        for number, line in enumerate(lines(top, name), 1):
            include = re.match(r"\s*#\s*include\s*(.*)", line)
            if not include:
                continue
            own = re.match(r'"((Datasource|casefile)/[^"]+)"', include[1])
            if own and any(os.path.exists(os.path.join(top, own[2], "include", own[1] + end)) for end in ("", ".in")):
                continue
            if not STANDARD_HEADERS.match(include[1]):
                yield f"{name}:{number}: {line.strip()}"


KNOWN_AT_THE_TOP = {
    ".ci", ".clang-format", ".clang-tidy", ".gitattributes", ".github", ".gitignore", "CHANGELOG.md", "CMakeLists.txt",
    "CMakePresets.json", "CONTRIBUTING.md", "Datasource", "LICENSE", "README.md", "bench", "bindings", "casefile", "cmake",
    "debian", "docs", "examples", "packaging", "proof", "scripts", "tests",
}
LOCAL_AT_THE_TOP = re.compile(r"^(build.*|\.git|\.cache|\.vscode|\.idea|CMakeUserPresets\.json|compile_commands\.json)$")


def only_known_names_at_the_top(top, _):
    """Whoever opens the tree finds the folders that the documents explain, and no others."""
    for name in sorted(os.listdir(top)):
        if name not in KNOWN_AT_THE_TOP and not LOCAL_AT_THE_TOP.match(name):
            yield f"{name}: is not known at the top of the tree"
