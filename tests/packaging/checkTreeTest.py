"""Shows that each rule of checkTree.py can fail: in a small tree made up for it, and only there where it is
broken. Run it with: python3 -B -m unittest checkTreeTest"""

import os
import tempfile
import unittest

from checkTree import RULES


class Rule(unittest.TestCase):
    def complaints(self, rule, tree, build=""):
        """What the rule says of a tree that holds these files."""
        with tempfile.TemporaryDirectory() as top:
            for name, contents in tree.items():
                path = os.path.join(top, name)
                os.makedirs(os.path.dirname(path), exist_ok=True)
                with open(path, "w", encoding="utf-8") as file:
                    file.write(contents.replace("@TOP@", top))
            return list(RULES[rule](top, os.path.join(top, build)))

    def keeps(self, rule, tree, **more):
        self.assertEqual(self.complaints(rule, tree, **more), [])

    def breaks(self, rule, tree, *words, **more):
        complaints = self.complaints(rule, tree, **more)
        self.assertEqual(len(complaints), 1, complaints)
        for word in words:
            self.assertIn(word, complaints[0])


class Sources(Rule):
    def test_a_test_source_that_is_not_compiled_is_named(self):
        tree = {"build/CMakeCache.txt": "", "build/compile_commands.json": '[{"file": "@TOP@/tests/oneTest.cpp"}]',
                "tests/oneTest.cpp": "", "tests/windows/otherTest.cpp": ""}
        self.keeps("EveryTestSourceIsBuilt", tree, build="build")
        self.breaks("EveryTestSourceIsBuilt", {**tree, "tests/twoTest.cpp": ""}, "tests/twoTest.cpp", build="build")

    def test_conditional_compilation_is_for_include_guards(self):
        self.keeps("SourcesAskForNoPlatform", {"Datasource/src/a.h": "#ifndef DATASOURCE_A_H\n#define DATASOURCE_A_H\n#endif\n"})
        self.breaks("SourcesAskForNoPlatform", {"Datasource/src/a.cpp": "#ifdef SOMETHING\n#endif\n"}, "a.cpp:1")
        self.breaks("SourcesAskForNoPlatform", {"Datasource/src/a.cpp": "int a = _WIN64;\n"}, "a.cpp:1")

    def test_a_header_of_the_system_outside_the_seam_is_named(self):
        self.keeps("CasefileLeavesTheSystemToTheSeam",
                   {"casefile/tool/a.cpp": "#include <zlib.h>\n#include <string>\n",
                    "casefile/tool/platform/posix/b.cpp": "#include <unistd.h>\n"})
        for header in ["unistd.h", "sys/stat.h", "windows.h", "filesystem"]:
            self.breaks("CasefileLeavesTheSystemToTheSeam", {"casefile/tool/a.cpp": f"#include <{header}>\n"}, "a.cpp:1")

    def test_what_loses_wake_ups_is_named(self):
        self.keeps("SourcesUseNothingThatLosesWakeUps", {"bench/a.cpp": "#include <mutex>\n"})
        self.breaks("SourcesUseNothingThatLosesWakeUps", {"bench/a.cpp": "#include <latch>\n"}, "bench/a.cpp:1")

    def test_a_thread_local_that_may_have_a_destructor_is_named(self):
        self.keeps("ThreadLocalsAreNotDestroyed",
                   {"Datasource/src/a.cpp": "// no thread_local\nthread_local constinit int* here = nullptr;\n",
                    "tests/a.cpp": "thread_local std::string here;\n"})
        for line in ["thread_local std::string here;", "static thread_local Owner here;"]:
            self.breaks("ThreadLocalsAreNotDestroyed", {"Datasource/form/a.cpp": f"{line}\n"}, "a.cpp:1")

    def test_a_public_header_includes_nothing_foreign(self):
        header = "Datasource/include/Datasource/a.h"
        self.keeps("HeadersIncludeNothingForeign", {header: '#include "Datasource/b.h"\n#include <string>\n',
                                                    "Datasource/include/Datasource/b.h": ""})
        self.breaks("HeadersIncludeNothingForeign", {header: "#include <zlib.h>\n"}, "a.h:1")
        self.breaks("HeadersIncludeNothingForeign", {header: '#include "inner.h"\n'}, "a.h:1")

    def test_a_lower_layer_includes_no_upper_one(self):
        tree = {"Datasource/src/stream.h": "", "Datasource/form/table.h": ""}
        self.keeps("IncludesPointDownwards", {**tree, "Datasource/src/stream.cpp": '#include "table.h"\n#include "stream.h"\n'})
        self.breaks("IncludesPointDownwards", {**tree, "Datasource/form/table.cpp": '#include "stream.h"\n'}, "table.cpp:1")

    def test_a_strange_folder_at_the_top_is_named(self):
        self.keeps("OnlyKnownNamesAtTheTop", {"docs/a.md": "", "build-mine/a": "", "README.md": ""})
        self.breaks("OnlyKnownNamesAtTheTop", {"docs/a.md": "", "misc/a.md": ""}, "misc")


