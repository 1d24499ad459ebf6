"""What the checks of this folder have in common as programs."""

import argparse
import pathlib
import shutil
import sys

from engines import Failure

PATH = {"type": lambda text: pathlib.Path(text).resolve(), "required": True}


def whole_number(text):
    if not text.isdecimal() or int(text) == 0:
        raise argparse.ArgumentTypeError(f"\"{text}\" is no number from 1 on")
    return int(text)


def count(default):
    """Without any there would be nothing to compare."""
    return {"type": whole_number, "default": default}


def run_check(description, check, options):
    """Makes the folder anew, runs `check` and ends the program: with status 1 when there are differences.

    @param check    gets the arguments and returns the number of differences, which it has printed.
    @param options  what argparse is told of each besides --programs and --folder, by name.
    """
    parser = argparse.ArgumentParser(description=description, formatter_class=argparse.RawDescriptionHelpFormatter)
    for name, settings in {"programs": PATH, "folder": PATH, **options}.items():
        parser.add_argument(f"--{name}", **settings)
    arguments = parser.parse_args()
    shutil.rmtree(arguments.folder, ignore_errors=True)
    arguments.folder.mkdir(parents=True)
    try:
        differences = check(arguments)
    except Failure as failure:
        sys.exit(f"{pathlib.Path(sys.argv[0]).name}: {failure}")
    print(f"{differences} differences")
    sys.exit(1 if differences else 0)
