"""The generator of the tables, run on small sets of languages: generator_test.py SOURCES [unittest's arguments]"""

import contextlib
import io
import pathlib
import re
import sys
import tempfile
import unittest

SOURCES = pathlib.Path(sys.argv.pop(1))
GENERATOR = SOURCES / "i18n" / "generate_tables.py"
sys.path.insert(0, str(GENERATOR.parent))
sys.dont_write_bytecode = True
import generate_tables  # noqa: E402

LANGUAGES = "# code, direction, name\nfa rtl فارسی\nen ltr English\nzh_TW ltr 正體中文\n"


ENGLISH = (
    'msgid ""\nmsgstr ""\n"Language: en\\n"\n"Content-Type: text/plain; charset=UTF-8\\n"\n'
    '\nmsgctxt "size"\nmsgid "%d of %s"\nmsgstr "%d of %s"\n'  # lines 6 to 8
    '\nmsgctxt "ask"\nmsgid "\\"Why\\" so?"\nmsgstr "\\"Why\\" so?"\n'  # lines 10 to 12
)
PERSIAN = (
    ENGLISH.replace("Language: en", "Language: fa")
    .replace('msgstr "%d of', 'msgstr "%d از')
    .replace('msgstr "\\"Why\\" so?', 'msgstr "چرا؟')
)
CHINESE = PERSIAN.replace("Language: fa", "Language: zh_TW")
FILES = {"LANGUAGES": LANGUAGES, "en": ENGLISH, "fa": PERSIAN, "zh_TW": CHINESE}


class Generator(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.dir = pathlib.Path(directory.name)

    def run_generator(self, **changed):
        """Status, messages without the directory, and what was written. A change to None leaves the file out."""
        for old in self.dir.iterdir():
            old.unlink()
        paths = []
        for name, text in {**FILES, **changed}.items():
            if text is not None:
                paths.append(str(self.dir / (name if name == "LANGUAGES" else f"{name}.po")))
                pathlib.Path(paths[-1]).write_bytes(text if isinstance(text, bytes) else text.encode())
        messages = io.StringIO()
        with contextlib.redirect_stderr(messages):
            status = generate_tables.main(["--output", str(self.dir), "--languages", *paths])
        written = [p.read_text("utf-8") for p in sorted(self.dir.glob("i18n_data.*"))]
        return status, messages.getvalue().replace(f"{self.dir}/", ""), written

    def expect_fault(self, start, **changed):
        """With these files, the build stops at "file:line: what..."."""
        status, messages, written = self.run_generator(**changed)
        self.assertEqual((status, written), (1, []), start)
        self.assertTrue(messages.startswith(start), f"{start} in {messages}")

    def test_good_files_give_sorted_tables_and_compilers_see_no_trap(self):
        status, messages, (source, tables) = self.run_generator(
            fa=PERSIAN.replace("چرا؟", "\u200fa??=\\\\\\n\u200c1")
        )
        self.assertEqual((status, messages), (0, ""))
        self.assertRegex(tables, r'(?s)"ask".*"size".*{"fa", "فارسی", true, VALUES_fa},.*{"en".*{"zh_TW", "正體中文", false')
        self.assertIn('"\\"Why\\" so\\?",  // ask\n    "%d of %s",  // size\n', source)
        self.assertIn(r'"\342\200\217a\?\?=\\\n\342\200\2141",  // ask', source)

    def test_faults_of_a_text_are_reported_with_their_place(self):
        def changed(old, new, text=PERSIAN):
            self.assertIn(old, text)
            return text.replace(old, new)

        entry = PERSIAN[PERSIAN.index('msgctxt "ask"') :]
        for start, text in (
            ('1: missing, empty or fuzzy text for "ask"', changed(entry, "")),
            ('10: missing, empty or fuzzy text for "ask"', changed("چرا؟", "")),
            ('11: missing, empty or fuzzy text for "ask"', changed(entry, "#, c-format, fuzzy\n" + entry)),
            ('10: empty text for "ask"', changed("چرا؟", " ")),
            ('14: extra key "more"', PERSIAN + "\n" + changed("ask", "more", entry)),
            ("15: duplicate message definition", PERSIAN + "\n" + entry),
            ('10: msgid of "ask" differs', changed(" so?", " so")),
            ("10: entry without msgctxt", changed('msgctxt "ask"\nmsgid "', 'msgid "me')),
            ("1: the header lacks Content-Type", PERSIAN[PERSIAN.index("msgctxt") :]),
            ("1: the header lacks Language: fa", CHINESE),
            ("1: the header lacks Content-Type", changed("UTF-8", "KOI8-R")),
            ("13: end-of-line within string", changed('؟"', "؟")),
            ("12:10: invalid multibyte sequence", PERSIAN.encode().replace("چ".encode(), b"a\xff")),
            ("12: plural forms are not supported", changed('" so?"\nmsgstr', '" so?"\nmsgid_plural "x"\nmsgstr[0]')),
            ('10: control character in the text of "ask"', changed("چرا", " ")),
        ):
            self.expect_fault("fa.po:" + start, fa=text)
        for wrong in ("%s از %d", "%d از", "%d از %i", "%2$d از %1$s", "%d از %s %%"):
            self.expect_fault('fa.po:6: placeholders of "size"', fa=changed("%d از %s", wrong))
        self.expect_fault('en.po:6: msgid of "size" differs', en=changed('msgstr "%d of', 'msgstr "%d in', ENGLISH))
        second = ENGLISH[ENGLISH.index('msgctxt "ask"') :].replace(" so?", " so")
        self.expect_fault('en.po:10: doubled key "ask"', en=ENGLISH + "\n" + second)
        self.expect_fault('en.po:10: "a-k" is no key', en=changed("ask", "a-k", ENGLISH))

    def test_files_and_list_have_to_agree(self):
        self.expect_fault("LANGUAGES:4: missing file zh_TW.po", zh_TW=None)
        self.expect_fault("de.po:1: extra file", de=PERSIAN)
        self.expect_fault("LANGUAGES:1: missing language en", LANGUAGES="fa rtl x\nzh_TW ltr y\n", en=None)
        self.expect_fault('LANGUAGES:5: "fa" is listed twice', LANGUAGES=LANGUAGES + "fa rtl x\n")
        self.expect_fault("LANGUAGES:5: expected", LANGUAGES=LANGUAGES + "de yes Deutsch\n")

    def test_every_key_that_the_program_names_has_a_text(self):
        english = [(SOURCES / "i18n" / folder / "en.po").read_text("utf-8") for folder in ("languages", "additions")]
        keys = set(re.findall(r'^msgctxt "(.*)"', "".join(english), re.M))
        for path in SOURCES.rglob("*.cpp"):
            named = set(re.findall(r'\bi18n::T\("([^"]*)"\)', path.read_text("utf-8")))
            self.assertLessEqual(named, keys, path)


if __name__ == "__main__":
    unittest.main()
