"""Writes résumés of every type, and what could pass for one, into a folder. Usage: make_samples.py FOLDER"""

import struct
import subprocess
import sys
import zipfile
from pathlib import Path

folder = Path(sys.argv[1])
ENGLISH = ["Jane Doe", "Senior Backend Engineer", "Moved the billing service to Kubernetes"]
CHINESE = ["张三 后端工程师", "负责订单系统的架构设计", "接口耗时降低 40%"]
WORD = 'xmlns:w="http://schemas.openxmlformats.org/wordprocessingml/2006/main"'


def paragraph(text):
    return f"<w:p><w:r><w:t>{text}</w:t></w:r></w:p>"


def docx(name, body, doctype=""):
    with zipfile.ZipFile(folder / name, "w", zipfile.ZIP_DEFLATED) as archive:
        archive.writestr("[Content_Types].xml", "<Types/>")
        archive.writestr("word/document.xml", f"{doctype}<w:document {WORD}><w:body>{body}</w:body></w:document>")


def pdf(name, lines, more=(), tail=b"", place="", pages=1):
    """Pages in Helvetica, all the same. `more` are further objects, from number 6 on, the first of which the page draws as /X, after
    what places it."""
    drawing = "BT /F 18 Tf 60 760 Td 24 TL " + " ".join(f"({line}) Tj T*" for line in lines) + " ET"
    drawing += f" {place}/X Do" if more else ""
    objects = ["<</Type/Catalog/Pages 2 0 R>>", f"<</Type/Pages/Kids[{'3 0 R ' * pages}]/Count {pages}>>",
               "<</Type/Page/Parent 2 0 R/MediaBox[0 0 595 842]/Contents 4 0 R"
               "/Resources<</Font<</F 5 0 R>>/XObject<</X 6 0 R>>>>>>",
               f"<</Length {len(drawing)}>>stream\n{drawing}\nendstream",
               "<</Type/Font/Subtype/Type1/BaseFont/Helvetica>>", *more]
    data, places = b"%PDF-1.4\n", []
    for number, text in enumerate(objects, 1):
        places.append(len(data))
        data += b"%d 0 obj\n%s\nendobj\n" % (number, text if isinstance(text, bytes) else text.encode())
    start, size = len(data), len(objects) + 1
    data += b"xref\n0 %d\n0000000000 65535 f \n" % size + b"".join(b"%010d 00000 n \n" % place for place in places)
    data += b"trailer<</Size %d/Root 1 0 R>>\nstartxref\n%d\n%%%%EOF\n" % (size, start)
    (folder / name).write_bytes(data + tail)


def form(number, drawing):
    return (f"<</Type/XObject/Subtype/Form/BBox[0 0 595 842]/Length {len(drawing)}"
            f"/Resources<</Font<</F 5 0 R>>/XObject<</X {number + 1} 0 R>>>>>>stream\n{drawing}\nendstream")


def doc(name, text):
    """A Word 97 document: a file information block and a piece table in an OLE container of 512-byte sectors."""
    body = text.replace("\n", "\r").encode("utf-16-le")
    start, stream = 0x400, 4096
    pieces = struct.pack("<BI", 2, 16) + struct.pack("<II", 0, len(body) // 2) + struct.pack("<HIH", 0, start, 0)
    block = bytearray(start)
    struct.pack_into("<HHHHHH", block, 0, 0xA5EC, 0xC1, 0, 0x804, 0, 0x1000)
    struct.pack_into("<II", block, 0x18, start, start + len(body))
    struct.pack_into("<I", block, 0x4C, len(body) // 2)
    struct.pack_into("<II", block, 0x1A2, 0, len(pieces))
    document, table = (bytes(block) + body).ljust(stream, b"\0"), pieces.ljust(stream, b"\0")
    chain = [0xFFFFFFFD, 0xFFFFFFFE] + list(range(3, 10)) + [0xFFFFFFFE] + list(range(11, 18)) + [0xFFFFFFFE]

    def entry(title, kind, child, first, size, right=0xFFFFFFFF):
        title = title.encode("utf-16-le") + b"\0\0"
        return (title.ljust(64, b"\0") + struct.pack("<HBB", len(title), kind, 1) +
                struct.pack("<III", 0xFFFFFFFF, right, child) + bytes(36) + struct.pack("<III", first, size, 0))

    head = (b"\xd0\xcf\x11\xe0\xa1\xb1\x1a\xe1" + bytes(16) + struct.pack("<HHHHH", 0x3E, 3, 0xFFFE, 9, 6) + bytes(10) +
            struct.pack("<IIIIIIIII", 1, 1, 0, 4096, 0xFFFFFFFE, 0, 0xFFFFFFFE, 0, 0)).ljust(512, b"\xff")
    directory = (entry("Root Entry", 5, 1, 0xFFFFFFFE, 0) + entry("WordDocument", 2, 0xFFFFFFFF, 2, stream, 2) +
                 entry("0Table", 2, 0xFFFFFFFF, 10, stream) + bytes(128))
    (folder / name).write_bytes(head + struct.pack("<18I", *chain).ljust(512, b"\xff") + directory + document + table)


docx("chinese.docx", "".join(map(paragraph, CHINESE)))
pdf("english.pdf", ENGLISH)
doc("chinese.doc", "\n".join(CHINESE) + "\n" + "\n".join(ENGLISH) + "\n")
for kind in ("png", "jpeg"):
    subprocess.run(["pdftoppm", "-singlefile", "-r", "150", "-" + kind, folder / "english.pdf", folder / "picture"], check=True)
(folder / "picture.jpg").rename(folder / "picture.jpeg")

# Two scanned pages.
scan = (folder / "picture.jpeg").read_bytes()
pdf("scan.pdf", [], more=[b"<</Type/XObject/Subtype/Image/Width 1240/Height 1755/ColorSpace/DeviceRGB/BitsPerComponent 8"
                          b"/Filter/DCTDecode/Length %d>>stream\n%s\nendstream" % (len(scan), scan)],
    place="595 0 0 842 0 0 cm ", pages=2)

(folder / "empty.pdf").write_bytes(b"")
(folder / "text.pdf").write_bytes(b"I call myself a PDF.\n")
(folder / "cut.docx").write_bytes((folder / "chinese.docx").read_bytes()[:300])
pdf("blank.pdf", [])
with zipfile.ZipFile(folder / "other.docx", "w") as archive:
    archive.writestr("readme.txt", "no Word document")
docx("entity.docx", paragraph("&outside;"), '<!DOCTYPE d [<!ENTITY outside SYSTEM "file:///etc/passwd">]>')
docx("bomb.docx", paragraph("A" * 1000) * 60_000)
# Forms that draw the next one twenty times each: 20 ** 9 words.
pdf("bomb.pdf", [], more=[form(6 + i, "/X Do " * 20) for i in range(9)] + [form(15, "BT /F 9 Tf (A) Tj ET")])
# A comment of 20 MB, as a scanned page would weigh.
pdf("large.pdf", ENGLISH, tail=b"%" + b"x" * 20_000_000 + b"\n")
