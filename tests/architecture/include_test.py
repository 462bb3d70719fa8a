"""Holds the layers apart where the compiler alone does not.

A layer sees other layers through include directories of its own, so <Folder/Header.h> of a layer that it may not use does not
compile. Two loopholes remain, and are closed here: a path in quotes ("../Page/X.h"), and a Qt module named in front of its
header (<QtWidgets/QWidget>), which compiles with Qt Core alone. Usage: include_test.py SOURCE_DIR BUILD_DIR CXX
"""

import re
import subprocess
import sys
import unittest
from graphlib import TopologicalSorter
from pathlib import Path

SOURCE, BUILD, CXX = Path(sys.argv[1]), Path(sys.argv[2]), sys.argv[3]
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"][^>"]+[>"])', re.MULTILINE)
LOOPHOLE = re.compile(r'".*[/\\]|<Qt[A-Z]\w*/')


def includes(path):
    """Each with its quotes or angle brackets."""
    return INCLUDE.findall(path.read_text())


def sources(*folders):
    return [path for folder in folders for path in sorted((SOURCE / folder).rglob("*")) if path.suffix in (".h", ".cpp")]


def layers():
    """name -> (folder in the tree, names of the layers it uses)"""
    table = {}
    for line in (BUILD / "layers.txt").read_text().splitlines():
        name, folder, _, uses, _ = line.split("|")
        table[name] = (SOURCE / folder, [use for use in uses.split(",") if use])
    return table


def closure(table, name):
    reached, pending = set(), [name]
    while pending:
        layer = pending.pop()
        if layer not in reached:
            reached.add(layer)
            pending += table[layer][1]
    return reached


def folder_graph(root):
    """folder -> the other folders below `root` whose headers its sources include"""
    graph = {}
    for path in sources(root):
        uses = graph.setdefault(path.parent, set())
        for name in includes(path):
            for base in (SOURCE / root, SOURCE / root / "Platform"):
                header = base / name[1:-1]
                if header.exists() and header.parent != path.parent:
                    uses.add(header.parent)
    return graph


class IncludeTest(unittest.TestCase):
    def test_folders_use_each_other_one_way(self):
        for root in ("src", "service", "recogniser"):
            graph = folder_graph(root)
            self.assertGreater(sum(map(len, graph.values())), 0, root)
            TopologicalSorter(graph).prepare()  # raises where there is a cycle, and names it

    def test_every_source_has_its_header_and_can_be_read_in_one_sitting(self):
        for path in sources("src", "service", "recogniser"):
            with self.subTest(path=str(path.relative_to(SOURCE))):
                self.assertLessEqual(path.read_text().count("\n"), 400)
                self.assertTrue(path.name == "main.cpp" or path.with_suffix(".h").exists())

    def test_every_source_of_the_application_belongs_to_a_layer_and_uses_no_loophole(self):
        folders = [folder for folder, _ in layers().values()]
        for path in sources("src"):
            with self.subTest(path=str(path.relative_to(SOURCE))):
                self.assertEqual([name for name in includes(path) if LOOPHOLE.match(name)], [])
                self.assertIn(path.parent, folders)

    def test_the_service_and_the_wire_know_no_qt(self):
        for path in sources("service", "src/Wire"):
            with self.subTest(path=str(path.relative_to(SOURCE))):
                self.assertEqual([name for name in includes(path) if re.match('["<]Q[A-Zt]', name)], [])

    def test_a_header_of_a_layer_that_is_not_used_is_not_found(self):
        table = layers()
        headers = {name: next((BUILD / "include" / name).rglob("*.h"), None) for name in table}
        headers = {name: header.relative_to(BUILD / "include" / name) for name, header in headers.items() if header}
        self.assertGreater(len(headers), 3)
        for name in table:
            allowed = closure(table, name)
            text = "".join(f"#if {'!' if other in allowed else ''}__has_include(<{header}>)\n#error {name} {other}\n#endif\n"
                           for other, header in headers.items())
            paths = [f"-I{BUILD / 'include' / layer}" for layer in allowed]
            done = subprocess.run([CXX, "-E", "-x", "c++", *paths, "-"], input=text, capture_output=True, text=True)
            self.assertEqual(done.returncode, 0, done.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
