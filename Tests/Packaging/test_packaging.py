"""What is installed, and that manual pages and completion say what the programs do."""
import json
import os
import pathlib
import re

import pytest

from programs import MANAGER, TOOL, Manager, hold, run
from terminal import Terminal

SOURCE, BUILD = pathlib.Path(os.environ["SOURCE_FOLDER"]), pathlib.Path(os.environ["BUILD_FOLDER"])
PAGES, COMPLETION = SOURCE / "Packaging/man", BUILD / "Packaging/completion"


def agree(where, written, true):
    assert written == true, f"Packaging/{where}: add {sorted(true - written)}, take out {sorted(written - true)}"


@pytest.fixture(scope="module")
def tree():
    """The commands as the tool's own help pages show them: each leaf's path with its help, and each group's with a slash behind."""
    found = {}

    def walk(path):
        status, page, errors = run(TOOL, *path.split("/")[1:-1], "help")
        # An empty line, the title, the leaves, one block a child, the built-ins.
        title, leaves, *children, builtins = [block.splitlines() for block in page.strip("\n").split("\n\n")]
        assert (status, errors) == (0, "") and title[0].startswith("Options for") and builtins[0].startswith("\tcd")
        found.update({path + line[1:19].strip(): line[19:] for line in leaves if line})
        for child in filter(None, children):
            group = f"{path}{child[0][1:19].strip()}/"
            found[group] = ""
            walk(group)

    walk("/")
    return found


@pytest.fixture(scope="module")
def table():
    """The lines of the shared completion table: a path, the words offered behind it, and its help."""
    return [(line.split(maxsplit=2) + [""])[:3] for line in (SOURCE / "Packaging/completion/commands").read_text().splitlines()]


def test_the_manual_names_the_commands_of_the_tool(tree):
    lines = re.findall(r"^\.It Ic ((?:[^A-Z\s]\S* ?)+)", (PAGES / "ryntool.1").read_text(), re.M)
    agree("man/ryntool.1, lines of .It Ic", {"/" + "/".join(line.split()) for line in lines}, {path for path in tree if not path.endswith("/")})


def test_completion_has_the_tree_of_the_tool_and_the_choices_of_its_help(tree, table):
    written = {(path, "" if path.endswith("/") else help) for path, _, help in table}
    agree("completion/commands, a path and its help", written, set(tree.items()))
    # "[npa|f3] dump power log" promises words; "[0x...]" and "[<reason>]" promise none.
    for _, offered, help in table:
        if choices := re.match(r"\[([a-z0-9|]+)\] ", help):
            assert f",{choices[1].replace('|', ',')}," in f",{offered},"


def test_the_manual_names_the_options_of_the_manager():
    described = set(re.findall(r"\bFl -([a-z-]+)", (PAGES / "Corvane.8").read_text()))
    agree("man/Corvane.8, lines of .It Fl", described, set(re.findall(r"\n  --([a-z-]+)", run(MANAGER, "--help")[1])))


def test_the_manual_names_all_that_travels():
    name = r"(Key[A-Z]\w+|[A-Z]\w+(?:Command|Notification))"
    sources = "".join(path.read_text() for path in SOURCE.glob("Manager/**/*") if path.suffix in (".cpp", ".h"))
    written = set(re.findall(rf"\b{name}\b", (PAGES / "corvane-protocol.7").read_text()))
    agree("man/corvane-protocol.7", written, set(re.findall(f'"{name}"', sources)))


def test_manual_and_completion_have_the_properties_of_the_manager():
    def accepted(said):
        if "can only be read" in said:
            return "read only"
        takes = re.search("it takes (.*)", said)[1]
        if numbers := re.match(r"a whole number from (\d+ to \d+)", takes):
            return numbers[1]
        if choices := re.match(r"(.*), or its number from (0 to (\d+))", takes):
            texts = ", ".join(re.split(", | or ", choices[1]))
            return texts if len(texts) <= 16 else choices[2]
        return "true, false" if takes.startswith("true or false") else "file name" if "plain name" in takes else takes

    with Manager() as manager:
        client = manager.client()
        settings = json.loads((client.collect() / "manager.json").read_text())["Settings"]
        rows = {f".It {trace} {name} Ta {accepted(client.set(trace, name, '/'))} Ta {value}"
                for trace, values in settings.items() for name, value in values.items()}
    agree("man/Corvane.8", set(re.findall(r"^\.It \w+ [A-Z]\w+ Ta .+ Ta .+$", (PAGES / "Corvane.8").read_text(), re.M)), rows)
    agree("completion/traces", set((SOURCE / "Packaging/completion/traces").read_text().splitlines()),
          {f"{trace} {','.join(sorted(values))}" for trace, values in settings.items()})


