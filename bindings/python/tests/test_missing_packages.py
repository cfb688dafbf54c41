"""Without numpy, pandas, fsspec or Dask the package works, but for what needs them; that says so."""

import subprocess
import sys

import pytest

HIDE = """
import sys
for name in {hidden!r}:
    sys.modules[name] = None
import casefile
with casefile.open(sys.argv[1]) as file:
    assert file.read(6) == b"number"
try:
    {use}
except ImportError as missing:
    print(missing)
"""


@pytest.mark.parametrize("hidden, use, told", [
    (["numpy"], "casefile.open(sys.argv[1]).records('<i8')", "File.records needs numpy, which is not installed"),
    (["pandas"], "casefile.read_csv(sys.argv[1])", "casefile.read_csv needs pandas, which is not installed"),
    (["fsspec"], "import casefile.fsspec", "casefile.fsspec needs fsspec, which is not installed"),
    (["dask"], "import casefile.dask", "casefile.dask needs dask and numpy, which are not both installed"),
    (["numpy", "dask"], "import casefile.dask", "casefile.dask needs dask and numpy, which are not both installed"),
])
def test_what_is_missing_is_named(record_file, hidden, use, told):
    done = subprocess.run([sys.executable, "-c", HIDE.format(hidden=hidden, use=use), record_file],
                          stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False, timeout=120)
    assert (done.returncode, done.stdout.strip()) == (0, told), done.stderr
