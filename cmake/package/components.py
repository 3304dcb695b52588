"""What others made and a package has in it: where it comes from, under which licence, and what that asks."""
import dataclasses
import json
import pathlib
import re
import shutil
import subprocess
import urllib.parse

DOCS = pathlib.Path("/usr/share/doc")
LICENCES = pathlib.Path("/usr/share/common-licenses")
# Of the distribution, whose sources are told with it.
GCC_PACKAGE = "gcc-mingw-w64-x86-64-posix-runtime"
MINGW_PACKAGE = "mingw-w64-x86-64-dev"
CLI11_PACKAGE = "libcli11-dev"
JSON_PACKAGE = "nlohmann-json3-dev"
DOXYGEN_PACKAGE = "doxygen"


@dataclasses.dataclass
class Component:
    """One part. `licence` is an SPDX expression; `files` are patterns within the package of those that are it, and what is
    only compiled into others has none; `texts` are the files of its licence, by the name they get."""
    name: str
    folder: str
    version: str
    licence: str
    purl: str
    homepage: str
    use: str
    files: list
    texts: dict

    def find_files(self, stage):
        return sorted(path for pattern in self.files for path in stage.glob(pattern))


def ask_distribution(package, field):
    return subprocess.run(["dpkg-query", "-W", f"-f=${{{field}}}", package], stdout=subprocess.PIPE, text=True,
                          check=True).stdout


def source_purl(source, version):
    return f"pkg:deb/debian/{source}@{urllib.parse.quote(version, safe='')}?arch=source"


def of_package(package):
    """The version and the source of a package that is installed."""
    source = ask_distribution(package, "source:Package"), ask_distribution(package, "source:Version")
    return {"version": ask_distribution(package, "Version"), "purl": source_purl(*source)}


def of_cache(source, folder):
    """The same of what tools/setup has built."""
    version = (folder / "version").read_text().strip()
    return {"version": version, "purl": source_purl(source, version)}


def find_components(checkout, settings):
    boost, ffmpeg = pathlib.Path(settings["boost"]), pathlib.Path(settings["ffmpeg"])
    charts = json.loads((checkout / "tests/reports/package.json").read_text())["dependencies"]["uplot"]
    return [
        Component("FFmpeg", "ffmpeg", licence="LGPL-2.1-or-later", homepage="https://ffmpeg.org",
                  use="DLLs, loaded by mediacodec.dll and audiohost.exe", **of_cache("ffmpeg", ffmpeg),
                  files=["bin/avcodec-*.dll", "bin/avformat-*.dll", "bin/avutil-*.dll", "bin/swresample-*.dll"],
                  texts={"COPYING.LGPLv2.1": ffmpeg / "COPYING.LGPLv2.1", "LICENSE.md": ffmpeg / "LICENSE.md",
                         "copyright": DOCS / "libavutil-dev/copyright",
                         "configure-flags": checkout / "tools/setup/ffmpeg-flags"}),
        Component("Boost", "boost", licence="BSL-1.0", homepage="https://www.boost.org",
                  use="DLLs, loaded by kovra.dll, rendereraudio.dll and others; its headers are compiled into all of ours",
                  **of_cache("boost1.81", boost), files=["bin/libboost_*.dll"],
                  texts={"LICENSE_1_0.txt": boost / "LICENSE_1_0.txt"}),
        Component("GCC run-time libraries", "gcc", licence="GPL-3.0-or-later WITH GCC-exception-3.1",
                  homepage="https://gcc.gnu.org", use="DLLs, loaded by all others; parts of them are linked into each",
                  **of_package(GCC_PACKAGE),
                  files=["bin/libgcc_s_seh-1.dll", "bin/libssp-0.dll", "bin/libstdc++-6.dll"],
                  texts={"copyright": DOCS / "gcc-mingw-w64-base/copyright", "GPL-3": LICENCES / "GPL-3"}),
        Component("mingw-w64", "mingw-w64", licence="ZPL-2.1 AND MIT AND BSD-3-Clause",
                  homepage="https://www.mingw-w64.org",
                  use="winpthreads as a DLL; its start-up code is linked into every binary",
                  **of_package(MINGW_PACKAGE), files=["bin/libwinpthread-1.dll"],
                  texts={"copyright": DOCS / "mingw-w64-common/copyright"}),
        Component("CLI11", "cli11", licence="BSD-3-Clause", homepage="https://github.com/CLIUtils/CLI11",
                  use="compiled into audiohost.exe", **of_package(CLI11_PACKAGE), files=[],
                  texts={"copyright": DOCS / "libcli11-dev/copyright"}),
        Component("JSON for Modern C++", "nlohmann-json", licence="MIT", homepage="https://json.nlohmann.me",
                  use="compiled into audiohost.exe", **of_package(JSON_PACKAGE), files=[],
                  texts={"copyright": DOCS / "nlohmann-json3-dev/copyright"}),
        Component("uPlot", "uplot", version=charts, licence="MIT", homepage="https://github.com/leeoniya/uPlot",
                  purl=f"pkg:npm/uplot@{charts}", use="within audiohost.exe and every report that it writes", files=[],
                  texts={"LICENSE": checkout / "third-party/uplot/LICENSE"}),
        Component("Doxygen", "doxygen", licence="MIT", homepage="https://www.doxygen.org",
                  use="has made the pages in `reference`; their scripts, jQuery among them, are of it",
                  **of_package(DOXYGEN_PACKAGE), files=["reference/*.js", "reference/search/search.js"],
                  texts={"copyright": DOCS / "doxygen/copyright"}),
    ]


