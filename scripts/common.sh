# What the scripts share; to be sourced.
# shellcheck shell=bash disable=SC2034

project=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# Debian's own Python, which sees Debian's packages; another one may come first in PATH.
python=/usr/bin/python3
