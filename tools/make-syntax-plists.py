#!/usr/bin/env python3
"""Writes "Contents/syntax.plist" of every shipped language bundle.

The definitions below are the source; the plists in resources/Bundles are
generated from them and committed. Run from anywhere:

    tools/make-syntax-plists.py

Keyword lists follow each language's public reference. Style identifiers are
those every shipped theme colours (MVResourceChecker::standardStyleIdentifiers).
"""
import os
import plistlib
import sys

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "resources", "Bundles")

LETTERS = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
DIGITS = "0123456789"
WORD = LETTERS + DIGITS + "_"

# A pattern keyword colours a word only when its first match is the whole
# word, so alternatives that share a start go longest first ("0x1f" must not
# stop at "0", "#000000" not at "#000").
NUMBER = {"id": "constant.numeric", "keyword": r"0[xX][0-9a-fA-F_]+|0[bB][01_]+|0[oO][0-7_]+|[0-9][0-9_]*([eE][0-9]+)?"}
BRACES_OPEN = r"\{[^\}]*$"
BRACES_CLOSE = r"^[^\{]*\}"


def w(text):
    return text.split()


def keyword_language(identifier, characters, keywords, *, case_sensitive=True, regex=(), single=None, double=None,
                     comments=(), fold=None, openers=(), closers=()):
    # Words are lower-cased before the lookup in a case-insensitive language.
    for words in keywords.values():
        assert case_sensitive or all(word == word.lower() for word in words), identifier
    plist = {
        "format-type": "keyword",
        "format-version": "1.0",
        "format-id": identifier,
        "keyword-characters": characters,
        "keywords": {style: sorted(set(words)) for style, words in keywords.items()},
        "comments": [dict(c) for c in comments],
        "quotes": {},
    }
    if case_sensitive:
        plist["case-sensitive"] = True
    if regex:
        plist["regex-keywords"] = [dict(r) for r in regex]
    if single:
        plist["quotes"]["single"] = single
    if double:
        plist["quotes"]["double"] = double
    if fold:
        plist["folding"] = {"open": fold[0], "close": fold[1]}
    if openers:
        plist["openers"] = list(openers)
        plist["closers"] = list(closers)
    return plist


def line(begin, style):
    return {"begin": begin, "id": style}


def block(begin, end, style):
    return {"begin": begin, "end": end, "id": style}


TAG_STYLE = {"tags": "markup.tag", "attributes": "markup.attribute", "quotes": "markup.string",
             "comments": "markup.comment"}

HTML_BLOCKS = ("html|head|body|div|section|article|nav|header|footer|aside|main|ul|ol|dl|table|thead|tbody|tfoot|tr|"
               "form|fieldset|select|script|style|figure|details|template|blockquote|pre|svg")

LANGUAGES = {}

LANGUAGES["HTML"] = {
    "format-type": "tag",
    "format-version": "1.0",
    "format-id": "text.html",
    "embedded": {
        "script": "text.js",
        "style": "text.css",
        # PHP runs before the page is read: its blocks may stand anywhere,
        # inside tags, attribute values, comments, scripts and styles.
        "?php": {"id": "text.php.code", "end": "?>", "inline": True},
        "?=": {"id": "text.php.code", "end": "?>", "inline": True},
    },
    "style": TAG_STYLE,
    # A block element opened on a line and not closed on it; its closing tag.
    "folding": {"open": r"(?i)<(" + HTML_BLOCKS + r")\b[^>]*>(?!.*</\1\s*>)",
                "close": r"(?i)</(" + HTML_BLOCKS + r")\s*>"},
}

# A PHP file is a page: markup around <?php ... ?> blocks (a file of code
# alone is one block left open to its end). The markup is coloured as HTML,
# the blocks by the PHP code language, and both kinds of blocks fold.
LANGUAGES["PHP"] = dict(LANGUAGES["HTML"], **{
    "format-id": "text.php",
    "folding": {"open": LANGUAGES["HTML"]["folding"]["open"] + "|" + BRACES_OPEN,
                "close": LANGUAGES["HTML"]["folding"]["close"] + "|" + BRACES_CLOSE},
})

