"""Holds the layers apart where the compiler alone does not.

A layer sees other layers through include directories of its own, so <Folder/Header.h> of a layer that it may not use does not
compile. Two loopholes remain, and are closed here: a path in quotes ("../Page/X.h"), and a Qt module named in front of its
header (<QtWidgets/QWidget>), which compiles with Qt Core alone. Usage: include_test.py SOURCE_DIR BUILD_DIR CXX
"""

import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SOURCE, BUILD, CXX = Path(sys.argv[1]), Path(sys.argv[2]), sys.argv[3]
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.MULTILINE)


def loopholes(text):
    """The includes of a source text that pass by the layers."""
    found = []
    for kind, name in INCLUDE.findall(text):
        if kind == '"' and ("/" in name or "\\" in name):
            found.append(name)
        if re.match(r"Qt[A-Z]\w*/", name):
            found.append(name)
    return found


def sources(folder):
    return [path for path in sorted((SOURCE / folder).rglob("*")) if path.suffix in (".h", ".cpp")]


def layers():
    """name -> (folder in the tree, folder name in includes, names of the layers it uses)"""
    table = {}
    for line in (BUILD / "layers.txt").read_text().splitlines():
        name, folder, exported, uses, _ = line.split("|")
        table[name] = (SOURCE / folder, exported, [use for use in uses.split(",") if use])
    return table


def closure(table, name):
    reached, pending = set(), [name]
    while pending:
        layer = pending.pop()
        if layer not in reached:
            reached.add(layer)
            pending += table[layer][2]
    return reached


def folder_graph(root):
    """folder -> the other folders below `root` whose headers its sources include"""
    graph = {}
    for path in sources(root):
        uses = graph.setdefault(path.parent, set())
        for _, name in INCLUDE.findall(path.read_text()):
            for base in (SOURCE / root, SOURCE / root / "Platform"):
                if (base / name).exists() and (base / name).parent != path.parent:
                    uses.add((base / name).parent)
    return graph


def cycle(graph):
    """The folders that take part in a cycle: what is left when all that uses nothing left has gone."""
    left = dict(graph)
    while free := [name for name, uses in left.items() if not uses & left.keys()]:
        for name in free:
            del left[name]
    return sorted(left)


class IncludeTest(unittest.TestCase):
    def test_folders_use_each_other_one_way(self):
        self.assertEqual(cycle({"a": {"b"}, "b": {"c"}, "c": {"b"}, "d": set()}), ["a", "b", "c"])
        for root in ("src", "service", "recogniser"):
            graph = folder_graph(root)
            self.assertGreater(sum(map(len, graph.values())), 0, root)
            self.assertEqual(cycle(graph), [], root)

    def test_every_source_has_its_header_and_can_be_read_in_one_sitting(self):
        for path in sources("src") + sources("service") + sources("recogniser"):
            with self.subTest(path=str(path.relative_to(SOURCE))):
                self.assertLessEqual(path.read_text().count("\n"), 400)
                self.assertTrue(path.name == "main.cpp" or path.with_suffix(".h").exists())

    def test_the_check_sees_both_loopholes(self):
        text = '#include "Own.h"\n#include <Foundation/Bundle.h>\n#include <QWidget>\n'
        self.assertEqual(loopholes(text), [])
        self.assertEqual(loopholes(text + '#include "../Page/View.h"\n'), ["../Page/View.h"])
        self.assertEqual(loopholes(text + "  #  include <QtWidgets/QWidget>\n"), ["QtWidgets/QWidget"])

    def test_no_source_of_the_application_uses_a_loophole(self):
        self.assertTrue(sources("src"))
        for path in sources("src"):
            with self.subTest(path=str(path.relative_to(SOURCE))):
                self.assertEqual(loopholes(path.read_text()), [])

    def test_the_service_and_the_wire_know_no_qt(self):
        for path in sources("service") + sources("src/Wire"):
            with self.subTest(path=str(path.relative_to(SOURCE))):
                names = [name for _, name in INCLUDE.findall(path.read_text())]
                self.assertEqual([name for name in names if re.match(r"Q[A-Z]", name)], [])

    def test_every_source_belongs_to_a_layer(self):
        folders = [folder for folder, _, _ in layers().values()]
        for path in sources("src"):
            with self.subTest(path=str(path.relative_to(SOURCE))):
                self.assertIn(path.parent, folders)

    def test_a_header_of_a_layer_that_is_not_used_is_not_found(self):
        table = layers()
        headers = {name: next((BUILD / "include" / name).rglob("*.h"), None) for name in table}
        headers = {name: header for name, header in headers.items() if header}
        self.assertGreater(len(headers), 3)
        for name in table:
            allowed = closure(table, name)
            text = ""
            for other, header in headers.items():
                shown = header.relative_to(BUILD / "include" / other)
                wanted = "" if other in allowed else "!"
                text += f"#if {'!' if not wanted else ''}__has_include(<{shown}>)\n#error {name} {other}\n#endif\n"
            with self.subTest(layer=name), tempfile.NamedTemporaryFile("w", suffix=".cpp") as file:
                file.write(text)
                file.flush()
                paths = [f"-I{BUILD / 'include' / layer}" for layer in allowed]
                done = subprocess.run([CXX, "-E", *paths, file.name], capture_output=True, text=True)
                self.assertEqual(done.returncode, 0, done.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
