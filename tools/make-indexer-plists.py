#!/usr/bin/env python3
"""Writes "Contents/indexer.plist" of the shipped language bundles.

The definitions below are the source; the plists in resources/Bundles are
generated from them and committed. Run from anywhere:

    tools/make-indexer-plists.py

An indexer is regular expressions only (Perl-compatible, "^" and "$" at line
breaks). "keys" name the group holding the key and the group holding the text
that completes it: a function's completion is its name with its parameter
list, which completion turns into placeholders. "includes" hand regions of
another language (by its bundle identifier) to that language's indexer, so
the keys of the PHP blocks of a page carry the PHP code bundle's identifier.
"external-files" find included files, "tags" names that other files can
refer to (a Perl package). JSON, XML, Markdown and SQL have no indexer.
"""
import os
import plistlib
import sys

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "resources", "Bundles")
PREFIX = "com.morvelworks.morvel.bundles."


def key(pattern, type_, key_group=1, completion_group=1):
    return {"pattern": pattern, "type": type_, "key": key_group, "completion": completion_group}


def include(language, begin, end):
    return {"id": PREFIX + language, "begin": begin, "end": end}


# A relative reference: not a URL, not protocol-relative.
LOCAL = r"""(?![a-zA-Z][a-zA-Z0-9+.-]*:|//)"""

HTML_FILES = [
    r"""<link\b[^>]*?\bhref\s*=\s*["']""" + LOCAL + r"""([^"'<>?#]+)["']""",
    r"""<script\b[^>]*?\bsrc\s*=\s*["']""" + LOCAL + r"""([^"'<>?#]+)["']""",
]
# Scripts and styles written in the page; a script with src has no body.
PAGE_REGIONS = [
    include("javascript", r"""<script\b(?![^>]*\bsrc\s*=)[^>]*>""", r"""</script\s*>"""),
    include("css", r"""<style\b[^>]*>""", r"""</style\s*>"""),
]

PHP_NAME = r"[A-Za-z_\x{80}-\x{10FFFF}][A-Za-z0-9_\x{80}-\x{10FFFF}]*"
JS_NAME = r"[A-Za-z_$][A-Za-z0-9_$]*"
CSS_NAME = r"-?[_a-zA-Z][_a-zA-Z0-9-]*"
# Ahead of a selector's name, before the next "}" or ";", comes a "{": not a
# value or an @import.
IN_SELECTOR = r"(?=[^{};]*\{)"

INDEXERS = {}

INDEXERS["PHP"] = {
    "includes": [include("php-code", r"""<\?(?!xml)(?:php\b|=)?""", r"""\?>""")] + PAGE_REGIONS,
    "external-files": HTML_FILES,
}

INDEXERS["PHPCode"] = {
    "external-files": [
        r"""\b(?:require|include)(?:_once)?\s*\(?\s*["']([^"'$]+)["']\s*\)?\s*;""",
    ],
    "keys": [
        key(r"^[ \t]*(?:(?:public|protected|private|static|final|abstract)\s+)+function\s+&?\s*((" + PHP_NAME
            + r")\s*\([^)]*\))", "method", 2, 1),
        key(r"\bfunction\s+&?\s*((" + PHP_NAME + r")\s*\([^)]*\))", "function", 2, 1),
        key(r"^[ \t]*(?:(?:abstract|final|readonly)\s+)*class\s+(" + PHP_NAME + ")", "class"),
        key(r"^[ \t]*interface\s+(" + PHP_NAME + ")", "interface"),
        key(r"^[ \t]*trait\s+(" + PHP_NAME + ")", "trait"),
        key(r"""\bdefine\s*\(\s*["'](""" + PHP_NAME + r""")["']""", "constant"),
        key(r"^[ \t]*(?:(?:public|protected|private|final)\s+)*const\s+(" + PHP_NAME + r")\s*=", "constant"),
    ],
}

