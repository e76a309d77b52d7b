"""The generator of the tables, run on small sets of languages: generator_test.py SOURCES [unittest's arguments]"""

import contextlib
import io
import pathlib
import random
import re
import subprocess
import sys
import tempfile
import unittest

SOURCES = pathlib.Path(sys.argv.pop(1))
GENERATOR = SOURCES / "i18n" / "generate_tables.py"
sys.path.insert(0, str(GENERATOR.parent))
sys.dont_write_bytecode = True
import generate_tables  # noqa: E402

LANGUAGES = "# code, direction, name\nfa rtl فارسی\nen ltr English\nzh_TW ltr 正體中文\n"


def header(code):
    return f'msgid ""\nmsgstr ""\n"Language: {code}\\n"\n"Content-Type: text/plain; charset=UTF-8\\n"\n'


ENGLISH = header("en") + (
    '\nmsgctxt "size"\nmsgid "%d of %s"\nmsgstr "%d of %s"\n'  # lines 6 to 8
    '\nmsgctxt "ask"\nmsgid "\\"Why\\" so?"\nmsgstr "\\"Why\\" so?"\n'  # lines 10 to 12
)
PERSIAN = header("fa") + (
    '\nmsgctxt "size"\nmsgid "%d of %s"\nmsgstr "%d از %s"\n'
    '\nmsgctxt "ask"\nmsgid "\\"Why\\" so?"\nmsgstr "چرا؟"\n'
)
CHINESE = PERSIAN.replace("Language: fa", "Language: zh_TW")


