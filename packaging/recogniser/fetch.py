#!/usr/bin/env python3
"""Brings what the recogniser needs: the library and the models of files.json, from their makers' npm packages.

Everything lies in one folder of the user's cache that is named after the list, so that a new list never meets old
files, several clones share one copy, and a clean build fetches nothing. The folder appears as a whole or not at all.

    fetch.py --folder    prints the folder
    fetch.py --missing   fails (status 1) when something has to be fetched
    fetch.py             fetches what is missing
"""
import base64
import hashlib
import json
import os
import pathlib
import platform
import re
import subprocess
import sys
import tarfile
import tempfile

LIST = pathlib.Path(__file__).with_name("files.json")
PIECES = 32_768  # of the vocabulary, with those that the model adds to it


def cache_folder():
    """Also worked out by cmake/Recogniser.cmake."""
    base = os.environ.get("XDG_CACHE_HOME") or os.path.join(os.path.expanduser("~"), ".cache")
    name = "recogniser-" + hashlib.sha256(LIST.read_bytes()).hexdigest()[:12]
    return pathlib.Path(base) / "parlowen" / name


def packages_for_this_machine():
    return [p for p in json.loads(LIST.read_text())["packages"] if p.get("machine", platform.machine()) == platform.machine()]


def has_library():
    return any(p.get("machine") for p in packages_for_this_machine())


def check(contents, algorithm, expected, name):
    found = hashlib.new(algorithm, contents)
    if expected not in (found.hexdigest(), base64.b64encode(found.digest()).decode()):
        sys.exit(f"{name}: its {algorithm} is {found.hexdigest()}, which is not the one in {LIST}")
    return contents


def download(package, folder):
    """The package's archive, checked."""
    wanted = f"{package['name']}@{package['version']}"
    print(f"Fetching {wanted}", file=sys.stderr)
    done = subprocess.run(["npm", "pack", "--silent", wanted], cwd=folder, stdout=subprocess.PIPE, check=False)
    if done.returncode != 0:
        sys.exit(f"npm could not fetch {wanted}")
    archive = folder / done.stdout.decode().split()[-1]
    check(archive.read_bytes(), "sha512", package["integrity"].removeprefix("sha512-"), wanted)
    return archive


def token_lines(vocabulary):
    """One line a token: its bytes in base64, a blank, its number. The first 32,000 are those of the LLaMA tokenizer."""
    for number, token in enumerate(vocabulary):
        plain = token.replace("\u2581", " ").encode()
        if byte := re.fullmatch(r"<0x([0-9A-F]{2})>", token):
            plain = bytes.fromhex(byte[1])
        yield base64.b64encode(plain) + f" {number}\n".encode()
    for number in range(len(vocabulary), PIECES):
        yield base64.b64encode(f"<<ST_{number - len(vocabulary)}>>".encode()) + f" {number}\n".encode()


def vocabulary_of(script):
    """The tokens in order, out of the longest base64 text that spells lines."""
    texts = sorted(re.findall(rb"[\"'`]([A-Za-z0-9+/=]{1000,})[\"'`]", script), key=len, reverse=True)
    decoded = [base64.b64decode(text) for text in texts]
    tokens = next(text for text in decoded if text.startswith(b"<unk>\n<s>\n</s>\n"))
    return tokens.decode().split("\n")


def unpack(package, archive, folder):
    with tarfile.open(archive) as tar:
        read = lambda path: tar.extractfile("package/" + path).read()
        for file in package.get("files", []):
            write(folder / file["to"], check(read(file["from"]), "sha256", file["sha256"], file["from"]))
        if made := package.get("vocabulary"):
            lines = b"".join(token_lines(vocabulary_of(read(made["from"]))))
            for path in made["to"]:
                write(folder / path, check(lines, "sha256", made["sha256"], path))


def write(path, contents):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_bytes(contents)
    path.chmod(0o644)


def fetch(folder):
    folder.parent.mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory(dir=folder.parent, prefix="fetching-") as work:
        whole = pathlib.Path(work) / "whole"
        for package in packages_for_this_machine():
            unpack(package, download(package, pathlib.Path(work)), whole)
        try:
            whole.rename(folder)
        except OSError:  # another clone was quicker
            if not folder.is_dir():
                raise


def main():
    folder = cache_folder()
    if sys.argv[1:] == ["--folder"]:
        print(folder)
    elif sys.argv[1:] == ["--missing"]:
        sys.exit(1 if has_library() and not folder.is_dir() else 0)
    elif not has_library():
        print(f"There is no recogniser for this processor ({platform.machine()}); everything else works.", file=sys.stderr)
    elif not folder.is_dir():
        fetch(folder)


if __name__ == "__main__":
    main()
