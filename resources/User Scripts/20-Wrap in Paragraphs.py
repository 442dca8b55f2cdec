#!/usr/bin/env python3
# %%%{PBXName=Wrap in Paragraphs}%%%
# %%%{PBXInput=Selection}%%%
# %%%{PBXOutput=ReplaceSelection}%%%
#
# Wraps each blank-line separated block of the selection in <p> and </p>.
import sys

text = sys.stdin.read()
blocks = [b.strip() for b in text.split("\n\n") if b.strip()]
sys.stdout.write("\n\n".join("<p>" + b + "</p>" for b in blocks) + "\n")
