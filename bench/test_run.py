#!/usr/bin/env python3
"""Checks of the benchmark harness itself, run by bench/run before it
measures anything: a driver that loses text or writes broken HTML, or a
timer that does not stop a hung process, would make every figure wrong.

    python3 bench/test_run.py [BUILD_DIR]
"""
import html
import importlib.machinery
import importlib.util
import json
import os
import re
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
HERE = os.path.dirname(os.path.abspath(__file__))
BUILD = os.path.abspath(sys.argv.pop(1)) if len(sys.argv) > 1 else os.path.join(os.path.dirname(HERE), "build-bench")


def load_run():
    loader = importlib.machinery.SourceFileLoader("bench_run", os.path.join(HERE, "run"))
    spec = importlib.util.spec_from_loader("bench_run", loader)
    module = importlib.util.module_from_spec(spec)
    loader.exec_module(module)
    return module


run = load_run()


def driver(name):
    return os.path.join(BUILD, "bin", name)


def plain_text(page):
    """The text of the page: what is inside <pre>, tags dropped, unescaped."""
    body = page[page.index("<pre>") + 5:page.rindex("</pre>")]
    return html.unescape(re.sub(r"</?span[^>]*>", "", body))


class HighlightDriverTest(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.TemporaryDirectory()

    def tearDown(self):
        self.dir.cleanup()

    def write(self, name, data):
        path = os.path.join(self.dir.name, name)
        with open(path, "wb") as f:
            f.write(data)
        return path

    def highlight(self, *arguments):
        return subprocess.run([driver("morvel_highlight"), *arguments], capture_output=True, timeout=60)

    def test_every_character_comes_back_once_with_line_breaks_as_lf(self):
        samples = {
            "page.html": "<!DOCTYPE html>\r\n<p class=\"a&b\">Résumé &amp; 😀</p>\r\n<!-- note -->\r\n"
                         "<script>if (a < b && c > d) { x = '<tag>'; }</script>\r\n",
            "code.php": "<?php\n// comment with ünïcode\n$a = \"str <b>\" . 'x' . 42; /* block\n over lines */\n?>\n<b>&nbsp;</b>\r",
            "style.css": "a:hover > b { color: #fff; content: \"→\"; } /* end",
            "script.js": "var s = \"unterminated\n/* \U0001D11E */ function f() { return 1 < 2; }\n" * 50,
        }
        for name, text in samples.items():
            with self.subTest(name=name):
                path = self.write(name, text.encode("utf-8"))
                out = self.highlight(path)
                self.assertEqual(out.returncode, 0, out.stderr)
                page = out.stdout.decode("utf-8")
                expected = text.replace("\r\n", "\n").replace("\r", "\n")
                self.assertEqual(plain_text(page), expected)
                self.assertNotIn("<span style=\"\">", page)
                self.assertEqual(page.count("<span"), page.count("</span>"))

    def test_bytes_that_are_not_utf8_come_back_as_one_character_each(self):
        # Such a file is read with the fallback that maps every byte; the
        # page must still be valid UTF-8 with one character per byte.
        data = b"var s = '" + bytes(range(0x80, 0x100)) + b"';\n"
        page = self.highlight(self.write("latin.js", data)).stdout.decode("utf-8")
        self.assertEqual(len(plain_text(page)), len(data))

    def test_the_runner_reads_every_step_of_the_timings(self):
        path = self.write("steps.css", b"a { color: red; }\n" * 1000)
        steps = run.our_steps(driver("morvel_highlight"), path)
        self.assertEqual(sorted(steps), sorted(run.STEP_NAMES))
        self.assertTrue(all(float(value) >= 0 for value in steps.values()))

    def test_script_gets_colours(self):
        path = self.write("colours.js", b"// a comment\nfunction f() { return \"text\"; }\n")
        page = self.highlight(path).stdout.decode()
        colours = set(re.findall(r"color:(#[0-9a-f]{6})", page))
        # The page's own colour, and at least comment, keyword and string.
        self.assertGreaterEqual(len(colours), 3, page)

    def test_language_given_overrides_the_extension(self):
        path = self.write("notes.txt", b"function f() { return 1; } // done\n")
        as_text = self.highlight(path).stdout.decode()
        as_script = self.highlight("--language", "text.js", path).stdout.decode()
        self.assertGreater(as_script.count("<span"), as_text.count("<span"))

    def test_output_file_and_errors(self):
        path = self.write("a.js", b"var a = 1;\n")
        target = os.path.join(self.dir.name, "out.html")
        out = self.highlight("-o", target, path)
        self.assertEqual(out.returncode, 0, out.stderr)
        self.assertEqual(out.stdout, b"")
        with open(target, encoding="utf-8") as f:
            self.assertIn("var", plain_text(f.read()))
        missing = self.highlight(os.path.join(self.dir.name, "missing.js"))
        self.assertEqual(missing.returncode, 1)
        self.assertIn(b"missing.js", missing.stderr)
        unknown = self.highlight("--language", "text.nothing", path)
        self.assertEqual(unknown.returncode, 1)
        self.assertIn(b"text.nothing", unknown.stderr)
        self.assertEqual(self.highlight().returncode, 2)


class MeasuringDriversTest(unittest.TestCase):
    def test_keystrokes_report_every_position_and_operation(self):
        with tempfile.TemporaryDirectory() as d:
            path = os.path.join(d, "lines.js")
            with open(path, "w") as f:
                f.write("function f(a) { return a + 1; } // line\n" * 300)
            out = subprocess.run([driver("bench_keystrokes"), "--samples", "10", path],
                                 capture_output=True, text=True, timeout=120)
        self.assertEqual(out.returncode, 0, out.stderr)
        rows = [json.loads(line) for line in out.stdout.splitlines()]
        checks = [r for r in rows if "operation" not in r]
        rows = [r for r in rows if "operation" in r]
        self.assertEqual([(c["position"], c["parser"], c["opener"], c["opener_coloured"]) for c in checks],
                         [(p, "text.js", "/*", True) for p in ("start", "middle", "end")])
        self.assertEqual({(r["position"], r["operation"]) for r in rows},
                         {(p, o) for p in ("start", "middle", "end") for o in ("type", "delete", "newline", "comment")})
        for r in rows:
            self.assertGreaterEqual(r["samples"], 10)
            self.assertTrue(0 < r["median_us"] <= r["p99_us"] <= r["max_us"], r)

    def test_open_reports_the_file_and_its_memory(self):
        with tempfile.TemporaryDirectory() as d:
            path = os.path.join(d, "page.php")
            line = b"<?php echo 'x'; ?>\r\n<p>text</p>\r\n"
            with open(path, "wb") as f:
                f.write(line * 20000)
            out = subprocess.run([driver("bench_open"), path], capture_output=True, text=True, timeout=120)
        self.assertEqual(out.returncode, 0, out.stderr)
        r = json.loads(out.stdout)
        self.assertEqual(r["bytes"], len(line) * 20000)
        self.assertEqual(r["lines"], 40001)
        self.assertGreater(r["runs"], 20000)
        self.assertGreaterEqual(r["peak_kb"], r["baseline_kb"])


class MeasureTest(unittest.TestCase):
    def test_a_hung_process_is_stopped_and_reported(self):
        m = run.measure(["sleep", "30"], timeout=0.5)
        self.assertEqual(m.status, "timeout")
        self.assertLess(m.wall, 10)
        self.assertFalse(m.ok)

    def test_cpu_time_and_memory_of_the_child(self):
        m = run.measure([sys.executable, "-c", "x = bytearray(64 << 20); sum(range(3000000))"])
        self.assertTrue(m.ok)
        self.assertGreater(m.cpu, 0)
        self.assertGreater(m.rss_kb, 64 * 1024)

    def test_best_of_stops_at_a_failure(self):
        with tempfile.TemporaryDirectory() as d:
            counter = os.path.join(d, "count")
            script = "import sys; f = open(%r, 'a'); f.write('x'); sys.exit(3)" % counter
            m = run.best_of(5, [sys.executable, "-c", script])
            self.assertEqual(m.status, 3)
            with open(counter) as f:
                self.assertEqual(f.read(), "x")


if __name__ == "__main__":
    unittest.main(verbosity=1)
