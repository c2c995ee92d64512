"""Running `krf` from the interoperability scripts and collecting what does
not match, so that a script reports every problem at once.

    from krf_cli import Krf
    k = Krf(path_to_krf)
    table = k.rows("data", file, "--group", "1")   # CSV rows; a failure is a problem
    text = k.out("info", "--json", file)           # the output; None on a failure
    k.same("what", got, want)
    k.finish()                                      # prints the problems and exits 1 if any,
                                                    # else prints its argument ("interop ok")
"""
import csv
import io
import subprocess
import sys


class Krf:
    def __init__(self, program):
        self.program = program
        self.problems = []

    def run(self, *args):
        return subprocess.run([self.program, *args], capture_output=True, text=True)

    def out(self, *args):
        r = self.run(*args)
        if r.returncode != 0:
            self.problems.append(f"krf {' '.join(args)} failed: {r.stderr.strip()}")
            return None
        return r.stdout

    def rows(self, *args):
        text = self.out(*args)
        return [] if text is None else list(csv.reader(io.StringIO(text)))

    def same(self, what, got, want):
        if got != want:
            self.problems.append(f"{what}: got {got!r}, want {want!r}")

    def finish(self, ok="interop ok"):
        if self.problems:
            print("\n".join(self.problems))
            sys.exit(1)
        print(ok)
