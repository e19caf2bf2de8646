"""How the manager starts: its options, what it finds on disk, and what it leaves there."""
import contextlib
import json
import os
import pathlib
import signal
import socket
import sqlite3

import pytest

from programs import MANAGER, Client, Manager, Program, expanded, hold_table, run

FIXTURES = pathlib.Path(__file__).parent / "fixtures"


def is_refused(status, sentence, *options, **environment):
    """The manager ends with one sentence on standard error and nothing else."""
    ended, output, errors = run(MANAGER, *options, **environment)
    assert (ended, output) == (status, "")
    assert errors.startswith("Corvane: ") and sentence in errors and errors.index("\n") == len(errors) - 1


def test_what_is_wrong_is_said_with_its_status(tmp_path):
    (tmp_path / "file").write_text("not a socket")
    for name in ("fifo", "log", "link"):
        (tmp_path / name).mkdir()
    os.mkfifo(tmp_path / "fifo/settings.db")
    os.mkfifo(tmp_path / "log/settings.db-wal")
    (tmp_path / "link/settings.db").symlink_to(tmp_path / "elsewhere.db")
    other = socket.socket(socket.AF_UNIX)
    other.bind(str(tmp_path / "other"))
    other.listen()
    (tmp_path / "linked.lock").symlink_to(tmp_path / "elsewhere")
    at = ["--socket", tmp_path / "s", "--state"]

    def start(line):
        """With options, behind which the content of FILE may stand, in pieces."""
        words, _, content = line.replace("FOLDER", str(tmp_path)).partition(" FILE: ")
        (tmp_path / "FILE").write_text("".join(json.loads(content or "[]", object_hook=expanded)))
        status, output, errors = run(MANAGER, *words.split(), XDG_CONFIG_HOME=str(tmp_path / "config"))
        assert bool(output) != bool(status) == errors.startswith("Corvane: ") == errors.count("\n")
        return f"{status} {output}{errors}".replace(str(tmp_path), "FOLDER").strip()

    hold_table("starts.txt", start)
    is_refused(1, "can't open the settings in /proc/self/settings.db", *at, "/proc/self")
    assert (tmp_path / "file").read_text() == "not a socket"
    new = tmp_path / "new/settings.db"
    for limit, refusal in [("n 10", "can't serve clients with at most 10 open files; allow more than 64 (ulimit -n)\n"),
                           ("f 0", f"can't open the settings in {new}: ")]:
        # The thread sanitizer writes a file before the manager begins.
        status, _, errors = run("sh", "-c", f'trap "" XFSZ; ulimit -{limit}; exec "$0" "$@"', MANAGER, *at, new.parent)
        assert status == 1 and errors.startswith("Corvane: " + refusal)
    assert new.parent.exists() and not new.exists()


def test_a_second_manager_is_refused_and_the_first_goes_on(manager):
    other = manager.folder / "other"
    is_refused(1, f"another manager listens on {manager.socket} already; stop it or name another socket with --socket\n",
               "--socket", manager.socket, "--state", other)
    is_refused(1, "another manager uses them; name another folder with --state\n", "--socket", other, "--state", manager.state)
    assert manager.client().is_served()
    # What was killed leaves its socket, which the next one replaces; what was stopped leaves none, and another's file alone.
    manager.stop(signal.SIGKILL)
    assert manager.socket.exists()
    manager.start()
    assert manager.client().is_served()
    manager.stop()
    assert not manager.socket.exists()
    manager.start()
    manager.socket.unlink()
    manager.socket.write_text("another's")
    manager.stop()
    assert manager.socket.exists()


@pytest.mark.parametrize("option, line", [
    ("--verbose", "listening on "),
    ("--metrics=/proc/nowhere/prom", "Corvane: the metrics can't be written to /proc/nowhere/prom: No such file or directory\n"),
    ("--record=/dev/full", "Corvane: the recording ends here: No space left on device\n"),
    ("--trace-requests", 'rig #1 > GetTEMSPropertyCommand null\nCorvane: rig #1 < 0 {"KeyTEMSMode":"OFF"}\n'),
])
def test_the_options_say_what_is_logged(option, line):
    for options in [option], []:
        with Manager(*options) as manager:
            assert manager.client(events=False).do("GetTEMSProperty")
            assert line in manager.stop() if options else manager.stop() == "Corvane: backend: simulated\nCorvane: ready\nCorvane: stopped\n"


