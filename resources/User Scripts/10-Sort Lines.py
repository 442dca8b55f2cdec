#!/usr/bin/env python3
# %%%{PBXName=Sort Lines}%%%
# %%%{PBXInput=Selection}%%%
# %%%{PBXOutput=ReplaceSelection}%%%
# %%%{PBXKeyEquivalent=^$s}%%%
#
# Sorts the selected lines alphabetically, ignoring case.
# The selection arrives on standard input; what this script prints replaces it.
import sys

text = sys.stdin.read()
ending = "\n" if text.endswith("\n") else ""
lines = text[: len(text) - len(ending)].split("\n") if text else []
sys.stdout.write("\n".join(sorted(lines, key=str.casefold)) + ending)