class Documents(Rule):
    def test_the_readme_shows_the_example_to_the_letter(self):
        self.keeps("ReadmeShowsTheExample", {"README.md": "```cpp\nint a;\n```\n", "examples/roundTrip.cpp": "int a;\n"})
        self.breaks("ReadmeShowsTheExample", {"README.md": "```cpp\nint b;\n```\n", "examples/roundTrip.cpp": "int a;\n"})

    def test_the_page_for_beginners_shows_an_example(self):
        tree = {"docs/getting-started.md": "```cpp\nint a;\n```\n", "examples/quickStart.cpp": "int a;\n"}
        self.keeps("GettingStartedShowsTheExample", tree)
        self.breaks("GettingStartedShowsTheExample", {**tree, "examples/quickStart.cpp": "int b;\n"}, "int a;")
        self.breaks("GettingStartedShowsTheExample", {**tree, "docs/getting-started.md": ""}, "no program")

    def test_the_readme_has_the_numbers_of_the_last_run(self):
        run = "## The last run\n\n| harness | cases run | of |\n|---|---|---|\n| `a` | 1,000 (5 steps) | 2,000 |\n"
        tree = {"docs/reliability.md": run, "README.md": "| harness | cases run |\n| --- | --- |\n| `a` | 1,000 of 2,000 |\n\n"}
        self.keeps("ReadmeShowsTheLastRun", tree)
        self.breaks("ReadmeShowsTheLastRun", {**tree, "docs/reliability.md": run.replace("1,000", "1,001")}, "1,001 of 2,000")
        self.breaks("ReadmeShowsTheLastRun", {**tree, "docs/reliability.md": ""}, "no table")

    def test_the_recipes_are_the_examples_to_the_letter_with_what_they_print(self):
        program, shown = "int a;\n", "```cpp\nint a;\n```\n\n```text\n1\n```\n"
        tree = {"examples/casefile/a.cpp": program}
        self.keeps("RecipesShowTheExamples", {**tree, "docs/recipes.md": shown})
        self.breaks("RecipesShowTheExamples", {**tree, "docs/recipes.md": ""}, "a.cpp")
        self.breaks("RecipesShowTheExamples", {**tree, "docs/recipes.md": shown.replace("text", "sh")}, "a.cpp")
        self.breaks("RecipesShowTheExamples", {**tree, "docs/recipes.md": shown + "```cpp\nint b;\n```\n"}, "int b;")
        tree = {"docs/recipes.md": "", "examples/c/a.c": "int c;\n"}
        self.keeps("RecipesShowTheExamples", {**tree, "docs/c.md": "```c\nint c;\n```\n```text\n1\n```\n"})
        self.breaks("RecipesShowTheExamples", tree, "a.c")

    def test_the_record_sizes_are_the_divisors_of_a_block(self):
        tree = {"Datasource/form/block/blockSize.h": "constexpr std::size_t kBlockSize = 0x3F0;\n"}
        sizes = [f"{size:,}" for size in range(1, 0x3F0 + 1) if 0x3F0 % size == 0]
        self.keeps("RecipesListTheRecordSizes", {**tree, "docs/recipes.md": f"| 1 | {', '.join(sizes)} |\n"})
        self.breaks("RecipesListTheRecordSizes", {**tree, "docs/recipes.md": f"| 1 | {', '.join(sizes[1:])} |\n"}, "1008")
        self.breaks("RecipesListTheRecordSizes", {**tree, "docs/recipes.md": f"| 1 | {', '.join(sizes)}, 5 |\n"}, "1008")

    def test_an_option_that_the_readme_lacks_is_named(self):
        tree = {"CMakeLists.txt": 'option(A_TESTS "tests" ON)\noption(A_TOOLS "tools" ON)\nset(DIR "" CACHE PATH "where")\n'
                                  'set(OTHER OFF CACHE BOOL "" FORCE)\n'}
        table = "| option | default |\n| --- | --- |\n| `BUILD_SHARED_LIBS` | |\n| `A_TESTS`, `_TOOLS` | |\n| `DIR` | |\n"
        self.keeps("ReadmeListsTheOptions", {**tree, "README.md": table + "\n"})
        self.breaks("ReadmeListsTheOptions", {**tree, "README.md": table.replace("| `DIR` | |\n", "\n")}, "DIR")
        self.breaks("ReadmeListsTheOptions", {**tree, "README.md": table + "| `A_MORE` | |\n\n"}, "A_MORE")

    def test_a_link_or_script_that_leads_nowhere_is_named(self):
        self.keeps("DocumentsLinkToWhatIsThere", {"docs/a.md": "[b](b.md)", "docs/b.md": ""})
        self.breaks("DocumentsLinkToWhatIsThere", {"docs/a.md": "[b](b.md)"}, "b.md")
        self.breaks("DocumentsLinkToWhatIsThere", {"docs/a.md": "run scripts/none.sh"}, "scripts/none.sh")
        self.keeps("DocumentsLinkToWhatIsThere", {"docs/a.md": "```cpp\n[&](int a) {}\n```\n"})
        self.breaks("DocumentsLinkToWhatIsThere", {"docs/a.md": "```cpp\n[&](int a) {}\n```\n[b](b.md)"}, "b.md")

    def test_kept_oddities_and_their_tests_name_each_other(self):
        row, test = "| what | where | why | `Suite.Rule_KeptAsIs` |\n", "TEST(Suite, Rule_KeptAsIs) {}\n"
        self.keeps("KeptOdditiesAreDocumentedAndTested", {"docs/kept-as-is.md": row, "tests/a.cpp": test})
        self.breaks("KeptOdditiesAreDocumentedAndTested", {"docs/kept-as-is.md": row, "tests/a.cpp": ""}, "is not there")
        self.breaks("KeptOdditiesAreDocumentedAndTested", {"docs/kept-as-is.md": "", "tests/a.cpp": test}, "does not name")

    def test_a_path_that_is_not_there_is_named(self):
        tree = {"Datasource/platform/posix/cRuntime.cpp": "", "Datasource/platform/windows/cRuntime.cpp": ""}
        self.keeps("DocumentsNamePathsThatExist", {**tree, "docs/a.md": "`posix/cRuntime`, `{posix,windows}/cRuntime.cpp`, "
                                                                        "`Datasource/platform/`, `*/cRuntime.cpp`, `cRuntime.cpp`"})
        self.keeps("DocumentsNamePathsThatExist", {**tree, "made.h.in": "", "docs/a.md": "`made.h`, `made.h.in`"})
        self.breaks("DocumentsNamePathsThatExist", {**tree, "docs/a.md": "`common/cRuntime`"}, "common/cRuntime")
        self.breaks("DocumentsNamePathsThatExist", {**tree, "docs/a.md": "`{posix,other}/cRuntime`"}, "a.md:1")
        self.breaks("DocumentsNamePathsThatExist", {**tree, "docs/a.md": "`bRuntime.cpp`"}, "bRuntime.cpp")

    def test_a_member_that_is_not_there_is_named(self):
        tree = {"a.h": "class Stream final : public Base {\n void Seek(); // and Tell\n struct Data;\n};\n"
                       "struct Stream::Data { int size; };\n"}
        self.keeps("DocumentsNameMembersThatExist", {**tree, "docs/a.md": "`Stream::Seek`, `Stream::Data::size`, `std::any`"})
        self.breaks("DocumentsNameMembersThatExist", {**tree, "docs/a.md": "`Stream::Tell`"}, "Stream::Tell")
        self.breaks("DocumentsNameMembersThatExist", {**tree, "docs/a.md": "`Flow::Seek()`"}, "Flow::Seek")
        self.breaks("DocumentsNameMembersThatExist", {**tree, "docs/a.md": "`Stream::Data::length`"}, "length")

    def test_a_source_that_no_table_names_is_named(self):
        tree = {"Datasource/src/file.h": "", "Datasource/src/file.cpp": "", "docs/architecture.md": "| `file` | owns |\n"}
        self.keeps("EverySourceIsInADocument", tree)
        self.breaks("EverySourceIsInADocument", {**tree, "casefile/tool/layout.cpp": ""}, "casefile/tool/layout.cpp")
        self.breaks("EverySourceIsInADocument", {**tree, "Datasource/src/newFile.cpp": ""}, "newFile.cpp")
        self.breaks("EverySourceIsInADocument", {**tree, "docs/architecture.md": "| `file.h` | `*` |\n"}, "file.cpp")

    def test_a_line_that_no_test_reaches_exists_and_has_a_reason(self):
        entry = "# why\n\nfile: casefile/src/a.cpp\nline: return 1;\nmissing: line\nbecause: it cannot be\n"
        tree = {"casefile/src/a.cpp": "int f() {\n  return 1;\n}\n", "proof/coverage/excluded.txt": entry}
        self.keeps("ListsOfProofNameLinesThatExist", tree)
        self.breaks("ListsOfProofNameLinesThatExist", {**tree, "casefile/src/a.cpp": "return 2;\n"}, "return 1;")
        self.breaks("ListsOfProofNameLinesThatExist", {"proof/coverage/excluded.txt": entry}, "a.cpp")
        self.breaks("ListsOfProofNameLinesThatExist",
                    {**tree, "proof/coverage/excluded.txt": entry.replace("because: it cannot be\n", "")}, "no reason")

    def test_assertions_and_their_document_agree(self):
        document = "## Assertions\n| expression |\n| `a\\|\\|b`, `\"c\" != 0` |\n## Results\n| `other` |\n"
        source = 'ASSERT(f(a), "a||"\n  "b", kSource);\nreport(L"\\"c\\" != 0", L"Datasource/src/a");\n'
        tree = {"docs/errors.md": document, "Datasource/src/a.cpp": source}
        self.keeps("ErrorsDocumentHasTheAssertions", tree)
        self.breaks("ErrorsDocumentHasTheAssertions", {**tree, "Datasource/src/a.cpp": 'ASSERT(c, "a||b", kSource);'},
                    'reports no `"c" != 0`')
        self.breaks("ErrorsDocumentHasTheAssertions", {**tree, "Datasource/src/a.cpp": source + 'ASSERT(d, "d", k);'},
                    "does not tell of `d`")


