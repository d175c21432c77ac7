"""Runs what a document shows: its blocks of shell and Python code, one after the other.

Each line of a block of text must be among what the code before it has printed, in the same order.
"""

import argparse
import os
import pathlib
import re
import subprocess
import sys

BLOCK = re.compile(r"^```(sh|python|text)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
COMMANDS = {"sh": ["bash", "-euo", "pipefail", "-c"], "python": [sys.executable, "-c"]}


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("document", type=pathlib.Path, help="Markdown file")
    parser.add_argument("--programs", required=True, help="folder with vexolan and its companions")
    parser.add_argument("--folder", required=True, help="where to run the code")
    options = parser.parse_args()

    path = [os.path.abspath(options.programs), os.path.dirname(sys.executable), os.environ["PATH"]]
    environment = {**os.environ, "PATH": ":".join(path), "MPLBACKEND": "Agg"}
    printed = ""
    for kind, text in BLOCK.findall(options.document.read_text()):
        if kind == "text":
            lines = iter(printed.splitlines())
            for line in text.splitlines():
                if line not in lines:
                    sys.exit(f"{options.document}: not printed, or not in this order: {line}")
            continue
        done = subprocess.run([*COMMANDS[kind], text], cwd=options.folder, env=environment,
                              stdout=subprocess.PIPE, text=True, check=False)
        if done.returncode != 0:
            sys.exit(f"{options.document}: status {done.returncode} of\n{text}")
        printed += done.stdout


if __name__ == "__main__":
    main()
