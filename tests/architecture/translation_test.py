"""Holds the windows' texts and their English together: every text is given to be translated, and every translation is there.

Usage: translation_test.py SOURCE_DIR LUPDATE
"""

import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree
from pathlib import Path

SOURCE, LUPDATE = Path(sys.argv[1]), sys.argv[2]
TRANSLATIONS = SOURCE / "resources/translations/parlowen_en.ts"
WINDOWS = ["Login", "Login/Captcha", "Page", "Page/View", "Page/AIInterviewPages", "Tools/PopView", "Main"]
CHINESE = re.compile("[\u4e00-\u9fff]")
TOKEN = re.compile(r'//[^\n]*|"(?:[^"\\\n]|\\.)*"|R"\(.*?\)"', re.DOTALL)
TO_BE_TRANSLATED = re.compile(r'\b(tr|translate|QT_TRANSLATE_NOOP)\(\s*("[^"]*",)?\s*("[^"]*"\s*)*$')
# What is stored, sent, or searched for in the log, and the Chinese halves of texts that have both.
NOT_TRANSLATED = {"中国", "中文（简体）", "英语（美国）", "打开设置", "录音", "流式连接"}


def untranslated(text):
    """Chinese literals of a source that are neither given to be translated, nor logged, nor beside their English."""
    for token in TOKEN.finditer(text):
        literal = token.group()
        before = text[:token.start()]
        statement = before[max(before.rfind(end) for end in (";", "}\n", "{\n")) + 1:]
        if (literal.startswith("//") or not CHINESE.search(literal) or literal[1:-1] in NOT_TRANSLATED
                or TO_BE_TRANSLATED.search(before[-400:]) or re.search(r"consoleLog\(|Phrase\b", statement)
                or re.search(r'[a-z][^"]*"\)?,\s*(QStringLiteral\()?("[^"]*"\s*)*$', statement)):
            continue
        yield literal


def messages(file):
    for context in ElementTree.parse(file).getroot().iter("context"):
        for message in context.iter("message"):
            yield context.findtext("name"), message.findtext("source"), message.find("translation")


class TranslationTest(unittest.TestCase):
    def test_every_chinese_text_of_a_window_is_given_to_be_translated(self):
        self.assertEqual(list(untranslated('a("b", tr("c")); setText(QStringLiteral("好"));')), ['"好"'])
        found = [f"{file.relative_to(SOURCE)}: {literal}" for folder in WINDOWS
                 for file in sorted((SOURCE / "src" / folder).glob("*.cpp"))
                 for literal in untranslated(file.read_text())]
        self.assertEqual(found, [])

    def test_every_text_has_its_english_and_no_other_is_left(self):
        with tempfile.TemporaryDirectory() as folder:
            fresh = Path(folder) / TRANSLATIONS.name
            shutil.copy(TRANSLATIONS, fresh)
            subprocess.run([LUPDATE, str(SOURCE / "src"), "-silent", "-extensions", "cpp,h", "-ts", str(fresh)], check=True)
            wrong = [(context, source) for context, source, translation in messages(fresh)
                     if translation.get("type") or not translation.text or CHINESE.search(translation.text)]
        self.assertEqual(wrong, [], "run ./dev translate, then write the English")
        for _, source, translation in messages(TRANSLATIONS):
            places = [sorted(re.findall(r"%\d", text)) for text in (source, translation.text)]
            self.assertEqual(places[0], places[1], source)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
