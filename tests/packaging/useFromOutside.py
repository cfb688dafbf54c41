"""Builds and runs another project that uses the library, in one of three ways:

  Installed    the library is installed into an empty folder and found there with find_package
  Contained    its source tree is a part of the other project
  OwnPlatform  the same, and the other project supplies the platform

useFromOutside.py WAY --source FOLDER --build FOLDER --cmake PROGRAM --option NAME=VALUE ...
"""
import argparse
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


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("way", choices=["Installed", "Contained", "OwnPlatform"])
    parser.add_argument("--source", required=True)
    parser.add_argument("--build", required=True)
    parser.add_argument("--cmake", required=True)
    parser.add_argument("--option", action="append", default=[])
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
    run(os.path.join(project, "useLibrary"), cwd=work)
    run(os.path.join(project, "useCasefile"), cwd=work)
    if arguments.way == "OwnPlatform":
        run(os.path.join(project, "ownPlatform", "useOwnCipher"), cwd=work)
    return 0


sys.exit(main())