def sql(statements):
    def change(database):
        with sqlite3.connect(database) as store:
            store.executescript(statements)
        store.close()
    return change


def bytes_of(change):
    return lambda database: database.write_bytes(change(database.read_bytes()))


def test_damage_is_found_said_and_served(manager):
    not_the_settings = "its table is not the settings'"
    manager.client().set("DIAG", "History", "17")
    manager.stop()
    database = manager.state / "settings.db"
    sound = database.read_bytes()
    for change, said, history in [
        (bytes_of(lambda _: b"this is no database"), "were damaged (file is not a database)", "256"),
        (bytes_of(lambda _: b""), "were damaged (the file is empty)", "256"),
        (bytes_of(lambda data: data[:1536]), "were damaged (database disk image is malformed)", "256"),
        (bytes_of(lambda data: data[:-1024] + 1024 * b"\xa5"), "were damaged", "256"),
        (bytes_of(lambda data: data.replace(b"value BLOB", b"valuf BLOB")), not_the_settings, "256"),
        (bytes_of(lambda data: data[:18] + b"\x03" + data[19:]), "attempt to write a readonly database", "256"),
        (sql("DROP TABLE setting; CREATE TABLE setting(area, name, value)"), not_the_settings, "256"),
        (sql("CREATE TRIGGER t AFTER INSERT ON setting BEGIN DELETE FROM setting; END"), not_the_settings, "256"),
        (sql("PRAGMA user_version=3"), "version number of the settings was damaged (3)", "17"),
        (sql("PRAGMA user_version=0"), "version number of the settings was damaged (0)", "17"),
        (sql("UPDATE setting SET value = '2049' WHERE name = 'DIAG/History'"), "the stored DIAG History is '2049'", "256"),
        (sql("INSERT INTO setting VALUES('filter', 'FreeSpacePercentage', '101')"), "FreeSpacePercentage is '101'", "17"),
        (sql("INSERT INTO setting VALUES('filter', 'MaxLogLimit', 'many')"), "MaxLogLimit is 'many'", "17"),
        (sql("INSERT INTO setting VALUES('erasure', 'under way', 'preferences')"), "finishing an erasure during which the manager ended", "256"),
    ]:
        database.write_bytes(sound)
        change(database)
        damaged = database.read_bytes()
        manager.start()
        manager.says(said)
        client = manager.client()
        assert client.get("DIAG", "History") == history
        assert client.do("GetTraceFilters") == {"FreeSpacePercentage": 1, "MaxLogLimit": 20}
        assert client.set("DIAG", "History", "18") is None
        manager.stop()
        if "were damaged" in said:
            asides = list(manager.state.glob("settings.db.damaged-*"))
            assert max(asides, key=lambda aside: int(aside.name.split("-")[1])).read_bytes() == damaged
        manager.start()
        assert "settings" not in manager.stop(), "said again"


# Frames from the damage on, and the byte of the log's header that is damaged instead of the first of them: its page size or its sum.
@pytest.mark.parametrize("page, frames, place, kept, said", [
    (1024, 1, None, "19", "incomplete and dropped: the last change, which was under way when the manager ended"),
    (1024, 3, None, "17", "damaged and dropped: the last 3 changes are lost"),
    (1024, 4, 24, "256", "damaged and dropped: the last 4 changes are lost"),
    (4096, 4, 8, "256", "damaged and dropped: the last 4 changes are lost"),
])
def test_what_a_damaged_log_of_the_settings_has_lost_is_said(manager, page, frames, place, kept, said):
    manager.stop()
    sql(f"PRAGMA journal_mode = DELETE; PRAGMA page_size = {page}; VACUUM; PRAGMA journal_mode = WAL")(manager.state / "settings.db")
    manager.start()
    for value in ("17", "18", "19", "20"):
        manager.client().set("DIAG", "History", value)
    manager.stop(signal.SIGKILL)
    log, frame = manager.state / "settings.db-wal", 24 + page
    content = bytearray(log.read_bytes())
    assert len(content) == 32 + 4 * frame
    content[place or len(content) - (frames - 1) * frame - 1] ^= 1
    log.write_bytes(content)
    manager.start()
    manager.says(f"{frames} pages of the log of the settings in {manager.state}/settings.db are {said}\n")
    assert manager.client().get("DIAG", "History") == kept


