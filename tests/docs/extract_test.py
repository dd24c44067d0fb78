#!/usr/bin/python3
"""extract_test.py EXTRACT: tests of the script that takes the code out of the documents."""
import contextlib
import importlib.util
import io
import sys
import tempfile
import unittest
from pathlib import Path

SPEC = importlib.util.spec_from_file_location("extract", sys.argv[1])
extract = importlib.util.module_from_spec(SPEC)
SPEC.loader.exec_module(extract)

PRINTS = "\nIt prints:\n\n```text\nok\n```\n"


def cpp(text):
    return f"```cpp\n{text}\n```\n"


def marked(words, text):
    return f"<!-- block {words} -->\n" + cpp(text)


def files_of(text, path="docs/guide.md"):
    return extract.files_of([(path, text)])


class Extraction(unittest.TestCase):
    def assert_refused(self, text, line, words):
        with self.assertRaises(extract.PageError) as caught:
            files_of(text)
        self.assertIn(f"docs/guide.md:{line}: ", str(caught.exception))
        self.assertIn(words, str(caught.exception))

    def test_statements_become_a_function_that_is_called_by_its_name(self):
        files = files_of("Text\n\n" + cpp("int a = 1;"))
        source = files["guide.cpp"]
        self.assertIn('void run() {\n#line 4 "docs/guide.md"\nint a = 1;\n}', source)
        self.assertIn('if (name == "1") return example_1::run(), 0;', source)
        self.assertEqual(files["blocks.cmake"], "vq_page(guide)\nvq_page_statements(guide 1)\n")

    def test_code_without_a_text_prints_nothing(self):
        self.assertEqual(files_of(cpp("f();"))["guide.1.txt"], "")

    def test_includes_are_lifted_once_and_lines_stay_where_they_are(self):
        source = files_of(cpp("#include <map>\nf();") + cpp("#include <map>\ng();"))["guide.cpp"]
        self.assertEqual(source.count("#include <map>"), 1)
        self.assertLess(source.index("#include <map>"), source.index("namespace"))
        self.assertIn('#line 2 "docs/guide.md"\n\nf();', source)

    def test_main_makes_a_program_with_lines_of_its_own(self):
        files = files_of(marked("ring", "#include <map>\nint main() {}") + PRINTS)
        expected = '#line 1 "ring.cpp"\n#include <map>\nint main() {}\n'
        self.assertEqual(files["guide.ring.cpp"], expected)
        self.assertEqual(files["guide.ring.txt"], "ok\n")
        self.assertEqual(files["blocks.cmake"], "vq_page_program(guide ring)\n")
        self.assertNotIn("guide.cpp", files)

    def test_a_word_like_main_makes_no_program(self):
        self.assertIn("guide.cpp", files_of(cpp("int mainly = domain(1);")))

    def test_blocks_of_a_name_continue_each_other(self):
        page = marked("a", "int x = 1;") + cpp("other();") + marked("a", "use(x);")
        source = files_of(page)["guide.cpp"]
        self.assertIn('int x = 1;\n#line 10 "docs/guide.md"\nuse(x);\n}', source)
        self.assertIn("example_2", source)

    def test_outputs_of_continued_blocks_are_one_output(self):
        page = marked("a", "f();") + PRINTS + marked("a", "g();") + PRINTS
        self.assertEqual(files_of(page)["guide.a.txt"], "ok\nok\n")

    def test_declarations_stand_before_the_function(self):
        page = marked("a declarations", "struct S {};") + marked("a", "S s;")
        source = files_of(page)["guide.cpp"]
        self.assertLess(source.index("struct S {};"), source.index("void run() {"))
        self.assertLess(source.index("void run() {"), source.index("S s;"))

    def test_declarations_stand_before_main(self):
        page = marked("a declarations", "struct S {};") + marked("a", "int main() {}")
        self.assertEqual(files_of(page)["guide.a.cpp"],
                         '#line 1 "a.cpp"\nstruct S {};\nint main() {}\n')

    def test_declarations_that_nothing_uses_are_refused(self):
        self.assert_refused(marked("a declarations", "struct S {};"), 3, "nothing uses")

    def test_tests_go_to_one_file(self):
        page = marked("a test", "TEST(A, B) {}") + marked("b test", "TEST(A, C) {}")
        files = files_of(page)
        self.assertIn("namespace example_a", files["guide.tests.cpp"])
        self.assertIn("TEST(A, C) {}", files["guide.tests.cpp"])
        self.assertEqual(files["blocks.cmake"], "vq_page_tests(guide)\n")

    def test_shell_blocks_run_when_they_are_marked(self):
        page = "```sh\nrm -rf /\n```\n<!-- block a shell -->\n```sh\necho ok\n```\n" + PRINTS
        files = files_of(page)
        self.assertEqual(files["guide.a.sh"], "set -euo pipefail\necho ok\n")
        self.assertEqual(files["guide.a.txt"], "ok\n")
        self.assertNotIn("rm", "".join(files.values()))

    def test_a_fence_within_a_longer_fence_is_text(self):
        files = files_of("````markdown\n```cpp\nint x;\n```\n````\n" + cpp("int y;"))
        self.assertNotIn("int x;", files["guide.cpp"])
        self.assertIn("int y;", files["guide.cpp"])

    def test_a_fence_with_a_language_closes_nothing(self):
        self.assertIn("\n```sh\n}", files_of("```cpp\n```sh\n```\n")["guide.cpp"])

    def test_an_indented_block_loses_its_indentation(self):
        self.assertIn("\n  f();\n", files_of("- x\n\n  ```cpp\n    f();\n  ```\n")["guide.cpp"])

    def test_other_names_of_the_language_are_refused(self):
        for language in ("c++", "C++", "CPP", "cxx", "cc", "{.cpp}", "cpp ignore"):
            self.assert_refused(f"```{language}\nf();\n```\n", 1, "language cpp")

    def test_other_fences_are_refused(self):
        self.assert_refused("~~~cpp\nf();\n~~~\n", 1, "backticks")

    def test_an_open_fence_is_refused(self):
        self.assert_refused("\n```cpp\nf();\n", 2, "never closed")

    def test_a_marker_that_cannot_be_meant_is_refused(self):
        for marker in ("block", "block a skip", "block A", "block a test shell", "block a_b"):
            self.assert_refused(f"<!-- {marker} -->\n" + cpp("f();"), 1, "a marker is")

    def test_a_marker_without_a_block_is_refused(self):
        self.assert_refused(cpp("f();") + "<!-- block a -->\nText\n", 4, "no block follows")

    def test_two_markers_in_a_row_are_refused(self):
        self.assert_refused("<!-- block a -->\n" + marked("b", "f();"), 2, "two markers")

    def test_a_text_after_tests_is_refused(self):
        self.assert_refused(marked("a test", "TEST(A, B) {}") + PRINTS, 9, "no code before")

    def test_a_marker_on_what_is_no_code_is_refused(self):
        console = "<!-- block a -->\n```console\n$ ls\n```\n"
        self.assert_refused(console, 3, "a marked block is code")
        self.assert_refused(marked("a shell", "f();"), 3, "of the language sh")

    def test_a_name_is_of_one_kind(self):
        page = marked("a test", "TEST(A, B) {}") + marked("a", "f();")
        self.assert_refused(page, 7, "another kind")

    def test_a_text_that_nothing_introduces_is_refused(self):
        self.assert_refused(cpp("f();") + "\nLike this:\n\n```text\nok\n```\n", 8, "no words")
        self.assert_refused(cpp("f();") + "\nIt prints\n\n```text\nok\n```\n", 8, "no words")

    def test_a_text_of_no_code_is_refused_on_a_page_with_code(self):
        self.assert_refused("It prints:\n```text\nok\n```\n" + cpp("f();"), 3, "no code before")
        between = cpp("f();") + "```console\n$ ls\n```\n" + PRINTS
        self.assert_refused(between, 11, "no code before")

    def test_a_page_without_code_may_show_texts(self):
        self.assertEqual(files_of("```text\n+--+\n```\n"), {"blocks.cmake": "\n"})

    def test_two_pages_of_one_name_are_refused(self):
        with self.assertRaises(extract.PageError):
            extract.files_of([("a/x.md", cpp("f();")), ("b/x.md", cpp("f();"))])


