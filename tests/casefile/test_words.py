"""What --help tells, the manual page and the completions of three shells are about the same commands and options."""

import pathlib
import re
import shutil
import subprocess
import unittest

from support import DEADLINE, CasefileTest, posix_only

TOOL = pathlib.Path(__file__).parents[2] / "casefile" / "tool"
COMPLETION = TOOL / "completion"
OPTION = re.compile(r"(?<![\w-])--?[A-Za-z][\w-]*")
EVERYWHERE = {"--help", "--quiet", "--verbose", "--progress", "--no-progress"}  # not in the page's synopsis


class Words(CasefileTest):
    """Names of options stand in sets, of commands in dictionaries; the program itself is the command \"\"."""

    maxDiff = None

    def help_of(self, *command):
        return self.run_casefile(*command, "--help").stdout.decode().replace("\r", "")

    def commands(self):
        return re.findall(r"^  (\w+) ", self.help_of().split("\nSubcommands:\n")[1], re.MULTILINE)

    def groups(self, command):
        """The options that help tells of; the names of one stand together."""
        rows = re.findall(r"^  (-\S+)", self.help_of(*([command] if command else [])), re.MULTILINE)
        return [frozenset(row.split(",")) for row in rows]

    def options(self):
        return {command: set().union(*self.groups(command)) for command in ["", *self.commands()]}


class Help(Words):
    def test_tells_of_what_users_try_first(self):
        options = self.options()
        self.assertEqual(options[""], {"-h", "--help", "-V", "--version"})
        for command in ["pack", "append", "unpack", "cat", "verify"]:
            self.assertLessEqual({"-j", "--threads", "--jobs", "-q", "--progress"}, options[command])


class Page(Words):
    def setUp(self):
        super().setUp()
        self.text = re.sub(r"\\f[BIR]", "", (TOOL / "casefile.1").read_text()).replace("\\-", "-")

    def section(self, name):
        return re.search(rf"^\.SH {name}\n(.*?)(?=^\.SH |\Z)", self.text, re.MULTILINE | re.DOTALL)[1]

    def test_has_version_and_date(self):
        version = self.run_casefile("-V").stdout.decode().split()[1]
        self.assertRegex(self.text, rf'^\.TH CASEFILE 1 "\d{{4}}-\d\d-\d\d" "Datasource {re.escape(version)}" ')

    def test_has_the_usual_sections(self):
        for name in ["NAME", "SYNOPSIS", "DESCRIPTION", "COMMANDS", "OPTIONS", "EXIT STATUS", "EXAMPLES", "SEE ALSO"]:
            self.assertTrue(self.section(name).strip())

    def test_tells_of_every_command_and_no_other(self):
        heads = re.findall(r"^\.TP\n\.B (\w+)$", self.section("COMMANDS"), re.MULTILINE)
        self.assertEqual(heads, self.commands())
        for command in self.commands():
            if command != "help":
                self.assertIn(f"casefile {command} ", self.section("EXAMPLES"))

    def test_tells_of_every_option_and_no_other(self):
        heads = re.findall(r"^\.TP\n\.B\S* (.*)", self.section("OPTIONS"), re.MULTILINE)
        self.assertEqual(set(OPTION.findall(" ".join(heads))), set().union(*self.options().values()))

    def test_synopsis_has_each_commands_options_once(self):
        parts = re.split(r"^casefile (\w+)", self.section("SYNOPSIS"), flags=re.MULTILINE)[1:]
        synopsis = dict(zip(parts[::2], map(OPTION.findall, parts[1::2])))
        self.assertEqual(list(synopsis), self.commands())
        for command, told in synopsis.items():
            expected = [group for group in self.groups(command) if not group & EVERYWHERE]
            for group in expected:
                self.assertEqual(len(group & set(told)), 1, f"{command}: {sorted(group)} in {told}")
            self.assertEqual(len(told), len(expected), f"{command}: {told}")

    def test_is_sound_to_a_formatter(self):
        if not shutil.which("mandoc"):
            self.skipTest("mandoc is not installed")
        result = subprocess.run(["mandoc", "-T", "lint", "-W", "warning", TOOL / "casefile.1"], timeout=DEADLINE,
                                stdout=subprocess.PIPE, check=False)
        self.assertEqual(result.stdout, b"")


