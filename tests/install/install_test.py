#!/usr/bin/env python3
"""Tests what `cmake --install` makes of a build.

    install_test.py TEST BUILD_FOLDER SOURCE_FOLDER CMAKE C_COMPILER CXX_COMPILER

TEST is the name of one of the functions below that begin with "test_", without that. Each installs into a folder of its own
and moves the result. Exit 77 when something that the test needs is not on this machine.
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
import check_transcripts  # noqa: E402

# Blanks and letters that are not ASCII, as people have them in the names of folders.
AWKWARD = "größer als nötig"
DEFAULT_PATH = "/usr/bin:/bin"
WARNINGS = "-Wall -Wextra -Wconversion -Wshadow -Werror"


class Installation:
    def __init__(self, arguments, scratch, name):
        build, source, self.cmake, self.c_compiler, self.cxx_compiler = arguments
        self.build = pathlib.Path(build)
        self.source = pathlib.Path(source)
        self.scratch = scratch
        first = scratch / "first place"
        run([self.cmake, "--install", self.build, "--prefix", first])
        self.prefix = scratch / name
        first.rename(self.prefix)
        self.program = self.prefix / "bin/qorstat"
        self.module = self.prefix / "lib/qorstat/OndreQORHIDStatistics.so"
        self.examples = self.prefix / "share/doc/qorstat/examples"

    def qorstat(self, *arguments, code=0):
        """Runs the program with nothing in its environment that could lead it to its libraries. @return its output."""
        environment = {"PATH": DEFAULT_PATH, "HOME": str(self.scratch), "XDG_RUNTIME_DIR": str(self.scratch)}
        return run([self.program, *arguments], code=code, env=environment)

    def lines(self, dump):
        return self.qorstat("decode", dump, "--format", "text")


def run(command, code=0, **options):
    ended = subprocess.run(
        list(map(str, command)), stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False, **options
    )
    if ended.returncode != code:
        sys.exit(f"{command}: exit code {ended.returncode}, expected {code}\n{ended.stdout}")
    return ended.stdout


def expect(condition, what):
    if not condition:
        sys.exit(what)


def test_ProgramRunsFromWhereItWasPut(installation):
    captures = installation.scratch / "captures"
    installation.qorstat("capture", installation.examples / "phone.toml", "--kind", "fault", "-o", captures)
    records = sorted(captures.glob("*.qorstate"))
    expect(len(records) == 104, f"{len(records)} records")
    shown = installation.qorstat("show", next(record for record in records if "Profile 0 ;count=32 ;type=fw" in record.name))
    expect("'binary-data':[" in shown, shown)

    # The same line as from the build.
    dump = installation.examples / "reports/drvx.bin"
    expect(installation.lines(dump) == run([installation.build / "bin/qorstat", "decode", dump, "--format", "text"]), "lines")


def test_ProgramFindsTheLibrariesThatItLoadsLater(installation):
    log = installation.scratch / "run.log"
    run_small = ["run", installation.examples / "phone.toml", "--for", "0", "--store", ":memory:", "--log", log]
    expect("metrics at http://" in installation.qorstat(*run_small, "--listen", "0"), "no metrics")
    expect(log.exists(), "no log")

    library = installation.prefix / "lib/qorstat/libqorlog.so"
    library.unlink()
    message = installation.qorstat(*run_small, code=1)
    expect(f"{library}: this part of the program cannot be loaded" in message, message)


def test_ProgramFindsItsModuleAndTakesAnother(installation):
    phone = installation.examples / "phone.toml"
    other = installation.scratch / "other module.so"
    shutil.move(installation.module, other)
    capture = ["capture", phone, "--kind", "fault", "-o", installation.scratch / "captures"]
    expect(f"{installation.module}: " in installation.qorstat(*capture, code=1), "does not look for its module there")
    expect("104 records" in installation.qorstat(*capture, "--plugin", other), "does not take the other module")
    expect("1 passed" in installation.qorstat("validate", other, "--only", "^open$"), "the module is not valid")


def test_VersionNamesTheCommitAndTheInstalledModule(installation):
    lines = installation.qorstat("--version").splitlines()
    expect(lines[0] == "qorstat 0.1.0" and lines[3] == f"module {installation.module}", lines)
    commit = lines[1].removeprefix("commit ")
    if (installation.source / ".git").exists():
        run(["git", "-C", installation.source, "cat-file", "-e", f"{commit}^{{commit}}"])

    installation.module.unlink()
    lines = installation.qorstat("--version").splitlines()
    expect(lines[3] == f"module {installation.module} (missing)", lines)


def test_CompletionsAndManualPagesAreInstalled(installation):
    share = installation.prefix / "share"
    for file in ("bash-completion/completions/qorstat", "zsh/vendor-completions/_qorstat", "fish/vendor_completions.d/qorstat.fish"):
        expect("validate" in (share / file).read_text(encoding="utf-8"), f"{file} does not know the verbs")
    if shutil.which("help2man") and shutil.which("man"):
        environment = {"PATH": DEFAULT_PATH, "MANPATH": str(share / "man"), "LC_ALL": "C.UTF-8"}
        expect("qorstat-decode - " in run(["man", "qorstat-decode"], env=environment), "no manual page")


def test_NoFileNamesAPlaceOfTheBuild(installation):
    places = [str(place).encode() for place in (installation.build, installation.scratch)]
    texts = [*installation.prefix.glob("lib/cmake/*/*"), *installation.prefix.glob("lib/pkgconfig/*")]
    expect(len(texts) == 5, texts)
    for file in texts:
        content = file.read_bytes()
        expect(not any(place in content for place in places), f"{file} names a place of the build")
    for file in [installation.program, *installation.prefix.glob("lib/**/*.so*")]:
        paths = re.findall(r"\((?:RUNPATH|RPATH)\).*\[(.*)\]", run(["readelf", "--wide", "--dynamic", file]))
        expect(all(path.startswith("$ORIGIN/") for path in paths), f"{file}: {paths}")


def test_LibrariesHaveTheirVersionsInTheirNames(installation):
    for name in ("libqordecoder", "libqorplatform"):
        library = installation.prefix / "lib" / f"{name}.so"
        expect(os.readlink(library) == f"{name}.so.1", f"{library} leads to {os.readlink(library)}")
        expect(re.fullmatch(rf"{name}\.so\.1\.\d+\.\d+", library.resolve().name), library.resolve())
        expect(f"[{name}.so.1]" in run(["readelf", "--wide", "--dynamic", library]), f"{library}: another SONAME")


def test_HeadersCompileByThemselves(installation):
    include = installation.prefix / "include"
    headers = sorted(include.rglob("*.h"))
    expect(len(headers) >= 15, headers)
    for header in headers:
        name = header.relative_to(include)
        name = name.relative_to("qorstat") if name.parts[0] == "qorstat" else name
        folders = [f"-I{include}", f"-I{include / 'qorstat'}"]
        for compiler in (
            [installation.c_compiler, "-std=c11", "-x", "c"],
            [installation.cxx_compiler, "-std=c++20", "-x", "c++"],
        ):
            if header.name == "Owned.h" and "c" in compiler:
                continue  # for C++ alone
            command = [*compiler, *WARNINGS.split(), "-fsyntax-only", *folders, "-"]
            run(command, input=f'#include "{name}"\nint main(void) {{ return 0; }}\n')


def expect_examples_work(installation, describe, **options):
    dump = installation.examples / "reports/fw.bin"
    expect(run([describe, dump], **options) == installation.lines(dump), "describe prints other lines than decode")
    with_boot_time = run([describe, dump, "1759992798520000"], **options)
    expect(with_boot_time.splitlines()[-1].endswith(", 'boot-timestamp':1759992798520000}"), with_boot_time)
    cut = installation.scratch / "cut.bin"
    cut.write_bytes(dump.read_bytes()[:100])
    expect("ends with 4 bytes of a report\n" in run([describe, cut], code=1, **options), "a cut report is no error")


def test_AProjectFindsTheDecoderByCMake(installation):
    build = installation.scratch / "a build"
    configure = [
        *(installation.cmake, "-S", installation.examples / "library", "-B", build),
        *(f"-DCMAKE_C_COMPILER={installation.c_compiler}", f"-DCMAKE_CXX_COMPILER={installation.cxx_compiler}"),
        *(f"-DCMAKE_C_FLAGS={WARNINGS}", f"-DCMAKE_CXX_FLAGS={WARNINGS}"),
    ]
    run([*configure, f"-DCMAKE_PREFIX_PATH={installation.prefix}"])
    run([installation.cmake, "--build", build])
    expect_examples_work(installation, build / "describe")
    fields = run([build / "fields", installation.examples / "reports/fw.bin", "0"])
    expect(re.search(r"^sensorinfo +name +35  accel$", fields, re.M), fields)
    expect(re.search(r"^header +category-id +3  2 \(sensor\)$", fields, re.M), fields)


HOST = """
#include <stdio.h>

