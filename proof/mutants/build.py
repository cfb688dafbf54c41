"""Makes the one build that holds all mutants: a copy of the tree whose sources ask at each mutant whether it lives."""

import concurrent.futures
import hashlib
import json
import os
import pathlib
import pickle
import re
import shutil
import subprocess

import mutate

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent
MUTATED = ("Datasource/src", "Datasource/form", "casefile/src")
# The programs of GoogleTest, each with the sources that it can reach.
PROGRAMS = {
    "tests/internal_tests": ("Datasource/",),
    "tests/cipher_tests": ("Datasource/src", "Datasource/form"),
    "tests/cipher_key_tests": ("Datasource/src", "Datasource/form"),
    "tests/api_tests": ("Datasource/src", "Datasource/form"),
    "tests/casefileLibrary/casefile_api_tests": ("casefile/", "Datasource/form"),
    "tests/casefileLibrary/casefile_internal_tests": ("casefile/", "Datasource/form"),
    "tests/casefile/casefile_tests": ("casefile/", "Datasource/form"),
}
PRESET = "release"
ROOM = 2000  # numbers for each source, so that a change of one leaves the others' as they are
ROUNDS = 12  # of compiling and leaving out what the compiler refuses


def jobs():
    return int(os.environ.get("DATASOURCE_JOBS") or len(os.sched_getaffinity(0)))


