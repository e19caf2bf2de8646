"""The example of the documentation as a reader builds it, against the installed library and a real manager."""
import os
import pathlib
import subprocess

import pytest

from programs import Manager, run
from sshd import ssh_words

SOURCE = pathlib.Path(os.environ["SOURCE_FOLDER"]) / "docs/examples/wait-ready"
CMAKE, BRIDGE = os.environ["CMAKE"], os.environ["CORVANE_BRIDGE"]


@pytest.fixture(scope="module")
def prefix(tmp_path_factory):
    folder = tmp_path_factory.mktemp("prefix")
    for component in "library", "development":
        command = [CMAKE, "--install", os.environ["BUILD_FOLDER"], "--component", component, "--prefix", folder]
        subprocess.run(command, check=True, env={**os.environ, "DESTDIR": ""}, stdout=subprocess.DEVNULL)
    return folder


def libraries(prefix):
    """The folder has the machine's name within it on a Debian that installs below /usr."""
    return next(prefix.rglob("libryn-client.so")).parent


def build_with_cmake(prefix, folder):
    subprocess.run([CMAKE, "-G", "Ninja", "-S", SOURCE, "-B", folder, f"-DCMAKE_PREFIX_PATH={prefix}"], check=True)
    subprocess.run([CMAKE, "--build", folder], check=True)
    return folder / "wait-ready"


def build_with_pkg_config(prefix, folder):
    flags = run("pkg-config", "--cflags", "--libs", "ryn-client", PKG_CONFIG_PATH=f"{libraries(prefix)}/pkgconfig")[1].split()
    warnings = ["-Wall", "-Wextra", "-Wpedantic", "-Wconversion", "-Wshadow", "-Werror"]
    subprocess.run(["c++", "-std=c++20", *warnings, SOURCE / "main.cpp", "-o", folder / "wait-ready", *flags], check=True)
    return folder / "wait-ready"


@pytest.mark.parametrize("build, ways", [(build_with_cmake, ["socket"]), (build_with_pkg_config, ["bridge", "ssh"])])
def test_example(prefix, tmp_path, build, ways):
    program = build(prefix, tmp_path)
    for way in ways:
        with Manager() as manager:
            words = {"socket": lambda: [], "bridge": lambda: [BRIDGE],
                     "ssh": lambda: [*ssh_words(tmp_path), f"CORVANE_SOCKET={manager.socket} {BRIDGE}"]}[way]()
            status, output, errors = run(program, *words, LD_LIBRARY_PATH=str(libraries(prefix)), **manager.environment)
            lines = [line for line in output.splitlines() if not line.startswith("event: ")]
            assert (status, errors, lines[2:4]) == (0, "", ["online: null", "reset: null"]), way
            assert lines[0].startswith("Corvane ") and lines[1] == 'ready: {"KeyBasebandBootState":"Ready"}', way
            assert lines[4].startswith("a mode that there isn't: There is no operating mode 99; the modes are "), way
            assert 'event: {"KeyBasebandBootState":"Resetting"}' in output, way
