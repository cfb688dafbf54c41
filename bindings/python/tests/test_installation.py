"""The package as pip installs it where there is no network."""

import pathlib
import shutil
import subprocess
import sys

PACKAGE = pathlib.Path(__file__).parents[1]


def run(*command, **options):
    done = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False, timeout=200, **options)
    assert done.returncode == 0, done.stdout + done.stderr
    return done.stdout


def test_pip_installs_it_without_network(tmp_path, record_file):
    # pip builds beside the sources, which stay as they are.
    sources, installed = tmp_path / "sources", tmp_path / "installed"
    shutil.copytree(PACKAGE, sources, ignore=shutil.ignore_patterns("tests", "__pycache__"))
    run(sys.executable, "-m", "pip", "install", "--quiet", "--no-build-isolation", "--no-index", "--no-deps",
        "--target", installed, sources)
    code = f"import casefile; print(casefile.__file__, casefile.open({str(record_file)!r}).row0)"
    told = run(sys.executable, "-c", f"import sys; sys.path.insert(0, {str(installed)!r}); {code}", cwd=tmp_path)
    assert told.split() == [str(installed / "casefile" / "__init__.py"), "27"]
    assert (installed / "casefile" / "py.typed").exists()