HEAD = """\
# What others made

This package has in it, beside its own files:
"""
ASKED = """\
## What FFmpeg's licence asks of who passes this on

FFmpeg is under the GNU Lesser General Public License, version 2.1 or later, and is used as DLLs of its own. Nothing of it
that is under the GPL is in them, as it would be in Debian's own, of which `licenses/ffmpeg/copyright` speaks as well. Who
passes them on, alone or within a product:

1. says that the product uses FFmpeg under the LGPL 2.1, and passes its text on: `licenses/ffmpeg`;
2. lets the receiver exchange these DLLs for others of the same interface, as they can be here, and change the product for
   his own use and take it apart to find mistakes in such changes: no contract and no signature may stand against it;
3. passes on the source of just these DLLs, or offers it in writing for three years: it is Debian's source package `{source}`
   of version `{version}`, patches applied, configured with `--prefix=/ --pkg-config=false` and with what
   `licenses/ffmpeg/configure-flags` lists, by the compiler that the bill of materials names. It has one change of ours, in
   `libavformat/os_support.c`: where a wait for writing ends, `fds[i].events & POLLERR` became
   `fds[i].events & (POLLOUT | POLLERR)`. Who changes FFmpeg passes on his changes.

GCC's run-time libraries are under the GPL with an exception for programs that such a compiler made: it asks nothing of
them. The DLLs themselves are passed on with their licence, and with their source or an offer of it, as above. All other
licences here ask for their text to be passed on, and no more.

`rendereraudio.spdx.json` lists all of it for a program, with the hash of every file.
"""


def write_notices(stage, parts):
    """THIRD-PARTY.md, and a folder with each part's licence. Every file beside ours belongs to one part."""
    table = ["| | version | licence | how it is used |", "|---|---|---|---|"]
    for part in parts:
        folder = stage / "licenses" / part.folder
        folder.mkdir(parents=True)
        for name, source in part.texts.items():
            shutil.copyfile(source, folder / name)
        names = ", ".join(f"`{path.name}`" for path in part.find_files(stage))
        table.append(f"| [{part.name}]({part.homepage}) | {part.version} | {part.licence}, "
                     f"[text](licenses/{part.folder}) | {part.use}{': ' + names if names else ''} |")
    found = re.fullmatch(r"pkg:deb/debian/([^@]+)@.*", parts[0].purl)
    asked = ASKED.format(source=found.group(1), version=parts[0].version)
    (stage / "THIRD-PARTY.md").write_text("\n".join([HEAD, *table, "", asked]))