LANGUAGES["XML"] = {
    "format-type": "tag",
    "format-version": "1.0",
    "format-id": "text.xml",
    "style": TAG_STYLE,
    # An element opened on a line and not closed or self-closed on it.
    "folding": {"open": r"<([A-Za-z_][\w:.-]*)\b(?:[^>\"]|\"[^\"]*\")*(?<!/)>(?!.*</\1\s*>)",
                "close": r"^\s*</[A-Za-z_][\w:.-]*\s*>"},
}

LANGUAGES["JavaScript"] = keyword_language(
    "text.js", WORD + "$",
    {
        "keyword.control": w("if else for while do switch case default break continue return throw try catch finally"),
        "keyword.declaration": w("var let const function class extends import export from as async await yield "
                                 "static get set new delete typeof instanceof in of void with debugger"),
        "constant.language": w("true false null undefined NaN Infinity"),
        "variable.language": w("this super arguments globalThis"),
        "type.builtin": w("Array Object String Number Boolean Function Symbol BigInt Map Set WeakMap WeakSet Promise "
                          "Date RegExp Error TypeError RangeError SyntaxError JSON Math Reflect Proxy Intl ArrayBuffer "
                          "Uint8Array Int32Array Float64Array DataView"),
        "function.builtin": w("console window document parseInt parseFloat isNaN isFinite setTimeout setInterval "
                              "clearTimeout clearInterval fetch require module exports encodeURIComponent "
                              "decodeURIComponent alert"),
    },
    regex=[NUMBER], single="string.single", double="string.double",
    comments=[line("//", "comment.line"), block("/*", "*/", "comment.block")],
    fold=(BRACES_OPEN, BRACES_CLOSE), openers=["<script"], closers=["</script"])

CSS_PROPERTIES = w("""
align-content align-items align-self all animation animation-delay animation-direction animation-duration
animation-fill-mode animation-iteration-count animation-name animation-play-state animation-timing-function
appearance aspect-ratio backdrop-filter backface-visibility background background-attachment background-blend-mode
background-clip background-color background-image background-origin background-position background-repeat
background-size border border-bottom border-bottom-color border-bottom-left-radius border-bottom-right-radius
border-bottom-style border-bottom-width border-collapse border-color border-image border-left border-left-color
border-left-style border-left-width border-radius border-right border-right-color border-right-style
border-right-width border-spacing border-style border-top border-top-color border-top-left-radius
border-top-right-radius border-top-style border-top-width border-width bottom box-shadow box-sizing caption-side
caret-color clear clip clip-path color column-count column-gap column-rule column-width columns content
counter-increment counter-reset cursor direction display empty-cells filter flex flex-basis flex-direction flex-flow
flex-grow flex-shrink flex-wrap float font font-family font-feature-settings font-size font-stretch font-style
font-variant font-weight gap grid grid-area grid-auto-columns grid-auto-flow grid-auto-rows grid-column
grid-column-end grid-column-start grid-row grid-row-end grid-row-start grid-template grid-template-areas
grid-template-columns grid-template-rows height hyphens inset isolation justify-content justify-items justify-self
left letter-spacing line-height list-style list-style-image list-style-position list-style-type margin margin-bottom
margin-left margin-right margin-top max-height max-width min-height min-width mix-blend-mode object-fit
object-position opacity order outline outline-color outline-offset outline-style outline-width overflow overflow-wrap
overflow-x overflow-y padding padding-bottom padding-left padding-right padding-top page-break-after
page-break-before place-content place-items pointer-events position quotes resize right row-gap scroll-behavior
tab-size table-layout text-align text-decoration text-indent text-overflow text-shadow text-transform top transform
transform-origin transition transition-delay transition-duration transition-property transition-timing-function
unicode-bidi user-select vertical-align visibility white-space width will-change word-break word-spacing word-wrap
writing-mode z-index
""")