INDEXERS["HTML"] = {
    "includes": PAGE_REGIONS,
    "external-files": HTML_FILES,
}

INDEXERS["CSS"] = {
    "external-files": [r"""@import\s+(?:url\(\s*)?["']?""" + LOCAL + r"""([^"')\s;]+)"""],
    "keys": [
        key(r"\.(" + CSS_NAME + ")" + IN_SELECTOR, "class"),
        key(r"#(" + CSS_NAME + ")" + IN_SELECTOR, "id"),
    ],
}

INDEXERS["JavaScript"] = {
    "keys": [
        key(r"\bfunction\b\s*\*?\s*((" + JS_NAME + r")\s*\([^)]*\))", "function", 2, 1),
        key(r"\bclass\s+(" + JS_NAME + r")", "class"),
        key(r"\b(?:const|let|var)\s+(" + JS_NAME + r")\s*=\s*(?:async\s+)?(?:function\b|\([^)]*\)\s*=>|"
            + JS_NAME + r"\s*=>)", "function"),
        key(r"^[ \t]+(?:static\s+|async\s+|get\s+|set\s+)*(?!(?:if|for|while|switch|catch|function|return|with)\b)(("
            + JS_NAME + r")\s*\([^)]*\))\s*\{", "method", 2, 1),
        key(r"\b(" + JS_NAME + r")\s*[:=]\s*(?:async\s+)?function\b", "function"),
    ],
}

INDEXERS["Perl"] = {
    "pathResolution": "MVPerlPathResolver",
    "external-files": [r"^\s*(?:use|require)\s+([A-Za-z_][A-Za-z0-9_:]*(?:\.p[lm])?)\b"],
    "tags": [r"^\s*package\s+([A-Za-z_][A-Za-z0-9_:]*)"],
    "keys": [key(r"^\s*sub\s+([A-Za-z_][A-Za-z0-9_:]*)", "function")],
}

INDEXERS["Python"] = {
    "keys": [
        key(r"^[ \t]*(?:async\s+)?def\s+(([A-Za-z_][A-Za-z0-9_]*)\s*\([^)]*\))", "function", 2, 1),
        key(r"^[ \t]*class\s+([A-Za-z_][A-Za-z0-9_]*)", "class"),
    ],
}

INDEXERS["Ruby"] = {
    "pathResolution": "MVRubyPathResolver",
    "external-files": [r"""^\s*require(?:_relative)?\s*\(?\s*["']([^"']+)["']"""],
    "keys": [
        key(r"^[ \t]*def\s+(?:self\.)?(([A-Za-z_][A-Za-z0-9_]*[?!=]?)(?:\s*\([^)]*\))?)", "method", 2, 1),
        key(r"^[ \t]*class\s+([A-Z][A-Za-z0-9_]*(?:::[A-Z][A-Za-z0-9_]*)*)", "class"),
        key(r"^[ \t]*module\s+([A-Z][A-Za-z0-9_]*(?:::[A-Z][A-Za-z0-9_]*)*)", "module"),
    ],
}

INDEXERS["Shell"] = {
    "external-files": [r"""^\s*(?:\.|source)\s+["']?([^\s"';|&$]+)"""],
    "keys": [
        key(r"^[ \t]*function\s+([A-Za-z_][A-Za-z0-9_-]*)", "function"),
        key(r"^[ \t]*([A-Za-z_][A-Za-z0-9_-]*)\s*\(\s*\)", "function"),
    ],
}


def main():
    for name, plist in INDEXERS.items():
        path = os.path.join(ROOT, name + ".mvbundle", "Contents", "indexer.plist")
        if not os.path.isdir(os.path.dirname(path)):
            sys.exit("no bundle directory for " + name)
        with open(path, "wb") as out:
            plistlib.dump(dict(plist, **{"format-version": "1.0"}), out, fmt=plistlib.FMT_XML, sort_keys=True)
    print("wrote", len(INDEXERS), "indexer files")


if __name__ == "__main__":
    main()
