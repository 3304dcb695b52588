#!/usr/bin/python3 -B
"""makepackage.py STAGE NAME SETTINGS: makes NAME.zip and NAME-debug.zip of the tree STAGE that cpack has installed. In the
first are stripped binaries, the reference of all public headers, the licences of what others made and a bill of
materials; in the second, to be extracted over it, the binaries' debug information. STAGE is changed on the way; SETTINGS is what CMake tells of the build.

The same tree gives the same bytes: files are sorted, and dated with SOURCE_DATE_EPOCH or the commit.
"""
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import time
import zipfile

import bill
import components

CHECKOUT = pathlib.Path(__file__).resolve().parents[2]
# No zip knows an earlier one.
FIRST_ZIP_DATE_SECONDS = 315532800
CODE = re.compile(r"(```.*?```|`[^`\n]*`)", re.S)
LINK = re.compile(r"(?<!!)\[([^\]]+)\]\(([^)\s]+)\)")


def run(*command):
    return subprocess.run([str(part) for part in command], stdout=subprocess.PIPE, text=True, check=True).stdout


def find_date():
    """In seconds of the epoch. What is built without a repository has no date of its own."""
    told = os.environ.get("SOURCE_DATE_EPOCH")
    if told is None:
        found = subprocess.run(["git", "-C", CHECKOUT, "log", "-1", "--format=%ct"], stdout=subprocess.PIPE,
                               stderr=subprocess.DEVNULL, text=True, check=False)
        told = found.stdout.strip() or "0"
    return max(int(told), FIRST_ZIP_DATE_SECONDS)


def separate_debug(stage, debug, settings):
    """Leaves in each binary where its debug information is: in a file of its name beside it."""
    (debug / "bin").mkdir(parents=True)
    for binary in sorted((stage / "bin").iterdir()):
        if ".debug_info" in run(settings["objdump"], "-h", binary):
            apart = debug / "bin" / f"{binary.name}.debug"
            run(settings["objcopy"], "--only-keep-debug", binary, apart)
            run(settings["strip"], binary)
            run(settings["objcopy"], f"--add-gnu-debuglink={apart}", binary)
        else:
            run(settings["strip"], binary)


def has_title(page, anchor):
    """As a web page of it would have one."""
    titles = re.findall(r"^#+ (.*)$", page.read_text(), re.M)
    return anchor in (re.sub(r"[^\w -]", "", title.lower()).replace(" ", "-") for title in titles)


def unlink_absent(page, text, stage):
    """A link of the documentation to what only the source tree has becomes its words; its README.md is another page."""
    def keep(found):
        target, _, anchor = found.group(2).partition("#")
        place = (page.parent / target).resolve()
        there = "://" in target or place.is_relative_to(stage) and place.exists()
        if there and anchor and place == stage / "README.md":
            there = has_title(place, anchor)
        return found.group(0) if there else found.group(1)

    parts = CODE.split(text)
    return "".join(part if number % 2 else LINK.sub(keep, part) for number, part in enumerate(parts))


def write_zip(tree, target, date_seconds):
    date = time.gmtime(date_seconds)[:6]
    files = sorted(path for path in tree.rglob("*") if path.is_file())
    with zipfile.ZipFile(target, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as archive:
        for path in files:
            # All in one folder, of the zip's name but for what kind it is.
            name = f"{target.stem.removesuffix('-debug')}/{path.relative_to(tree)}"
            entry = zipfile.ZipInfo(name, date)
            entry.compress_type = zipfile.ZIP_DEFLATED
            entry.create_system = 3
            entry.external_attr = (0o100755 if path.suffix in (".dll", ".exe") else 0o100644) << 16
            archive.writestr(entry, path.read_bytes())


def main():
    stage, name, settings = map(pathlib.Path, sys.argv[1:])
    stage = stage.resolve()
    debug = stage.with_name(f"{stage.name}-debug")
    shutil.rmtree(debug, ignore_errors=True)
    settings = json.loads(settings.read_text())
    date_seconds = find_date()
    # What changes a binary dates it.
    os.environ["SOURCE_DATE_EPOCH"] = str(date_seconds)
    separate_debug(stage, debug, settings)
    for page in (stage / "docs").rglob("*.md"):
        page.write_text(unlink_absent(page, page.read_text(), stage))
    run(CHECKOUT / "tools/reference", stage / "reference")
    parts = components.find_components(CHECKOUT, settings)
    components.write_notices(stage, parts)
    bill.write_bill(stage, settings["version"], parts, date_seconds)
    write_zip(stage, name.with_name(f"{name.name}.zip"), date_seconds)
    write_zip(debug, name.with_name(f"{name.name}-debug.zip"), date_seconds)


main()