CSS_VALUES = w("""
absolute auto baseline block bold bolder border-box both bottom break-word capitalize center collapse column
column-reverse contain content-box cover dashed default disc dotted double ease ease-in ease-in-out ease-out fixed
flex flex-end flex-start grid groove hidden important infinite inherit initial inline inline-block inline-flex
inline-grid italic justify left lighter line-through linear lowercase middle no-repeat none normal nowrap oblique
outset pointer pre pre-wrap relative repeat repeat-x repeat-y ridge right row row-reverse scroll solid space-around
space-between space-evenly square static sticky stretch sub super table table-cell table-row text-bottom text-top
top transparent underline unset uppercase visible wrap
black white red green blue yellow orange purple gray grey silver maroon navy teal olive lime aqua fuchsia
currentcolor
""")

CSS_FUNCTIONS = w("rgb rgba hsl hsla url calc var min max clamp attr linear-gradient radial-gradient "
                  "translate translatex translatey rotate scale skew matrix cubic-bezier repeat minmax format local")

CSS_SELECTORS = w("""
a abbr address article aside audio b blockquote body button canvas caption code dd details div dl dt em fieldset
figcaption figure footer form h1 h2 h3 h4 h5 h6 head header hr html i iframe img input label legend li main nav ol
optgroup option p pre section select small span strong sub summary sup table tbody td textarea tfoot th thead tr
u ul video hover active focus visited first-child last-child nth-child not before after root
""")

LANGUAGES["CSS"] = keyword_language(
    "text.css", LETTERS + DIGITS + "_-@#",
    {
        "css.property": CSS_PROPERTIES,
        "css.value": CSS_VALUES,
        "function.builtin": CSS_FUNCTIONS,
        "css.selector": CSS_SELECTORS,
        "css.at-rule": w("@media @import @font-face @keyframes @supports @charset @page @namespace @layer @container"),
    },
    case_sensitive=False,
    regex=[{"id": "constant", "keyword": r"#[0-9a-f]{8}|#[0-9a-f]{6}|#[0-9a-f]{4}|#[0-9a-f]{3}"},
           {"id": "css.unit", "keyword": r"-?[0-9]*(px|em|rem|vh|vw|vmin|vmax|ch|ex|pt|pc|cm|mm|in|deg|rad|turn|ms|s|fr|dpi|dppx)"},
           {"id": "constant.numeric", "keyword": r"-?[0-9]+"}],
    single="string.single", double="string.double",
    comments=[block("/*", "*/", "comment.block")],
    fold=(BRACES_OPEN, BRACES_CLOSE), openers=["<style"], closers=["</style"])

PHP_FUNCTIONS = w("""
echo print isset unset empty array list die exit include include_once require require_once eval
count strlen strpos str_replace substr explode implode trim sprintf printf json_encode json_decode
array_map array_filter array_keys array_values array_merge in_array is_array is_string is_int is_null
htmlspecialchars preg_match preg_replace file_get_contents file_put_contents var_dump print_r define
""")

LANGUAGES["PHPCode"] = keyword_language(
    "text.php.code", WORD + "$",
    {
        "keyword.control": w("if else elseif endif for foreach endforeach while endwhile do switch endswitch case default "
                             "break continue return throw try catch finally goto declare enddeclare yield match"),
        "keyword.declaration": w("function fn class interface trait enum extends implements namespace use public private "
                                 "protected static abstract final const var global new clone instanceof insteadof "
                                 "readonly as"),
        "keyword.operator": w("and or xor"),
        "constant.language": w("true false null __line__ __file__ __dir__ __function__ __class__ __trait__ __method__ "
                               "__namespace__ php_eol php_version e_all e_error e_warning e_notice"),
        "variable.language": w("$this self parent static $_get $_post $_server $_session $_cookie $_files $_request "
                               "$_env $globals"),
        "function.builtin": PHP_FUNCTIONS,
        "type.builtin": w("int float bool string iterable callable object mixed void never"),
    },
    case_sensitive=False,
    regex=[{"id": "variable", "keyword": r"\$[a-z_][a-z0-9_]*"}, NUMBER],
    single="string.single", double="string.double",
    comments=[line("//", "comment.line"), line("#", "comment.line"), block("/*", "*/", "comment.block")],
    fold=(BRACES_OPEN, BRACES_CLOSE), openers=["<?php", "<?="], closers=["?>", "?>"])