class Build:
    """The copy in `folder`, and its mutants once it was made: those of the sources whose names begin with `below`."""

    def __init__(self, folder, below=""):
        self.programs = [program for program, reached in PROGRAMS.items()
                         if any(name.startswith(below) or below.startswith(name) for name in reached)]
        self.below = below
        self.tree = folder / "tree"
        self.output = self.tree / "build" / PRESET
        self.mutants = {}  # by number
        self.room = 0      # the numbers are below
        self._cache = folder / "cache"
        self._refused = folder / "refused"
        self._firsts = {}  # the number of each source's first mutant
        self._log = folder / "build.log"
        self._runtime = folder / "libproofMutants.so"
        for path in (self._cache, self._refused, self.tree):
            path.mkdir(parents=True, exist_ok=True)

    def make(self):
        """Raises RuntimeError where it cannot be built."""
        files = [pathlib.Path(name) for name in _run(["git", "ls-files", "-co", "--exclude-standard"]).splitlines()]
        files = [name for name in files if (ROOT / name).is_file()]
        sources = sorted(str(name) for name in files if name.suffix in (".cpp", ".h") and str(name).startswith(MUTATED))
        self._copy(files, set(sources))
        self._configure()
        commands = self._compile_commands()
        sources = [name for name in sources if name.endswith(".h") or name in commands]
        self._number(sources)
        programs = [program.rpartition("/")[2] for program in self.programs]
        for wanted in (["Datasource", "Datasource_casefile"], programs):
            self._compile(sources, commands, wanted)
        self.mutants = {number: mutant for number, mutant in self.mutants.items() if mutant.file.startswith(self.below)}

    def _compile(self, sources, commands, targets):
        """Compiles, and leaves out what the compiler refuses."""
        for _ in range(ROUNDS):
            self._mutate(sources, commands)
            with open(self._log, "w", encoding="utf-8") as log:
                done = subprocess.run(
                    ["cmake", "--build", "--preset", PRESET, "--parallel", str(jobs()),
                     "--target", *targets, "--", "-k", "0"],
                    cwd=self.tree, env={**os.environ, "LC_ALL": "C"}, stdout=log, stderr=subprocess.STDOUT, check=False)
            if done.returncode == 0:
                return
            self._refuse(sources, self._log.read_text(encoding="utf-8", errors="replace"))
        raise RuntimeError(f"The mutants do not compile: {self._log}")

    def digest(self, *programs):
        """What results of these programs, or of all, hold for."""
        text = hashlib.sha256()
        libraries = [path for folder in ("Datasource", "casefile") for path in (self.output / folder).glob("lib*.so")]
        for path in sorted([*(self.output / program for program in programs or self.programs), *libraries]):
            text.update(path.read_bytes())
        return text.hexdigest()[:16]

    def digest_of(self, source):
        """What the fate of its mutants holds for as long as no test goes: the source with all of them."""
        return hashlib.sha256((self.tree / source).read_bytes()).hexdigest()[:16]

    # ---- the copy

    def _copy(self, files, sources):
        wanted = {str(name) for name in files}
        for path in self.tree.rglob("*"):
            name = str(path.relative_to(self.tree))
            if path.is_file() and not name.startswith("build/") and name not in wanted:
                path.unlink()
        for name in files:
            if str(name) not in sources:
                _write(self.tree / name, (ROOT / name).read_bytes())
                shutil.copymode(ROOT / name, self.tree / name)
            elif not (self.tree / name).exists():
                _write(self.tree / name, (ROOT / name).read_bytes())

    def _configure(self):
        # With the standard library's own checks: an element behind the last one is noticed, as by the sanitizers.
        _run(["cc", "-O2", "-shared", "-fPIC", "-o", self._runtime, HERE / "runtime.c"])
        _run(["cmake", "--preset", PRESET, "-DDATASOURCE_TEST_PCH=OFF", "-DDATASOURCE_BUILD_REPLAYS=OFF",
              "-DDATASOURCE_BUILD_EXAMPLES=OFF", "-DCMAKE_CXX_FLAGS_RELEASE=-O1 -DNDEBUG -D_GLIBCXX_ASSERTIONS",
              f"-DCMAKE_CXX_STANDARD_LIBRARIES={self._runtime}"], cwd=self.tree)

    def _compile_commands(self):
        """For each source what says where headers lie: those of the tree itself, not the mutated ones."""
        found = {}
        for entry in json.loads((self.output / "compile_commands.json").read_text(encoding="utf-8")):
            path = pathlib.Path(entry["directory"], entry["file"])
            words = [word for word in entry["command"].split() if word.startswith(("-I", "-D", "-std"))]
            if path.is_relative_to(self.tree):
                mapped = [word.replace(str(self.tree), str(ROOT)) for word in words if str(self.output) not in word]
                made = [word for word in words if str(self.output) in word]
                found.setdefault(str(path.relative_to(self.tree)), mapped + made)
        return found

    # ---- the mutants

    def _number(self, sources):
        """Each source keeps its numbers while others come and go."""
        path = self._cache.parent / "numbers"
        self._firsts = json.loads(path.read_text(encoding="utf-8")) if path.exists() else {}
        for name in sources:
            self._firsts.setdefault(name, ROOM * len(self._firsts))
        path.write_text(json.dumps(self._firsts), encoding="utf-8")
        self.room = ROOM * len(self._firsts)

    def _mutate(self, sources, commands):
        self.mutants = {}
        tasks = []
        for name in sources:
            # A header has the arguments of a neighbour.
            near = commands.get(name) or next(
                commands[other] for folder in pathlib.Path(name).parents for other in sorted(commands)
                if other.startswith(f"{folder}/") and other.startswith(MUTATED))
            tasks.append((name, near, self._firsts[name], self._refused_of(name), self._cache))
        with concurrent.futures.ProcessPoolExecutor(jobs()) as pool:
            for (name, *_), (text, mutants) in zip(tasks, pool.map(_mutated, tasks)):
                _write(self.tree / name, text)
                self.mutants.update((mutant.number, mutant) for mutant in mutants)

    def _refused_path(self, name):
        return self._refused / f"{name.replace('/', '-')}-{hashlib.sha256((ROOT / name).read_bytes()).hexdigest()[:16]}"

    def _refused_of(self, name):
        path = self._refused_path(name)
        return frozenset(json.loads(path.read_text(encoding="utf-8"))) if path.exists() else frozenset()

    def _refuse(self, sources, log):
        """Leaves out what the compiler complains about: those that it names, or else what stands on the lines that it
        names; numbers at first, in most places they are what it refuses, then everything."""
        found = {int(number) for number in re.findall(r"non-.constexpr. function .*\[with int mutant = (\d+)", log)}
        named = {self.mutants[number].file for number in found}
        for name, line in self._lines_refused(sources, log):
            if name not in named:
                here = [mutant for mutant in self.mutants.values()
                        if mutant.file == name and mutant.line <= line <= mutant.last_line]
                found.update(m.number for m in [m for m in here if m.what == "is one more"] or here)
        if not found:
            raise RuntimeError(f"The build fails, and no mutant is the reason: {self._log}")
        for name in {self.mutants[number].file for number in found}:
            numbers = self._refused_of(name) | {
                number % ROOM for number in found if self.mutants[number].file == name}
            self._refused_path(name).write_text(json.dumps(sorted(numbers)), encoding="utf-8")

    def _lines_refused(self, sources, log):
        for path, line in set(re.findall(r"^([^\s:]+):(\d+)(?::\d+)?:.*?(?:error:|required from)", log, re.M)):
            resolved = pathlib.Path(os.path.normpath(self.output / path))
            if resolved.is_relative_to(self.tree) and str(resolved.relative_to(self.tree)) in sources:
                yield str(resolved.relative_to(self.tree)), int(line)


def _mutated(task):
    """The text of a source that holds its mutants, and those."""
    name, arguments, first, refused, cache = task
    key = hashlib.sha256(repr((name, (ROOT / name).read_bytes(), first, sorted(refused),
                               (HERE / "mutate.py").read_bytes())).encode()).hexdigest()
    kept = cache / key
    if kept.exists():
        return pickle.loads(kept.read_bytes())
    source = mutate.Source(name, ROOT / name, ["-x", "c++", *arguments], first, refused)
    text = source.compiled(HERE / "mutants.h").encode("latin-1")
    if any(mutant.number >= first + ROOM for mutant in source.mutants):
        raise RuntimeError(f"{name} has too many mutants")
    result = (text, source.mutants)
    kept.write_bytes(pickle.dumps(result))
    return result


def _write(path, data):
    """Where it is new: what did not change is not built again."""
    path.parent.mkdir(parents=True, exist_ok=True)
    if not path.exists() or path.read_bytes() != data:
        path.write_bytes(data)


def _run(command, cwd=ROOT):
    done = subprocess.run(command, cwd=cwd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
    if done.returncode != 0:
        raise RuntimeError(done.stdout[-2000:])
    return done.stdout