class Generator(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.dir = pathlib.Path(directory.name)
        self.files = {"LANGUAGES": LANGUAGES, "en.po": ENGLISH, "fa.po": PERSIAN, "zh_TW.po": CHINESE}

    def arguments(self):
        for name, content in self.files.items():
            (self.dir / name).write_bytes(content if isinstance(content, bytes) else content.encode())
        texts = [self.dir / name for name in self.files if name != "LANGUAGES"]
        return ["--languages", self.dir / "LANGUAGES", "--output", self.dir, *texts]

    def run_generator(self):
        """Status, messages without the directory, and what was written."""
        for old in self.dir.glob("i18n_data.*"):
            old.unlink()
        done = subprocess.run([sys.executable, GENERATOR, *self.arguments()], capture_output=True)
        messages = done.stderr.decode().replace(f"{self.dir}/", "")
        return done.returncode, messages, [p.read_text("utf-8") for p in sorted(self.dir.glob("i18n_data.*"))]

    def expect_fault(self, start, **changed):
        """With these files (None: without them), the build stops at "file:line: what..."."""
        before = dict(self.files)
        for name, content in changed.items():
            self.files[name if name == "LANGUAGES" else f"{name}.po"] = content
        self.files = {name: content for name, content in self.files.items() if content is not None}
        for name in before.keys() - self.files.keys():
            (self.dir / name).unlink(missing_ok=True)
        status, messages, written = self.run_generator()
        self.files = before
        with self.subTest(start):
            self.assertEqual(status, 1)
            self.assertTrue(messages.startswith(start), messages)
            self.assertNotIn("Traceback", messages)
            self.assertEqual(written, [])

    def test_good_files_give_sorted_tables_and_compilers_see_no_trap(self):
        self.files["fa.po"] = PERSIAN.replace("چرا؟", "\u200fa??=\\\\\\n\u200c1")
        status, messages, (source, tables) = self.run_generator()
        self.assertEqual((status, messages), (0, ""))
        self.assertLess(tables.index('"ask"'), tables.index('"size"'))
        self.assertIn('{"fa", "فارسی", true, VALUES_fa},', tables)
        self.assertIn('{"zh_TW", "正體中文", false, VALUES_zh_TW},', tables)
        self.assertLess(tables.index('{"fa"'), tables.index('{"en"'))  # the order of the list
        self.assertIn('"\\"Why\\" so\\?",  // ask\n    "%d of %s",  // size\n', source)
        self.assertIn(r'"\342\200\217a\?\?=\\\n\342\200\2141",  // ask', source)

    def test_the_formatting_of_translators_tools_changes_nothing(self):
        plain = self.run_generator()
        first, size, ask = PERSIAN.split("\n\n")
        ask = ask.rstrip().replace('msgid "\\"Why\\" so?"', 'msgid ""\n  "\\"Why\\" "\t"so"\n"?"')
        obsolete = '#, fuzzy\n#~ msgctxt "old"\n#~ msgid "Old"\n#~ msgstr "کهنه"'
        first += '"Plural-Forms: nplurals=2; plural=(n > 1);\\n"'
        comments = "# A note.\n#. From the code.\n#: ui.cpp:12\n#, c-format, no-wrap\n#| msgid \"Was\"\n"
        self.files["fa.po"] = "\n\n".join([first, obsolete, ask, "", comments + size]).replace("\n", "\r\n")
        self.assertEqual(self.run_generator(), plain)

    def test_faults_of_a_text_are_told_with_their_place(self):
        def changed(old, new, text=PERSIAN):
            self.assertIn(old, text)
            return text.replace(old, new)

        entry = PERSIAN[PERSIAN.index('msgctxt "ask"') :]
        self.expect_fault('fa.po:1: missing key "ask"', fa=changed(entry, ""))
        self.expect_fault('fa.po:10: empty text for "ask"', fa=changed("چرا؟", " "))
        self.expect_fault('fa.po:14: extra key "more"', fa=PERSIAN + "\n" + changed("ask", "more", entry))
        self.expect_fault('fa.po:14: doubled key "ask", first in line 10', fa=PERSIAN + "\n" + entry)
        self.expect_fault('fa.po:10: msgid of "ask" differs', fa=changed(" so?", " so"))
        self.expect_fault('en.po:6: msgid of "size" differs', en=changed('msgstr "%d of', 'msgstr "%d in', ENGLISH))
        for wrong in ("%s از %d", "%d از", "%d از %s %s", "%d از %i", "%2$d از %1$s", "%d از %s %%", "%d از %s%"):
            self.expect_fault('fa.po:6: placeholders of "size"', fa=changed("%d از %s", wrong))
        self.expect_fault('fa.po:11: fuzzy entry "ask"', fa=changed(entry, "#, c-format, fuzzy\n" + entry))
        self.expect_fault("fa.po:10: entry without msgctxt", fa=changed('msgctxt "ask"\n', ""))
        self.expect_fault("fa.po:1: no header", fa=PERSIAN[PERSIAN.index("msgctxt") :])
        self.expect_fault("fa.po:1: the header lacks Language: fa", fa=CHINESE)
        self.expect_fault("fa.po:1: the header lacks Content-Type", fa=changed("UTF-8", "KOI8-R"))
        self.expect_fault('en.po:10: "a-k" is no key', en=changed("ask", "a-k", ENGLISH))
        everything = changed("چرا؟", "", changed("از %s", "از"))
        self.files["fa.po"] = everything  # each fault has its line
        self.assertRegex(self.run_generator()[1], r"^fa.po:6: .*\nfa.po:10: .*\n$")

    def test_what_is_no_po_file_is_told_with_its_place(self):
        def at_12(line, what):
            self.expect_fault(f"fa.po:12: {what}", fa=PERSIAN.replace('msgstr "چرا؟"', line))

        at_12('msgstr "a', 'missing closing "')
        at_12('msgstr "a" b', "something that is not quoted")
        at_12('msgstr "a\\x"', "unknown escape \\x")
        at_12('msgstr "a\\"', 'missing closing "')
        at_12('msgstr[0] "a"', "plural forms are not supported")
        at_12('msgid_plural "a"', "plural forms are not supported")
        at_12('domain "a"', 'unknown keyword "domain"')
        at_12('msgid "a"', "msgid out of order")
        at_12('msgctxt "a"', "msgctxt out of order")
        at_12('# A comment\nmsgstr "a"', "comment inside of an entry")
        for control in ("\t", "\0", "\x1b", "\r", "\x85", "\u2028"):
            at_12(f'msgstr "a{control}b"', f"control character U+{ord(control):04X}")
        self.expect_fault("fa.po:10: entry without msgstr", fa=PERSIAN.replace('msgstr "چرا؟"', ""))
        late = PERSIAN.replace('msgctxt "ask"', 'msgid "a"\nmsgctxt "ask"')
        self.expect_fault("fa.po:11: msgctxt out of order", fa=late)
        self.expect_fault('fa.po:1: a text without a keyword', fa='"a"\n' + PERSIAN)
        self.expect_fault("fa.po:1: byte order mark", fa="\ufeff" + PERSIAN)
        for wrong in (b"\xff", b"\xc0\xaf", b"\xed\xa0\x80", "چ".encode()[:1]):
            self.expect_fault("fa.po:12: not UTF-8", fa=PERSIAN.encode().replace("چ".encode(), wrong))
        self.expect_fault("fa.po:1: ", fa=b"\x7fELF\x02\x01\x01\0")
        self.expect_fault("fa.po:1: no header", fa="")

    def test_files_and_list_have_to_agree(self):
        self.expect_fault("LANGUAGES:4: missing file zh_TW.po", zh_TW=None)
        self.expect_fault("de.po:1: extra file", de=PERSIAN)
        self.expect_fault('LANGUAGES:5: "fa" is listed twice', LANGUAGES=LANGUAGES + "fa rtl x\n")
        self.expect_fault("LANGUAGES:5: expected", LANGUAGES=LANGUAGES + "de yes Deutsch\n")
        self.expect_fault("LANGUAGES:5: expected", LANGUAGES=LANGUAGES + "de ltr\n")
        self.expect_fault('LANGUAGES:5: "d;e" is no', LANGUAGES=LANGUAGES + "d;e ltr Deutsch\n")
        self.expect_fault("LANGUAGES:1: missing language en", LANGUAGES="fa rtl x\nzh_TW ltr y\n", en=None)
        arguments = self.arguments()
        (self.dir / "fa.po").unlink()
        for make in ((self.dir / "fa.po").mkdir, (self.dir / "fa.po").rmdir):
            make()  # a directory, then nothing at all
            done = subprocess.run([sys.executable, GENERATOR, *arguments], capture_output=True, text=True)
            self.assertEqual(done.returncode, 1)
            self.assertRegex(done.stderr, r"^\S+/fa.po:1: cannot be read: .*\n$")

    def test_damaged_files_never_end_in_an_exception(self):
        arguments = [str(argument) for argument in self.arguments()]
        whole = PERSIAN.encode()
        rng = random.Random(1)
        damaged = [whole[:length] for length in range(len(whole) - 1)]
        for _ in range(400):
            data = bytearray(whole)
            for _ in range(rng.randint(1, 4)):
                data[rng.randrange(len(data))] = rng.choice(b'"\\\n#m\0\xff %')
            damaged.append(bytes(data))
        for data in damaged:
            (self.dir / "fa.po").write_bytes(data)
            messages = io.StringIO()
            with contextlib.redirect_stderr(messages):
                status = generate_tables.main(arguments)
            self.assertEqual(status, 1 if messages.getvalue() else 0)
            for message in messages.getvalue().splitlines():
                self.assertRegex(message, r"/fa\.po:\d+: ")
            if len(data) < len(whole):
                self.assertEqual(status, 1, data)


class Program(unittest.TestCase):
    def test_every_key_that_the_program_names_has_a_text(self):
        keys = set(re.findall(r'^msgctxt "(.*)"', (SOURCES / "i18n/languages/en.po").read_text("utf-8"), re.M))
        for path in SOURCES.rglob("*.cpp"):
            named = set(re.findall(r'\bi18n::T\("([^"]*)"\)', path.read_text("utf-8")))
            self.assertLessEqual(named, keys, path)


if __name__ == "__main__":
    unittest.main()