#include "platform/TvValues.h"
#include "plugin/OndreQORHIDStatisticsInterface.h"

int main(void) {
    TvStringRef text = TvStringCreateWithBytes("it works", 8, kTvStringEncodingUTF8);
    printf("%s: %s\\n", TvStringGetCString(text), kOndreQORHIDStatisticsFactoryName);
    TvRelease(text);
    return 0;
}
"""

HOST_PROJECT = """
cmake_minimum_required(VERSION 3.25)
project(host LANGUAGES C)
find_package(qorstat REQUIRED)
if(NOT EXISTS "${qorstat_MODULE}")
  message(FATAL_ERROR "no module at ${qorstat_MODULE}")
endif()
add_executable(host host.c)
target_link_libraries(host PRIVATE qorstat::platform)
"""


def test_AProjectFindsThePlatformByCMake(installation):
    project = installation.scratch / "host"
    project.mkdir()
    (project / "host.c").write_text(HOST)
    (project / "CMakeLists.txt").write_text(HOST_PROJECT)
    build = project / "build"
    run(
        [installation.cmake, "-S", project, "-B", build, f"-DCMAKE_PREFIX_PATH={installation.prefix}"]
        + [f"-DCMAKE_C_COMPILER={installation.c_compiler}"]
    )
    run([installation.cmake, "--build", build])
    expect(run([build / "host"]) == "it works: OndreQORHIDStatisticsFactory\n", "another text")


MODULE = """
#include <stddef.h>