class Versions(Rule):
    TREE = {"CMakeLists.txt": "project(Datasource VERSION 1.2.3 LANGUAGES CXX)\n",
            "CHANGELOG.md": "# Changes\n\n## 1.2.3 (not released)\n\n- new\n\n## 1.2.2\n",
            "bindings/python/pyproject.toml": 'name = "casefile"\nversion = "1.2.3"\n',
            "bindings/python/casefile/__init__.py": '__version__ = "1.2.3"\n',
            "bindings/python/casefile/_interface.py": 'VERSION = "1.2"\n',
            "casefile/tool/casefile.1": '.TH CASEFILE 1 "2026-01-01" "Datasource 1.2.3" "User Commands"\n',
            "debian/changelog": "datasource (1.2.3-1) unstable; urgency=medium\n\ndatasource (1.2.2) unstable\n",
            "debian/control": "Package: libdatasource1.2\n\nPackage: libcasefile1.2\n"}

    def test_each_place_that_names_another_version_is_named(self):
        self.keeps("VersionsAgree", self.TREE)
        for name, contents in self.TREE.items():
            if name in ("CMakeLists.txt", "debian/control"):
                continue
            self.breaks("VersionsAgree", {**self.TREE, name: contents.replace("1.2", "1.1")}, name)
        self.breaks("VersionsAgree", {**self.TREE, "debian/control": "Package: libdatasource1.2\n"}, "names None")
        self.breaks("VersionsAgree", {**self.TREE, "CMakeLists.txt": ""}, "no version")


class Coverage(unittest.TestCase):
    def test_every_rule_is_shown_to_fail(self):
        with open(__file__, encoding="utf-8") as file:
            text = file.read()
        self.assertEqual([rule for rule in RULES if f'breaks("{rule}"' not in text], [])


if __name__ == "__main__":
    unittest.main()
