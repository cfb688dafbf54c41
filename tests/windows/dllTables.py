"""Checks the tables of a Windows DLL or program with objdump.

  dllTables.py exports --objdump OBJDUMP --demangler CXXFILT --list FILE --file DLL
      The exported names, demangled, are those of the reviewed list. The list holds one name a line;
      empty lines and lines that begin with '#' are for the reader. Names that only tell the same
      constructor's or destructor's variants apart demangle to one.
  dllTables.py imports --objdump OBJDUMP --file FILE [--file FILE...]
      Each file needs nothing but DLLs of the system itself; a program needs Datasource.dll too.
  dllTables.py version --version VERSION --file FILE [--file FILE...]
      Each file's properties show the version.
  dllTables.py same --list FILE --other FILE
      Two reviewed lists agree, apart from how the platforms name integer types and apart from tables
      of class information, which belong to the whole class on one platform and to members on the other.
"""
import argparse
import re
import subprocess
import sys

LIBRARY_NEEDS = {"kernel32.dll", "msvcrt.dll", "bcrypt.dll"}
# casefile takes its arguments apart with the shell's own function.
PROGRAMS_NEED = LIBRARY_NEEDS | {"shell32.dll", "datasource.dll"}


def listed(path):
    with open(path, encoding="utf-8") as file:
        lines = [line.strip() for line in file]
    return [line for line in lines if line and not line.startswith("#")]


def tables(objdump, file):
    return subprocess.run([objdump, "-p", file], check=True, capture_output=True, text=True).stdout


def exported(objdump, demangler, library):
    table = tables(objdump, library).partition("[Ordinal/Name Pointer] Table")[2].partition("\n\n")[0]
    mangled = re.findall(r"^\s*(?:\[\s*\d+\]\s+)(?:\+base\[\s*\d+\]\s+(?:[0-9a-f]+\s+)?)?(\S+)$", table, re.MULTILINE)
    names = subprocess.run([demangler], input="\n".join(mangled), check=True, capture_output=True, text=True).stdout
    return {line.strip() for line in names.splitlines() if line.strip()}


def compare(actual, reviewed):
    for name in sorted(name for name in set(reviewed) if reviewed.count(name) > 1):
        yield f"listed twice: {name}"
    for name in sorted(actual - set(reviewed)):
        yield f"exported but not in the list: {name}"
    for name in sorted(set(reviewed) - actual):
        yield f"in the list but not exported: {name}"


def foreign_imports(objdump, file):
    needed = re.findall(r"DLL Name: (\S+)", tables(objdump, file))
    if not needed:
        yield f"{file}: no import table found"
    allowed = LIBRARY_NEEDS if file.lower().endswith(".dll") else PROGRAMS_NEED
    for name in needed:
        if name.lower() not in allowed:
            yield f"{file}: needs {name}"


def without_version(version, file):
    """The properties' texts are UTF-16, each behind its name."""
    with open(file, "rb") as opened:
        contents = opened.read()
    for field in ("FileVersion", "ProductVersion"):
        if not re.search((field + "\0").encode("utf-16-le") + b"(?:\0\0)?" + (version + "\0").encode("utf-16-le"),
                         contents, re.DOTALL):
            yield f"{file}: shows no {field} {version}"


def neutral(name):
    name = re.sub(r"\bunsigned long long\b", "unsigned long", name)
    name = re.sub(r"\b(\d+)ull\b", r"\1ul", name)
    return re.sub(r"\blong long\b", "long", name)


def about_class_tables(name):
    return re.match(r"(vtable|VTT|typeinfo|typeinfo name|construction vtable) for|(virtual|non-virtual) thunk", name)


# Windows exports whole classes, their private helpers too; elsewhere those stay inside.
PRIVATE_HELPERS = re.compile(r"VORN_FileStream::(MakeWorker|ReadAhead|ReadDirect|ReadInSteps|ReadThroughBuffer|WriteInSteps)\("
                             r"|zcmpsFilestr::(KeepsInvariants|OpenForUpdate|UseFile)\(|zlibCompressBlock::runOnce\("
                             r"|casefile::(Reader|Writer|Appender|PlainInput)::(\w+\(std::unique_ptr|impl\(|requireReadable\()"
                             r"|casefile::Error::Error\(.*, std::shared_ptr<")


def differences(ours, others):
    ours = [name for name in ours if not PRIVATE_HELPERS.match(name)]
    ours, others = ({neutral(name) for name in names if not about_class_tables(name)} for names in (ours, others))
    for name in sorted(ours - others):
        yield f"only in the list for Windows: {name}"
    for name in sorted(others - ours):
        yield f"only in the other list: {name}"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("check", choices=["exports", "imports", "version", "same"])
    parser.add_argument("--objdump")
    parser.add_argument("--demangler")
    parser.add_argument("--version")
    parser.add_argument("--list")
    parser.add_argument("--other")
    parser.add_argument("--file", dest="files", action="append", default=[])
    arguments = parser.parse_args()

    if arguments.check == "exports":
        names = exported(arguments.objdump, arguments.demangler, arguments.files[0])
        complaints = list(compare(names, listed(arguments.list)))
        if not names:
            complaints = ["no export table found"]
    elif arguments.check == "imports":
        if not arguments.files:
            parser.error("imports needs a --file")
        complaints = [line for file in arguments.files for line in foreign_imports(arguments.objdump, file)]
    elif arguments.check == "version":
        complaints = [line for file in arguments.files for line in without_version(arguments.version, file)]
    else:
        complaints = list(differences(listed(arguments.list), listed(arguments.other)))
    print("\n".join(complaints) or "as reviewed")
    return 1 if complaints else 0


sys.exit(main())
