#!/usr/bin/python3
"""Starts vexolan-plot, wherever its modules are."""

import signal

# Ctrl-C and a closed pipe end the program at once and without a word.
signal.signal(signal.SIGINT, signal.SIG_DFL)
signal.signal(signal.SIGPIPE, signal.SIG_DFL)

import pathlib
import sys

sys.dont_write_bytecode = True  # nothing is left beside the modules
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent / "@modules@"))

from vexolan_plot import command_line

if __name__ == "__main__":
    sys.exit(command_line.main("@PROJECT_VERSION@"))
