#!/usr/bin/env python3
"""Opens the pages that `qorstat` writes in a headless Chromium: runs the tests of this folder, test_*.py.

Where the process has a network of its own without any way out, its loop-back device is switched on, by which the driver
talks to the browser.
"""

import argparse
import fcntl
import pathlib
import shutil
import socket
import struct
import sys
import unittest

from page_case import Setting

SIOCSIFFLAGS = 0x8914
IFF_UP_AND_RUNNING = 0x41


def switch_on_loop_back():
    with socket.socket() as any_socket:
        fcntl.ioctl(any_socket, SIOCSIFFLAGS, struct.pack("16sH14x", b"lo", IFF_UP_AND_RUNNING))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--programs", type=pathlib.Path, required=True, help="the folder with qorstat")
    parser.add_argument("--folder", type=pathlib.Path, required=True, help="for what the tests make; replaced")
    parser.add_argument("--own-network", action="store_true", help="the process has a network of its own")
    parser.add_argument("--renew", action="store_true", help="keep the pictures anew")
    parser.add_argument("--only", metavar="PATTERN", action="append", help="tests whose name has this part")
    arguments = parser.parse_args()
    if arguments.own_network:
        switch_on_loop_back()
    Setting.programs = arguments.programs.resolve()
    Setting.folder = arguments.folder.resolve()
    Setting.renews = arguments.renew
    Setting.owns_network = arguments.own_network
    shutil.rmtree(Setting.folder, ignore_errors=True)

    loader = unittest.TestLoader()
    loader.testNamePatterns = arguments.only and [f"*{pattern}*" for pattern in arguments.only]
    tests = loader.discover(str(pathlib.Path(__file__).parent))
    if tests.countTestCases() == 0:
        parser.error("no test has such a name")
    try:
        result = unittest.TextTestRunner(verbosity=2).run(tests)
    finally:
        if Setting.browser is not None:
            Setting.browser.close()
    sys.exit(0 if result.wasSuccessful() else 1)


if __name__ == "__main__":
    main()