@pytest.mark.parametrize("shell, load", [
    (["bash", "--norc", "--noprofile", "-i"], f"source {COMPLETION}/ryntool.bash"),
    (["zsh", "-f", "-i"], f"fpath=({COMPLETION} $fpath); autoload -U compinit; compinit -u -D"),
], ids=["bash", "zsh"])
def test_the_tabulator_completes_words(tmp_path, shell, load):
    (tmp_path / "info-file").write_text("a word that no file name may complete\n")
    terminal = Terminal(*shell, TERM="dumb", HOME=str(tmp_path), INPUTRC="/dev/null")
    terminal.type(f"cd {tmp_path}; {load}")
    terminal.type("ryntool() { printf '<%s>' \"$@\"; echo .; }; echo rea''dy")
    terminal.expect("ready")
    for typed, words in [("ba\tst\tw\t", "baseband state watch"),
                         ("b\td\tr\tr\t", "baseband diagnostics run rftest"),
                         ("tr\tf\ta\tm\td\t", "trace filter add maxlog default"),
                         ("info -\tp\tdu\tn\t", "info -- power dump npa"),
                         ("trace get K\tBufferC\t", "trace get KernelPCI BufferCount"),
                         ("trace get RYN B\t", "trace get RYN B"),
                         ("rfs sync n\ti\t", "rfs sync nowait i"),
                         ("rfs h\t", "rfs help"),
                         ("info f\t", "info f"),
                         ("bogus s\t", "bogus s")]:
        terminal.type("CORVANE_SOCKET=/x ryntool " + typed)  # as for one of several managers
        terminal.expect("".join(f"<{word}>" for word in words.split()) + ".")
    terminal.type("exit")
    terminal.end()


@pytest.mark.parametrize("shell", ["bash", "zsh", "fish"])
def test_each_group_offers_what_stands_in_it(tmp_path, table, shell):
    paths = [path for path, *_ in table]
    cases = [(group.replace("/", " "), " ".join(sorted({"help"} | {path[len(group):].strip("/") for path in paths if re.fullmatch(
        re.escape(group) + "[^/]+/?", path)}))) for group in ["/"] + [path for path in paths if path.endswith("/")]]
    if shell == "fish":
        cases += [(" trace get Kernel", "KernelPCI"), (" trace get RYN ", "Enabled History KeepScratchLogs"),
                  (" trace get CoreDump ", "Enabled"),
                  (" trace set RYN History f", "false"), (" info f", ""), (" info -", "--")]
        words, line = ["fish", "--no-config"], "complete -C 'ryntool info --{}' | string replace -r '\\t.*' ''"
        script = f"source {COMPLETION}/ryntool.fish\n"
    else:
        words, line = [shell, "-s"], "__ryntool_candidates info -- {}; printf '%s\\n' \"${{candidates[@]%%:*}}\""
        script = f". {COMPLETION}/candidates.sh\n"
    for typed, _ in cases:
        script += line.format(typed) + " | LC_ALL=C sort | tr '\\n' ' '; echo\n"
    offered = run(*words, input=script, HOME=str(tmp_path), LC_ALL="C.UTF-8")[1]
    assert [line.strip() for line in offered.splitlines()] == [expected for _, expected in cases]


def test_everything_is_installed_below_the_prefix(tmp_path):
    status, output, errors = run(os.environ["CMAKE"], "--install", BUILD, "--prefix", "/opt/ryn", DESTDIR=str(tmp_path))
    assert status == 0, output + errors
    assert [path.name for path in tmp_path.iterdir()] == ["opt"]
    prefix = tmp_path / "opt/ryn"
    names = [str(path.relative_to(prefix)) for path in prefix.rglob("*") if not path.is_dir()]
    files = [pathlib.Path(re.sub(r"\.\d+\.\d+\.\d+$|(?<=-config-)(release|debug)|(?<=^lib/)[^/]+-linux-[^/]+/|"
                                 r"(?<=^lib/python3)\.\d+|-[\d.]+(?=\.dist-info)", "", name)) for name in names]
    modules = [path for path in files if path.suffix == ".py" and path.name != "__init__.py"]
    shown = "".join(f"{path}\n" for path in sorted(set(files) - set(modules)))
    hold(pathlib.Path(__file__).parent / "fixtures/installed.txt", shown)
    tool = (prefix / "bin/ryntool").read_bytes()
    for text in ("com.quorvel.Corvane", "BootBaseband", "RFSFlushInterval", "StackshotOnShutdownTimeout", "Trace::RYN::History", "Reset Baseband",
                 "/Logs/CrashReporter/Baseband/", "Passive external through software", "CSILog", "HostServer", "LogScratchPath", "LogSnapshotPath",
                 "/Logs/Corvane/", "DIAG.scratch/", "/Logs/ryn.trash/", "/tmp/Corvane.dumping", "Trace::NumberOfLogsInSnapshotPath",
                 "RFSFlushTimeout", "CoreDumpOnSoftResetTimeout"):
        assert text.encode() + b"\0" in tool, f"the linker dropped {text}"


def test_units_are_valid_and_confined(tmp_path):
    # systemd looks for the programs at the paths that the units name.
    assert run(os.environ["CMAKE"], "--install", BUILD, "--prefix", tmp_path, DESTDIR="")[0] == 0
    for folder in tmp_path.glob("lib/systemd/*"):
        for unit in folder.iterdir():
            assert run("systemd-analyze", f"--{folder.name}", "--man=no", "verify", unit, SYSTEMD_UNIT_PATH=f"{folder}:",
                       XDG_RUNTIME_DIR=str(tmp_path)) == (0, "", "")
    for service in tmp_path.glob("lib/systemd/system/*.service"):
        # Tenths of the exposure level that systemd computes, from 0 to 100.
        status, output, _ = run("systemd-analyze", "security", "--offline=true", "--threshold=6", "--no-pager", service)
        assert status == 0, output


def test_manual_pages_are_clean():
    assert run("mandoc", "-T", "lint", "-W", "warning", *PAGES.glob("*.[1-8]"))[:2] == (0, "")