class Writing(unittest.TestCase):
    def test_what_is_the_same_is_not_written_and_what_is_gone_goes(self):
        with tempfile.TemporaryDirectory() as folder:
            out = Path(folder) / "out"
            extract.write(out, {"a": "1", "b": "2"})
            before = (out / "a").stat().st_mtime_ns
            extract.write(out, {"a": "1", "c": "3"})
            self.assertEqual(sorted(path.name for path in out.iterdir()), ["a", "c"])
            self.assertEqual((out / "a").stat().st_mtime_ns, before)
            extract.write(out, {"c": "4"})
            self.assertEqual((out / "c").read_text(encoding="utf-8"), "4")

    def test_a_page_that_is_wrong_fails_with_its_place(self):
        with tempfile.TemporaryDirectory() as folder:
            page = Path(folder) / "page.md"
            page.write_text("```cpp\n", encoding="utf-8")
            errors = io.StringIO()
            with contextlib.redirect_stderr(errors):
                status = extract.main([folder + "/out", str(page)])
            self.assertEqual(status, 1)
            self.assertIn(f"{page}:1: the fence is never closed", errors.getvalue())
            self.assertFalse((Path(folder) / "out").exists())

    def test_a_block_is_printed_by_its_language(self):
        with tempfile.TemporaryDirectory() as folder:
            page = Path(folder) / "page.md"
            text = cpp("f();") + "```cmake\na()\n```\n```cmake\nb()\n```\n"
            page.write_text(text, encoding="utf-8")
            printed = io.StringIO()
            with contextlib.redirect_stdout(printed):
                self.assertEqual(extract.main(["--block", "cmake", str(page)]), 0)
            self.assertEqual(printed.getvalue(), "a()\n")
            with contextlib.redirect_stderr(io.StringIO()):
                self.assertEqual(extract.main(["--block", "sh", str(page)]), 1)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