#include "platform/TvValues.h"
#include "plugin/OndreQORHIDStatisticsInterface.h"

void *OndreQORHIDStatisticsFactory(RvAllocatorRef allocator, RvUUIDRef type) {
    (void)allocator;
    (void)type;
    return (void *)TvRetain(NULL);
}
"""

PORT_PROJECT = """
cmake_minimum_required(VERSION 3.25)
project(port LANGUAGES C CXX)
find_package(qorstat REQUIRED)
add_library(platform SHARED port.c)
target_link_libraries(platform PRIVATE qorstat::platform_headers)
set_target_properties(platform PROPERTIES OUTPUT_NAME qorplatform SOVERSION 1)
add_library(module MODULE module.c)
target_link_libraries(module PRIVATE qorstat::platform_headers platform)
qorstat_add_contract_tests(port_contract PLATFORM platform TESTS status kernel)
qorstat_add_contract_tests(own_contract PLATFORM qorstat::platform TESTS status)
"""


def test_AProjectHoldsAPlatformOfItsOwnToTheContract(installation):
    project = installation.scratch / "port"
    project.mkdir()
    shutil.copy(installation.examples / "port/port.c", project)
    (project / "module.c").write_text(MODULE)
    (project / "CMakeLists.txt").write_text(PORT_PROJECT)
    build = project / "build"
    run(
        [installation.cmake, "-S", project, "-B", build, f"-DCMAKE_PREFIX_PATH={installation.prefix}"]
        + [f"-DCMAKE_C_COMPILER={installation.c_compiler}", f"-DCMAKE_CXX_COMPILER={installation.cxx_compiler}"]
    )
    run([installation.cmake, "--build", build])
    library = build / "libqorplatform.so.1"

    # The skeleton keeps the promises about null and none of the others.
    results = run([build / "port_contract"], code=1)
    expect("[       OK ] KernelContract.NullOutputIsAFailureThatTouchesNothing" in results, results)
    expect("[  FAILED  ] StatusContract.EveryNamedFailureHasAnAsciiText" in results, results)
    expect("[  PASSED  ] 4 tests." in run([build / "own_contract"]), "the library of the installation breaks the contract")

    expect(f"libqorplatform.so.1 => {library} (" in run(["ldd", build / "libmodule.so"]), "the module is linked with another library")
    validate = ["validate", build / "libmodule.so", "--only"]
    message = installation.qorstat(*validate, "^platform$")
    expect(f"was linked with {library} (" in message and message.endswith(" 1 warning\n"), message)
    expect("1 failed" in installation.qorstat(*validate, "^factory-type$", "--platform", library, code=1), "the factory works")
    lacking = [installation.examples / "port/missing-operations", library, installation.prefix / "share/qorstat/platform_imports.txt"]
    expect(run(lacking) == "", "the skeleton lacks operations")


def test_AProgramFindsTheDecoderByPkgConfig(installation):
    environment = {**os.environ, "PKG_CONFIG_PATH": str(installation.prefix / "lib/pkgconfig")}
    environment["LD_LIBRARY_PATH"] = str(installation.prefix / "lib")
    # The shell removes the backslashes before the blanks of the prefix.
    command = f'eval "$1 -std=c11 {WARNINGS} \\"\\$2\\" $(pkg-config --cflags --libs qordecoder) -o \\"\\$3\\""'
    describe = installation.scratch / "describe it"
    source = installation.examples / "library/describe.c"
    run(["sh", "-c", command, "sh", installation.c_compiler, source, describe], env=environment)
    expect_examples_work(installation, describe, env=environment)


def check_page(installation, wanted):
    """Runs the transcripts of the sections of docs/library.md whose heading `wanted` takes."""
    prefix = installation.prefix
    os.environ["PKG_CONFIG_PATH"] = str(prefix / "lib/pkgconfig")
    os.environ["CMAKE_PREFIX_PATH"] = str(prefix)
    os.environ["LD_LIBRARY_PATH"] = str(prefix / "lib")
    sections = re.split(r"^(?=## )", (installation.source / "docs/library.md").read_text(encoding="utf-8"), flags=re.M)
    page = installation.scratch / "library.md"
    page.write_text("".join(section for section in sections if wanted(section)), encoding="utf-8")
    expect(check_transcripts.check(page, installation.source, prefix / "bin"), "the page says something else")


def test_LibraryPageShowsWhatItsExamplesPrint(installation):
    check_page(installation, lambda section: not section.startswith("## numpy"))


def test_LibraryPageReadsADumpWithNumpy(installation):
    probe = ["-c", "import numpy"]
    if subprocess.run(["/usr/bin/python3", *probe], stderr=subprocess.DEVNULL, check=False).returncode == 0:
        os.environ["PATH"] = f"/usr/bin:{os.environ['PATH']}"
    elif subprocess.run(["python3", *probe], stderr=subprocess.DEVNULL, check=False).returncode != 0:
        sys.exit(77)
    check_page(installation, lambda section: section.startswith(("## Python", "## numpy")))


def main(test, *arguments):
    function = globals()[f"test_{test}"]
    # The page shows a place that compilers are told of by default.
    name = "prefix" if "Page" in test else AWKWARD
    with tempfile.TemporaryDirectory() as scratch:
        function(Installation(arguments, pathlib.Path(scratch).resolve(), name))
    return 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
