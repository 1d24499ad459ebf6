#!/usr/bin/env python3
"""Completes words in real shells.

    completion_test.py QORSTAT (bash | zsh | fish)

bash and zsh run on a terminal of their own, where the keys of each row are typed, the tab key among them; a function that
writes its words to a file stands for the program. fish is asked by its own command. Without the shell one line says so,
and the exit code is 77.
"""

import os
import pathlib
import pty
import re
import shutil
import subprocess
import sys
import tempfile
import threading
import time

# What is typed before the tab key, and the words that are there behind it.
ROWS = [
    ("qorstat dec", ["decode"]),
    ("qorstat --ver", ["--version"]),
    ("qorstat help me", ["help", "metrics"]),
    ("qorstat decode --mer", ["decode", "--merge-by"]),
    ("qorstat decode --not-ev", ["decode", "--not-event"]),
    ("qorstat decode --strict --no-p", ["decode", "--strict", "--no-pager"]),
    ("qorstat decode --format ch", ["decode", "--format", "chrome-trace"]),
    ("qorstat decode --format=ch", ["decode", "--format=chrome-trace"]),
    ("qorstat decode -f js", ["decode", "-f", "jsonl"]),
    ("qorstat decode --first 3 --format j", ["decode", "--first", "3", "--format", "jsonl"]),
    ("qorstat decode --category vas", ["decode", "--category", "vastrel"]),
    ("qorstat decode --category=wake,vas", ["decode", "--category=wake,vastrel"]),
    ("qorstat decode --category wake --category sensor,vas", ["decode", "--category", "wake", "--category", "sensor,vastrel"]),
    ("qorstat decode --component gyr", ["decode", "--component", "gyro"]),
    ("qorstat decode --event sensor-inf", ["decode", "--event", "sensor-info"]),
    ("qorstat decode --type sensori", ["decode", "--type", "sensorinfo"]),
    ("qorstat decode dum", ["decode", "dump.bin"]),
    ("qorstat decode -- dum", ["decode", "--", "dump.bin"]),
    ("qorstat decode dump.bin dum", ["decode", "dump.bin", "dump.bin"]),
    ("qorstat names wak", ["names", "wake"]),
    ("qorstat capture --kind fau", ["capture", "--kind", "fault"]),
    ("qorstat capture ph", ["capture", "phone.toml"]),  # and not phone.txt
    ("qorstat capture phone.toml -o fol", ["capture", "phone.toml", "-o", "folder"]),  # and not fold.bin
    ("qorstat run phone.toml --on-store-error st", ["run", "phone.toml", "--on-store-error", "stop"]),
    ("qorstat run phone.toml --log-level err", ["run", "phone.toml", "--log-level", "error"]),
    ("qorstat run phone.toml --store 'fold.", ["run", "phone.toml", "--store", "fold.bin"]),
    ("qorstat completion zs", ["completion", "zsh"]),
    # Nothing to complete: a time, a number, a name.
    ("qorstat decode --since dum", ["decode", "--since", "dum"]),
    ("qorstat validate --seed dum", ["validate", "--seed", "dum"]),
    ("qorstat notify dum", ["notify", "dum"]),
    ("qorstat query --device dum", ["query", "--device", "dum"]),
    ("qorstat export --time-sync dum", ["export", "--time-sync", "dum"]),
    ("qorstat load --to dum", ["load", "--to", "dum"]),
]
# The shell closes the quote: only a terminal shows that.
ONLY_TYPED = "'"
FILES = ["dump.bin", "phone.toml", "phone.txt", "fold.bin"]

SETUP = {
    "bash": ["bash", "--norc", "--noprofile", "-i"],
    "zsh": ["zsh", "-f", "-i"],
}
LOAD = {
    "bash": "source {folder}/qorstat.bash",
    "zsh": "fpath=({folder}/site $fpath); autoload -Uz compinit; compinit -u -D",
}


def wait_for(path):
    """The content of a file, once it is whole."""
    for _ in range(1200):
        if path.exists():
            content = path.read_text()
            path.unlink()
            return content
        time.sleep(0.05)
    sys.exit(f"{path.name}: the shell did not write it within a minute")