LANGUAGES["Perl"] = keyword_language(
    "text.perl", WORD + "$@%",
    {
        "keyword.control": w("if elsif else unless while until for foreach last next redo return goto do eval die "
                             "warn exit and or not xor"),
        "keyword.declaration": w("my our local sub package use require no BEGIN END bless"),
        "function.builtin": w("print printf say open close binmode defined undef wantarray ref scalar shift push pop "
                              "unshift splice keys values each exists delete map grep sort reverse join split length "
                              "substr index rindex lc uc lcfirst ucfirst chomp chop sprintf chdir mkdir rmdir unlink "
                              "opendir readdir closedir time localtime gmtime sleep system exec qw qq q m s tr y"),
        "variable.special": w("$_ @_ $0 $1 $2 $3 @ARGV %ENV $ARGV STDIN STDOUT STDERR __FILE__ __LINE__ __PACKAGE__ "
                              "__DATA__ __END__"),
    },
    regex=[{"id": "variable", "keyword": r"[\$@%][A-Za-z_][A-Za-z0-9_]*"}, NUMBER],
    single="string.single", double="string.double",
    comments=[line("#", "comment.line"), block("=pod", "=cut", "comment.doc"), block("=head1", "=cut", "comment.doc"),
              block("=begin", "=cut", "comment.doc")],
    fold=(BRACES_OPEN, BRACES_CLOSE))

LANGUAGES["Python"] = keyword_language(
    "text.py", WORD,
    {
        "keyword.control": w("if elif else for while break continue return try except finally raise with yield "
                             "pass assert match case await"),
        "keyword.declaration": w("def class lambda import from as global nonlocal del async"),
        "keyword.operator": w("and or not in is"),
        "constant.language": w("True False None NotImplemented Ellipsis __debug__"),
        "variable.language": w("self cls __name__ __main__ __init__ __file__ __doc__"),
        "function.builtin": w("abs all any bin bool bytes callable chr dict dir divmod enumerate filter float format "
                              "frozenset getattr hasattr hash hex id input int isinstance issubclass iter len list map "
                              "max min next object oct open ord pow print property range repr reversed round set "
                              "setattr slice sorted staticmethod classmethod str sum super tuple type vars zip"),
        "type.builtin": w("Exception ValueError TypeError KeyError IndexError AttributeError RuntimeError OSError "
                          "StopIteration ImportError NameError ZeroDivisionError"),
    },
    regex=[NUMBER], single="string.single", double="string.double",
    comments=[line("#", "comment.line")],
    fold=(r"[\(\[\{]\s*(#.*)?$", r"^\s*[\)\]\}]"))

LANGUAGES["Ruby"] = keyword_language(
    "text.ruby", WORD + "@$?!",
    {
        "keyword.control": w("if elsif else unless case when while until for in do then begin rescue ensure raise "
                             "return yield break next redo retry loop and or not"),
        "keyword.declaration": w("def class module end alias undef defined? lambda proc require require_relative "
                                 "include extend prepend attr_accessor attr_reader attr_writer private protected public"),
        "constant.language": w("nil true false __FILE__ __LINE__ __method__"),
        "variable.language": w("self super"),
        "function.builtin": w("puts print p pp gets format sprintf raise block_given? each map select reject "
                              "inject reduce each_with_index"),
    },
    regex=[{"id": "variable", "keyword": r"@@?[A-Za-z_][A-Za-z0-9_]*"},
           {"id": "variable.special", "keyword": r"\$[A-Za-z_][A-Za-z0-9_]*"},
           {"id": "constant", "keyword": r"[A-Z][A-Z0-9_]+"},
           {"id": "type", "keyword": r"[A-Z][A-Za-z0-9_]*"}, NUMBER],
    single="string.single", double="string.double",
    comments=[line("#", "comment.line"), block("=begin", "=end", "comment.block")],
    fold=(r"^\s*(def|class|module|if|unless|while|until|case|begin|for)\b(?!.*\bend\b)|\bdo(\s*\|[^|]*\|)?\s*$|\{\s*(\|[^|]*\|)?\s*$",
          r"^\s*(end\b|\})"))

