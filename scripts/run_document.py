"""Runs what a document shows: its blocks of shell and Python code, one after the other.

Each line of a block of text must be among what the code before it has printed, in the same order.
"""

import argparse
import contextlib
import io
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
    parser.add_argument("--session", action="store_true",
                        help="run all Python code in one session, as a notebook does")
    options = parser.parse_args()

    text_of_document = options.document.read_text()
    path = [os.path.abspath(options.programs), os.path.dirname(sys.executable), os.environ["PATH"]]
    os.environ.update(PATH=":".join(path), MPLBACKEND="Agg")
    os.chdir(options.folder)
    run_python = session() if options.session else run_process
    printed = ""
    for kind, text in BLOCK.findall(text_of_document):
        if kind == "text":
            lines = iter(printed.splitlines())
            for line in text.splitlines():
                if line not in lines:
                    sys.exit(f"{options.document}: not printed, or not in this order: {line}")
            continue
        run = run_python if kind == "python" else run_process
        try:
            printed += run(kind, text)
        except subprocess.CalledProcessError as failed:
            sys.exit(f"{options.document}: status {failed.returncode} of\n{text}")


def run_process(kind, text):
    return subprocess.run([*COMMANDS[kind], text], stdout=subprocess.PIPE, text=True,
                          check=True).stdout


def session():
    names = {"__name__": "__main__"}

    def run(_, text):
        with contextlib.redirect_stdout(io.StringIO()) as printed:
            exec(text, names)
        return printed.getvalue()

    return run


if __name__ == "__main__":
    main()
