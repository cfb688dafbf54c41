"""A folder that two users may write, what lies outside it, and casefile as one of them."""

import os
import subprocess
import tempfile

OWNER, OTHER = 64001, 64002
PLANTED = b"what the other user planted\n"
PRECIOUS = b"precious\n"
HEADER = b"name,age\n"
ROWS = b"".join(b"%d,%d\n" % (i, i * 7919 % 1000) for i in range(3000))
MORE = b"4711,42\n" * 100
DEADLINE = 10
BLOCK = 4190208  # bytes of a whole block
TERABYTE = 1 << 40


def wrong_end(code, words):
    """Returns: what is wrong with a command's exit code and what it said on the way."""
    if code not in (0, 1, 2):
        return f"ends with {code}: {words[:300].decode(errors='replace')}"
    return "" if code == 0 or words else "fails without a word"


class World:
    """The shared folder, what lies outside it, and the command's start."""

    def __init__(self, top, programs, runner):
        self.casefile, self.gate, self.calls, self.runner = programs.casefile, programs.gate, programs.calls, runner
        self.folder, self.outside = top / "shared", top / "outside"
        self.folder.mkdir()
        os.chmod(self.folder, 0o777)
        self.outside.mkdir()
        # The owner may write there, and so may follow a planted link.
        os.chown(self.outside, runner, runner)
        os.chmod(self.outside, 0o711)
        self.write(self.outside / "precious", PRECIOUS, runner)

    def write(self, path, data, user):
        path.write_bytes(data)
        os.chown(path, user, user)
        os.chmod(path, 0o600)

    def command(self, *arguments, program=None, **more):
        return [program or self.casefile, *arguments], {"cwd": self.folder, "user": self.runner, "group": self.runner,
                                             "extra_groups": [], "umask": 0o022, **more}

    def run(self, *arguments, data=b""):
        command, how = self.command(*arguments)
        return subprocess.run(command, input=data, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False,
                              timeout=DEADLINE, **how)

    def run_gated(self, arguments, data, call, at_the_stop):
        """Returns: the exit code, the calls that it made, and what `at_the_stop` says."""
        told, tells = os.pipe()
        waits, go = os.pipe()
        environment = {"LD_PRELOAD": str(self.gate), "GATE": f"{call} {tells} {waits}", "LC_ALL": "C.UTF-8"}
        command, how = self.command(*arguments, env=environment, pass_fds=(tells, waits))
        with tempfile.TemporaryFile() as given:
            given.write(data)
            given.seek(0)
            with subprocess.Popen(command, stdin=given, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, **how) as child:
                os.close(tells)
                os.close(waits)
                said, calls = "", 0
                with os.fdopen(told, "r", encoding="ascii") as lines:
                    for line in lines:
                        if line.strip().isdigit():
                            calls = int(line)
                        else:
                            said = at_the_stop(line.strip())
                            os.write(go, b"g")
                os.close(go)
                return child.wait(DEADLINE), calls, said

    def as_other(self, action):
        """Does something as the other user. Returns: whether the system let it."""
        os.setegid(OTHER)
        os.seteuid(OTHER)
        try:
            action()
            return True
        except OSError:
            return False
        finally:
            os.seteuid(0)
            os.setegid(0)


def prepare_case(world):
    """Makes file.case of rows.csv."""
    world.write(world.folder / "rows.csv", HEADER + ROWS, world.runner)
    made = world.run("pack", "--header-lines", "1", "rows.csv", "file.case")
    if made.returncode != 0:
        raise RuntimeError(made.stderr.decode())
    os.chmod(world.folder / "file.case", 0o600)