LANGUAGES["Shell"] = keyword_language(
    "text.shell", WORD + "$",
    {
        "keyword.control": w("if then else elif fi case esac for while until do done in select time return exit "
                             "break continue function"),
        "keyword.declaration": w("local export readonly declare typeset unset shift source alias unalias set"),
        "function.builtin": w("echo printf read cd pwd test eval exec trap wait kill getopts true false command "
                              "builtin type hash umask ulimit"),
    },
    regex=[{"id": "variable", "keyword": r"\$[A-Za-z_0-9][A-Za-z0-9_]*"}, NUMBER],
    single="string.single", double="string.double",
    comments=[line("#", "comment.line")],
    fold=(r"\b(then|do)\s*(#.*)?$|\{\s*(#.*)?$|\bcase\b.*\bin\s*$", r"^\s*(fi|done|esac|\})\b"))

LANGUAGES["SQL"] = keyword_language(
    "text.sql", WORD,
    {
        "keyword": w("select from where insert into values update set delete create table drop alter add column index "
                     "view primary key foreign references unique default and or not in is like between join inner "
                     "left right outer full cross on as group by order having limit offset union all distinct case "
                     "when then else end exists begin commit rollback transaction grant revoke database schema if "
                     "trigger procedure function return returns declare constraint check asc desc with recursive "
                     "replace truncate rename to using natural cascade auto_increment"),
        "type.builtin": w("int integer bigint smallint tinyint decimal numeric float real double precision char varchar "
                          "text blob date time timestamp datetime boolean bool serial"),
        "constant.language": w("null true false"),
        "function.builtin": w("count sum avg min max coalesce nullif cast concat substring lower upper trim length now "
                              "round abs ifnull"),
    },
    case_sensitive=False,
    regex=[NUMBER], single="string.single", double="string.double",
    comments=[line("--", "comment.line"), line("#", "comment.line"), block("/*", "*/", "comment.block")],
    fold=(r"(?i)\(\s*$|^\s*begin\b(?!.*\bend\b)", r"(?i)^\s*\)|^\s*end\b"))

LANGUAGES["JSON"] = keyword_language(
    "text.json", LETTERS + DIGITS + ".-+",
    {"constant.language": w("true false null")},
    regex=[{"id": "constant.numeric", "keyword": r"-?(0|[1-9][0-9]*)(\.[0-9]+)?([eE][+-]?[0-9]+)?"}],
    double="string.double",
    fold=(r"[\{\[]\s*$", r"^\s*[\}\]]"))

# Prose: no quotes (apostrophes) and no keywords; spans are comment forms.
LANGUAGES["Markdown"] = keyword_language(
    "text.markdown", LETTERS + DIGITS,
    {},
    comments=[block("```", "```", "markup.code"), block("`", "`", "markup.code"),
              block("<!--", "-->", "comment.block"), line("#", "markup.heading"),
              block("**", "**", "markup.emphasis"), block("__", "__", "markup.emphasis"),
              block("](", ")", "markup.link")],
    fold=(r"^```[A-Za-z0-9_+-]+\s*$", r"^```\s*$"))


def main():
    for name, plist in LANGUAGES.items():
        path = os.path.join(ROOT, name + ".mvbundle", "Contents", "syntax.plist")
        if not os.path.isdir(os.path.dirname(path)):
            sys.exit("no bundle directory for " + name)
        with open(path, "wb") as out:
            plistlib.dump(plist, out, fmt=plistlib.FMT_XML, sort_keys=True)
    print("wrote", len(LANGUAGES), "syntax files")


if __name__ == "__main__":
    main()