class Completion(Words):
    def check_syntax(self, shell, *options):
        if not shutil.which(shell):
            self.skipTest(f"{shell} is not installed: the file was read all the same")
        subprocess.run([shell, *options, COMPLETION / f"casefile.{shell}"], timeout=DEADLINE, check=True)

    @posix_only
    def test_of_bash_offers_commands_and_options(self):
        def offered(*words):
            script = (f"source {COMPLETION}/casefile.bash; COMP_WORDS=({' '.join(words)} ''); "
                      f"COMP_WORDS[-1]={words[-1]}; unset 'COMP_WORDS[{len(words)}]'; COMP_CWORD={len(words) - 1}; "
                      'compopt() { :; }; _casefile; printf "%s\\n" "${COMPREPLY[@]}"')
            return set(subprocess.run(["bash", "-c", script], timeout=DEADLINE, stdout=subprocess.PIPE,
                                      check=True).stdout.decode().split())
        self.assertEqual(offered("casefile", "''"), set(self.commands()) | self.options()[""])
        for command, options in self.options().items():
            if command:
                self.assertEqual({word for word in offered("casefile", command, "-") if word[0] == "-"}, options, command)
        self.assertEqual(offered("casefile", "help", "p"), {"pack"})
        self.assertEqual(offered("casefile", "help", "pack", "''"), set())

    def test_of_fish_offers_commands_and_options(self):
        offered = {}
        for line in (COMPLETION / "casefile.fish").read_text().splitlines():
            condition = re.match(r"complete -c casefile -n (__fish_use_subcommand|'__casefile_does ([^']*)')", line)
            if condition:
                line = re.sub(r" -d '.*'", "", line[condition.end():])
                names = {f"-{name}" for name in re.findall(r" -s (\w)", line)}
                names |= {f"--{name}" for name in re.findall(r" -l ([\w-]+)", line)}
                names |= {name for name in re.findall(r" -f -a (\w+)$", line)}
                for command in (condition[2] or "''").split():
                    offered.setdefault("" if command == "''" else command, set()).update(names)
        expected = self.options()
        expected[""] |= set(self.commands())
        self.assertEqual(offered, expected)
        self.check_syntax("fish", "--no-execute")

    def test_of_fish_looks_at_the_first_word_only(self):
        if not shutil.which("fish"):
            self.skipTest("fish is not installed")
        def offered(line):
            script = f"source {COMPLETION}/casefile.fish; complete -C '{line}'"
            done = subprocess.run(["fish", "--no-config", "-c", script], timeout=DEADLINE, stdout=subprocess.PIPE,
                                  cwd=self.folder, check=True)
            return [row.split("\t")[0] for row in done.stdout.decode().splitlines()]
        self.write("pack", b"")
        self.assertEqual(set(offered("casefile help ")), set(self.commands()))
        self.assertEqual(offered("casefile help pack "), [])
        self.assertEqual(set(offered("casefile verify pack -")), self.options()["verify"])
        self.assertEqual(offered("casefile verify "), ["pack"])

    def test_of_zsh_offers_commands_and_options(self):
        text = (COMPLETION / "casefile.zsh").read_text()
        lists = dict(re.findall(r"^  (\w+)=\(\n(.*?)^  \)$", text, re.MULTILINE | re.DOTALL))
        self.assertEqual(re.findall(r"^    '(\w+):", lists.pop("commands"), re.MULTILINE), self.commands())
        offered = {name: set(OPTION.findall(re.sub(r"\[.*?\]|'\(.*?\)", " ", rows))) for name, rows in lists.items()}
        common = offered.pop("common")
        expected = self.options()
        self.assertEqual(set(OPTION.findall(re.search(r"^    _arguments (.*)", text, re.MULTILINE)[1])), expected.pop(""))
        expected.pop("help")
        self.assertEqual({command: names | common for command, names in offered.items()}, expected)
        self.check_syntax("zsh", "-n")

    def test_is_installed_for_each_shell(self):
        rules = (TOOL / "CMakeLists.txt").read_text()
        for shell in ["bash", "fish", "zsh"]:
            self.assertIn(f"install(FILES completion/casefile.{shell} ", rules)


if __name__ == "__main__":
    unittest.main()