def test_what_an_earlier_use_left_in_the_log_of_the_settings_is_no_damage(manager):
    client = manager.client()
    for number in range(40):  # after 32 of them the log begins anew, in front of the rest of the old one
        assert client.set("DIAG", "History", str(17 + number % 2)) is None
    manager.stop(signal.SIGKILL)
    manager.start()
    assert manager.client().get("DIAG", "History") == "18"
    assert "log of the settings" not in manager.stop()


def test_what_the_first_version_stored_is_read(manager):
    manager.stop()
    database = manager.state / "settings.db"
    database.unlink()
    sql((FIXTURES / "settings-1.0.0.sql").read_text())(database)
    stored = {}
    with contextlib.closing(sqlite3.connect(database)) as store:
        for area, name, value in store.execute("SELECT * FROM setting"):
            stored.setdefault(area, {})[name] = value
    settings, baseband = stored["trace"], stored["baseband"]
    manager.start()
    client = manager.ready()
    assert {name: client.get(*name.split("/")) for name in settings} == settings
    assert client.do("GetTraceFilters") == {"FreeSpacePercentage": 33}
    figures = json.loads(baseband["baseband.statistics"]) | {name: int(value) for name, value in stored["statistics"].items()}
    shown = client.statistics()
    assert figures.items() - shown.items() == {("Boots", 4), ("LastBootMilliseconds", 9999)}
    assert shown.keys() - figures.keys() == {"Registration", "SIM"}  # a count that has another name now would stand here too
    woken = json.loads(baseband["baseband.wake"]).values()
    assert set(woken) <= set(client.do("GetBasebandWakeReason").values())
    client.do("RemoveTraceFilter", TraceFilterName="FreeSpacePercentage")
    folder = client.collect()
    nv_data = json.loads((folder / "baseband.json").read_text())["NVData"]
    assert nv_data | json.loads(baseband["baseband.nv"]) == nv_data
    for file, name in ("rf-self-test.json", "selftest"), ("power-log-npa.txt", "powerlog.npa"), ("power-log-f3.txt", "powerlog.f3"):
        text = (folder / file).read_text()
        assert baseband[f"baseband.{name}"] in text and "power log, disabled" not in text
    assert client.mode() == 6


def test_a_database_of_a_later_version_is_left_as_it_is(manager):
    manager.stop()
    manager.state = manager.state.rename(manager.folder / "100% #1?")
    database = manager.state / "settings.db"
    sql("PRAGMA user_version=2; CREATE TABLE more(text)")(database)
    before = database.read_bytes()
    is_refused(1, "are of version 2, this manager knows versions up to 1: install the newer manager or name another folder with "
               "--state\n", "--socket", manager.socket, "--state", manager.state)
    assert database.read_bytes() == before
    assert not (manager.state / "settings.db-wal").exists()


def test_a_socket_that_is_handed_over_is_taken(tmp_path):
    """As systemd starts a service with a socket, sd_listen_fds(3)."""
    path, unused = tmp_path / "handed", tmp_path / "unused"
    words = ["sh", "-c", 'LISTEN_FDS=1 LISTEN_PID=$$ exec "$@" 3<&0', "sh", MANAGER, "--socket", unused, "--state", tmp_path / "state"]
    not_one = "systemd handed over what is not one listening socket of the kind ListenSequentialPacket="
    assert run(*words, XDG_CONFIG_HOME=str(tmp_path)) == (1, "", f"Corvane: {not_one}\n")
    with socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET) as listener:
        listener.bind(str(path))
        listener.listen(16)
        client = Client(path)  # comes before the manager does
        manager = Program(*words, stdin=listener, XDG_CONFIG_HOME=str(tmp_path))
    assert client.is_served()
    assert not unused.exists()
    assert manager.end() == 0
    assert path.exists()
