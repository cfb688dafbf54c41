"""Builds and runs another project that uses the library, in one of three ways:

  Installed    the library is installed into an empty folder and found there with find_package
  Contained    its source tree is a part of the other project
  OwnPlatform  the same, and the other project supplies the platform

useFromOutside.py WAY --source FOLDER --build FOLDER --cmake PROGRAM --option NAME=VALUE ... [--emulator PROGRAM]

With an emulator the programs are Windows': they find the DLLs in their own folder.
"""
import argparse
import glob
import os
import shutil
import subprocess
import sys


def run(*command, **more):
    print("+", " ".join(command), flush=True)
    subprocess.run(command, check=True, stdin=subprocess.DEVNULL, **more)


def install(cmake, build, work):
    """Installs into an empty folder, then moves all of it: nothing may remember where it was."""
    first, last = os.path.join(work, "first"), os.path.join(work, "prefix")
    for folder in (first, last):
        shutil.rmtree(folder, ignore_errors=True)
    run(cmake, "--install", build, "--prefix", first, stdout=subprocess.DEVNULL)
    os.rename(first, last)
    return last


def build_with_pkg_config(options, consumer, prefix, work):
    """The same programs by hand, as the pkg-config files tell; they lie where they were moved to."""
    option = dict(each.split("=", 1) for each in options)
    folders = [os.path.join(folder, "pkgconfig") for folder, names, _ in os.walk(prefix) if "pkgconfig" in names]
    environment = {**os.environ, "PKG_CONFIG_PATH": ":".join(folders)}
    for package, program in (("datasource", "useLibrary"), ("casefile", "useCasefile")):
        told = subprocess.run(["pkg-config", "--cflags", "--libs", package], check=True, env=environment,
                              stdin=subprocess.DEVNULL, capture_output=True, text=True).stdout.split()
        built = os.path.join(work, program)
        libraries = [flag[2:] for flag in told if flag.startswith("-L")]
        run(option["CMAKE_CXX_COMPILER"], "-std=c++20", *option["CMAKE_CXX_FLAGS"].split(),
            os.path.join(consumer, program + ".cpp"), *told, "-o", built)
        run(built, cwd=work, env={**os.environ, "LD_LIBRARY_PATH": ":".join(libraries)})
        run("pkg-config", "--static", "--exists", "--print-errors", package, env=environment)


def below(folder):
    return sorted(os.path.relpath(os.path.join(parent, name), folder) for parent, folders, names in os.walk(folder)
                  for name in folders + names)


def uninstall(cmake, source, build, work):
    """Whatever an installation made is gone again, its folders too; what was there before stays, empty or not."""
    prefix = os.path.join(work, "removed")
    for before in ([], ["share", "share/man", "share/man/man1"]):
        shutil.rmtree(prefix, ignore_errors=True)
        if before:
            os.makedirs(os.path.join(prefix, before[-1]))
        run(cmake, "--install", build, "--prefix", prefix, stdout=subprocess.DEVNULL)
        run(cmake, "-P", os.path.join(source, "cmake", "uninstall.cmake"), cwd=build, stderr=subprocess.DEVNULL)
        if os.path.exists(prefix) != bool(before) or below(prefix) != before:
            sys.exit(f"there was {before}, and uninstall left {below(prefix)}")


def installed_below(prefix):
    return {os.path.relpath(os.path.join(folder, name), prefix) for folder, _, names in os.walk(prefix)
            for name in names}


def install_components(cmake, source, build, work):
    """Each file belongs to one component, and to the right one; what came by component is removed again too."""
    prefix = os.path.join(work, "whole")
    shutil.rmtree(prefix, ignore_errors=True)
    run(cmake, "--install", build, "--prefix", prefix, stdout=subprocess.DEVNULL)
    whole = installed_below(prefix)
    parts = {}
    for component in ("runtime", "development", "tools", "documentation"):
        prefix = os.path.join(work, "component-" + component)
        shutil.rmtree(prefix, ignore_errors=True)
        run(cmake, "--install", build, "--prefix", prefix, "--component", component, stdout=subprocess.DEVNULL)
        parts[component] = installed_below(prefix)
        print(component, len(parts[component]), "files")
    of_all = [file for part in parts.values() for file in part]
    if set(of_all) != whole or len(of_all) != len(whole):
        sys.exit(f"in no component or in two: {whole.symmetric_difference(of_all)}")
    for component, wrong in (
            ("runtime", lambda name: ".so." not in name and not name.endswith(".dll")),
            ("development", lambda name: ".so." in name or name.endswith(".dll")),
            ("tools", lambda name: "casefile" not in name or name.endswith((".h", ".dll")) or ".so" in name),
            ("documentation", lambda name: not name.endswith((".md", ".svg", ".txt", "LICENSE")))):
        strangers = sorted(filter(wrong, parts[component]))
        if strangers:
            sys.exit(f"not of {component}: {strangers}")
    run(cmake, "-P", os.path.join(source, "cmake", "uninstall.cmake"), cwd=build, stderr=subprocess.DEVNULL)
    left = [folder for folder in os.listdir(work) if folder.startswith("component-")]
    if left:
        sys.exit(f"uninstall left {left}")
    shutil.rmtree(os.path.join(work, "whole"), ignore_errors=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("way", choices=["Installed", "Contained", "OwnPlatform"])
    parser.add_argument("--source", required=True)
    parser.add_argument("--build", required=True)
    parser.add_argument("--cmake", required=True)
    parser.add_argument("--option", action="append", default=[])
    parser.add_argument("--emulator")
    arguments = parser.parse_args()

    work = os.path.join(arguments.build, "packaging", arguments.way)
    project = os.path.join(work, "build")
    os.makedirs(work, exist_ok=True)
    options = ["-D" + option for option in arguments.option]
    if arguments.way == "Installed":
        # Its build folder is made anew too: it must not find what an earlier run installed.
        shutil.rmtree(project, ignore_errors=True)
        prefix = install(arguments.cmake, arguments.build, work)
        options.append("-DCMAKE_PREFIX_PATH=" + prefix)
    else:
        options.append("-DDATASOURCE_SOURCE_DIR=" + arguments.source)
    if arguments.way == "OwnPlatform":
        options.append("-DDATASOURCE_BUNDLED_PLATFORM=OFF")

    consumer = os.path.join(arguments.source, "tests", "packaging", "consumer")
    run(arguments.cmake, "-S", consumer, "-B", project, *options)
    run(arguments.cmake, "--build", project, "--parallel", "2")
    if arguments.emulator:
        for dll in glob.glob(os.path.join(prefix, "bin", "*.dll")):
            shutil.copy(dll, project)
        for program in ("useLibrary.exe", "useCasefile.exe"):
            run(arguments.emulator, os.path.join(project, program), cwd=work)
        uninstall(arguments.cmake, arguments.source, arguments.build, work)
        install_components(arguments.cmake, arguments.source, arguments.build, work)
        return 0
    run(os.path.join(project, "useLibrary"), cwd=work)
    run(os.path.join(project, "useCasefile"), cwd=work)
    if arguments.way == "OwnPlatform":
        run(os.path.join(project, "ownPlatform", "useOwnCipher"), cwd=work)
    if arguments.way == "Installed":
        build_with_pkg_config(arguments.option, consumer, prefix, work)
        uninstall(arguments.cmake, arguments.source, arguments.build, work)
        install_components(arguments.cmake, arguments.source, arguments.build, work)
    return 0


sys.exit(main())
