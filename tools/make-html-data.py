#!/usr/bin/env python3
"""Writes the HTML data files of the editor from openly licensed npm packages.

  resources/data/specialCharacters.plist    the HTML 4 character entities,
                                            grouped for the Special Characters
                                            menu and for typing
  resources/data/specialTagFormatting.plist what typing ">" does after a tag

The package versions are pinned, so a second run writes the same bytes.
Needs npm (for `npm pack`) and Python 3.

Usage: tools/make-html-data.py [--packages DIR]
  --packages DIR  read the unpacked packages from DIR/<name>/package instead
                  of fetching them
"""

import argparse
import json
import os
import plistlib
import re
import subprocess
import sys
import tarfile
import tempfile
import unicodedata

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
DATA = os.path.join(ROOT, "resources", "data")

PACKAGES = {
    "character-entities-html4": "2.1.0",
    "html-void-elements": "3.0.0",
}

# Elements whose typed ">" opens an indented line with the closing tag on the
# line below: the containers one writes children into.
BLOCK_ELEMENTS = [
    "article", "aside", "blockquote", "body", "div", "dl", "fieldset", "footer",
    "form", "head", "header", "html", "main", "nav", "ol", "section", "select",
    "table", "tbody", "tfoot", "thead", "tr", "ul",
]

# Markup that never has a closing tag of its own.
NO_CLOSING_TAG = ["!doctype", "!--", "?php", "?=", "?xml"]

GROUP_ORDER = ["Accents", "Punctuation", "Currency", "Math", "Greek", "Arrows", "Symbols"]


def fetch(name, version, into):
    """The unpacked package directory of name@version."""
    subprocess.run(["npm", "pack", "--silent", f"{name}@{version}"], cwd=into, check=True,
                   stdout=subprocess.DEVNULL)
    archive = os.path.join(into, f"{name}-{version}.tgz")
    target = os.path.join(into, name)
    with tarfile.open(archive) as tar:
        tar.extractall(target, filter="data") if sys.version_info >= (3, 12) else tar.extractall(target)
    return os.path.join(target, "package")


def check_version(package_dir, name, version):
    with open(os.path.join(package_dir, "package.json"), encoding="utf-8") as f:
        meta = json.load(f)
    if meta.get("version") != version:
        sys.exit(f"{name}: found version {meta.get('version')}, expected {version}")
    return meta.get("license", "")


def read_entities(package_dir):
    """name -> character, in the order of the package."""
    with open(os.path.join(package_dir, "index.js"), encoding="utf-8") as f:
        source = f.read()
    pairs = re.findall(r"^\s*([A-Za-z0-9]+): '((?:\\.|[^'\\])*)',?$", source, re.M)
    if len(pairs) < 250:
        sys.exit("character-entities-html4: could not read the entity table")
    return [(name, value.encode("utf-8").decode("unicode_escape").encode("latin-1").decode("utf-8")
             if "\\" in value else value) for name, value in pairs]


def read_void_elements(package_dir):
    with open(os.path.join(package_dir, "index.js"), encoding="utf-8") as f:
        source = f.read()
    names = re.findall(r"^\s*'([a-z0-9]+)',?$", source, re.M)
    if not names:
        sys.exit("html-void-elements: could not read the element list")
    return names


def group_of(character):
    name = unicodedata.name(character, "")
    category = unicodedata.category(character)
    if name.startswith("GREEK"):
        return "Greek"
    if "ARROW" in name:
        return "Arrows"
    if category.startswith("L") and "LATIN" in name:
        return "Accents"
    if category == "Sc" or name == "CURRENCY SIGN":
        return "Currency"
    if category == "Sm" or name in ("PRIME", "DOUBLE PRIME", "FRACTION SLASH", "PER MILLE SIGN") \
            or name.startswith("VULGAR FRACTION") or name.startswith("SUPERSCRIPT"):
        return "Math"
    if category.startswith("P") or category in ("Zs", "Cf"):
        return "Punctuation"
    return "Symbols"


def special_characters(entities):
    groups = {group: [] for group in GROUP_ORDER}
    for name, character in entities:
        groups[group_of(character)].append({
            "appearance": character,
            "value": f"&{name};",
            "name": unicodedata.name(character, f"U+{ord(character):04X}").title(),
        })
    for entries in groups.values():
        entries.sort(key=lambda entry: (ord(entry["appearance"][0]), entry["value"]))
    return groups


def tag_formatting(void_elements):
    table = {}
    for name in BLOCK_ELEMENTS:
        table[name] = 3
    for name in void_elements:
        table[name] = 1
    for name in NO_CLOSING_TAG:
        table[name] = -1
    return dict(sorted(table.items()))


def write(path, value):
    data = plistlib.dumps(value, fmt=plistlib.FMT_XML, sort_keys=True)
    with open(path + ".tmp", "wb") as f:
        f.write(data)
    os.replace(path + ".tmp", path)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--packages")
    args = parser.parse_args()
    with tempfile.TemporaryDirectory() as temp:
        dirs, licences = {}, {}
        for name, version in PACKAGES.items():
            if args.packages:
                dirs[name] = os.path.join(args.packages, name, "package")
            else:
                dirs[name] = fetch(name, version, temp)
            licences[name] = check_version(dirs[name], name, version)
        os.makedirs(DATA, exist_ok=True)
        write(os.path.join(DATA, "specialCharacters.plist"),
              special_characters(read_entities(dirs["character-entities-html4"])))
        write(os.path.join(DATA, "specialTagFormatting.plist"),
              tag_formatting(read_void_elements(dirs["html-void-elements"])))
    for name, version in PACKAGES.items():
        print(f"{name} {version} ({licences[name]})")


if __name__ == "__main__":
    main()