class Terminal:
    """A shell on a terminal of its own."""

    def __init__(self, shell, folder):
        self.result = folder / "result"
        process, self.terminal = pty.fork()
        if process == 0:
            os.chdir(folder / "work")
            os.environ.update({"TERM": "dumb", "PS1": "$ ", "HOME": str(folder), "HISTFILE": "/dev/null"})
            os.execvp(SETUP[shell][0], SETUP[shell])
        threading.Thread(target=self.read_screen, daemon=True).start()
        # The new file appears with its content, and blanks in words stay what they are.
        function = f"qorstat() {{ printf '%s\\n' \"$@\" > {self.result}.new; mv {self.result}.new {self.result}; }}"
        self.run(f"{LOAD[shell].format(folder=folder)}; {function}; qorstat ready")

    def read_screen(self):
        """A shell whose screen nobody reads would wait."""
        try:
            while os.read(self.terminal, 4096):
                pass
        except OSError:
            pass  # the shell has ended

    def run(self, keys):
        """The words of the command that these keys run."""
        os.write(self.terminal, (keys + "\n").encode())
        return wait_for(self.result).splitlines()

    def complete(self, row):
        return self.run(row + "\t")


class Fish:
    """Asks fish what it would offer."""

    def __init__(self, folder):
        self.folder = folder

    def offers(self, row):
        command = f"source {self.folder}/qorstat.fish; complete -C {quoted(row)}"
        run = subprocess.run(["fish", "--no-config", "-c", command], cwd=self.folder / "work", capture_output=True, text=True,
                             check=True, env={**os.environ, "HOME": str(self.folder)})
        if run.stderr:
            sys.exit(f"fish: {run.stderr}")
        return [line.split("\t")[0] for line in run.stdout.splitlines()]

    def complete(self, row):
        words = row.split(" ")
        offers = self.offers(row)
        if row.endswith(" ph"):
            offers = offers[:1]  # this shell offers files of other endings behind the right ones
        return words[1:-1] + (offers if offers else words[-1:])


def quoted(text):
    return "'" + text.replace("\\", "\\\\").replace("'", "\\'") + "'"


def bash_offers(folder, row):
    """What the function offers for the words of a row, without a terminal."""
    words = " ".join(quoted(word) for word in row.split(" "))
    command = f"compopt() {{ :; }}; source {folder}/qorstat.bash; COMP_WORDS=({words}); " \
              "COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _qorstat; printf '%s\\n' \"${COMPREPLY[@]}\""
    return subprocess.run(["bash", "-c", command], capture_output=True, text=True, check=True).stdout.split()


def check_every_option(program, offers_of):
    """Every verb and every option of the help pages is offered, and no other of the program itself."""
    faults = []
    page = subprocess.run([program, "--help"], capture_output=True, text=True, check=True).stdout
    verbs = re.findall(r"^  ([a-z]+) ", page.split("Verbs:")[1].split("\n\n")[0], re.MULTILINE)
    if len(verbs) < 9 or sorted(offers_of("qorstat ")) != sorted(verbs):
        faults.append(f"verbs: {offers_of('qorstat ')} instead of {verbs}")
    for verb in verbs:
        page = subprocess.run([program, verb, "--help"], capture_output=True, text=True, check=True).stdout
        listed = set(re.findall(r"^  (?:-\w,)?(--?[\w-]+)", page.split("Examples:")[0], re.MULTILINE))
        listed |= set(re.findall(r"(--not-[a-z]+)", page)) | {"--help"}
        offered = {option for option in offers_of(f"qorstat {verb} -") + offers_of(f"qorstat {verb} --")
                   if option.startswith("--") or option in listed}
        if offered != listed:
            faults.append(f"{verb}: offers {sorted(offered)}, the page has {sorted(listed)}")
    return faults


def main():
    program, shell = sys.argv[1:]
    if shutil.which(shell) is None:
        print(f"{shell} is not installed: its completion is not tested")
        sys.exit(77)
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        for made in ("work", "work/folder", "site"):
            (folder / made).mkdir()
        for file in FILES:
            (folder / "work" / file).write_text("")
        script = folder / ("site/_qorstat" if shell == "zsh" else f"qorstat.{shell}")
        subprocess.run([program, "completion", shell, "-o", script], check=True)
        shell_object = Fish(folder) if shell == "fish" else Terminal(shell, folder)
        faults = []
        for row, expected in ROWS:
            if shell == "fish" and ONLY_TYPED in row:
                continue
            completed = [word.rstrip(" /") for word in shell_object.complete(row)]
            if completed != expected:
                faults.append(f"{row}: {completed} instead of {expected}")
        if shell == "bash":
            faults += check_every_option(program, lambda row: bash_offers(folder, row))
        if shell == "fish":
            faults += check_every_option(program, shell_object.offers)
    print("\n".join(faults) or f"{shell}: {len(ROWS)} rows")
    sys.exit(bool(faults))


if __name__ == "__main__":
    main()
