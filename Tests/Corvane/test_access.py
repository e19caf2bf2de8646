"""Who may connect, by the kernel's credentials: other users need root, and the group's name a group file of the manager's own."""
import contextlib
import os
import pathlib
import stat

import pytest

from programs import MANAGER, Client, Manager, run, until

GROUP, OTHER_GROUP, USER, MANAGERS_USER = 4711, 4712, 65534, 65533
pytestmark = pytest.mark.skipif(os.geteuid() != 0 or run("unshare", "-m", "true")[0] != 0, reason="only root can act as other users")
SERVED, TURNED_AWAY, NOT_REACHABLE = "served", "turned away", "not reachable"


class Host(Manager):
    def __init__(self, before):
        """@param before of the manager, a shell command"""
        super().__init__()
        os.umask(0o022)
        self.folder.chmod(0o755)
        group = self.folder / "group"
        others = [line for line in pathlib.Path("/etc/group").read_text().splitlines() if not line.startswith("corvane:")]
        group.write_text("\n".join([*others, f"corvane:x:{GROUP}:\n"]))
        self.command = "unshare", "-m", "sh", "-c", f'mount --bind {group} /etc/group && {before} "$0" "$@"', MANAGER

    def seen_by(self, user, group, *more, connections=1, command="GetCorvaneInfo"):
        """What the last of so many connections of another user's process meets."""
        reader, writer = os.pipe()
        child = os.fork()
        if child == 0:
            with contextlib.suppress(BaseException):
                os.setgroups(more), os.setgid(group), os.setuid(user)
                os.write(writer, self.meet(connections, command).encode())
            os._exit(0)
        os.close(writer)
        with os.fdopen(reader) as answer:
            met = answer.read()
        os.waitpid(child, 0)
        return met

    def meet(self, connections, command):
        try:
            clients = [Client(self.socket, events=False) for _ in range(connections)]
            clients[-1].ask(command)
            return SERVED if clients[-1].receive()[1] == 1 else TURNED_AWAY
        except PermissionError:
            return NOT_REACHABLE
        except (BrokenPipeError, ConnectionResetError):
            return TURNED_AWAY


def test_root_the_own_user_and_members_of_the_group_may_connect():
    with Host("exec") as host:
        for path, mode in (host.socket, 0o660), (host.socket.parent, 0o750), (host.socket.parent / "manager.log", 0o640):
            status = path.stat()
            assert (stat.S_IMODE(status.st_mode), status.st_uid, status.st_gid) == (mode, 0, GROUP)
        assert host.seen_by(0, 0) == SERVED
        assert host.seen_by(USER, GROUP) == SERVED
        assert host.seen_by(USER, OTHER_GROUP) == NOT_REACHABLE
        assert host.seen_by(USER, GROUP, connections=64) == SERVED
        client = Client(host.socket)
        until(lambda: client.statistics(2)["Connected"] == 1, "the clients' end")
        assert host.seen_by(USER, GROUP, connections=65) == TURNED_AWAY
        host.says(f"User {USER} has 64 connections to this manager, the most that one user may have.\n")
        assert host.seen_by(0, 0, connections=100) == SERVED
        # Whoever gets past the file's mode is still refused.
        host.socket.chmod(0o666)
        host.socket.parent.chmod(0o755)
        assert host.seen_by(USER, OTHER_GROUP) == TURNED_AWAY
        assert host.seen_by(MANAGERS_USER, OTHER_GROUP, OTHER_GROUP) == TURNED_AWAY
        host.says("may not use this manager; add the user to group corvane")
        assert Client(host.socket).statistics(2)["RefusedPeers"] == 2
        # Who changed what can be told apart.
        for user in USER, MANAGERS_USER:
            assert host.seen_by(user, GROUP, command="UnblockBasebandReset") == SERVED
            host.says(f"COMMAND=UnblockBasebandResetCommand RESULT=0 CLIENT_UID={user}")


def test_members_whose_group_is_one_of_several_may_connect():
    with Host("exec") as host:
        if len({pathlib.Path(program).read_bytes()[18:20] for program in (MANAGER, "/proc/self/exe")}) > 1:  # the ELF header's machine
            pytest.skip("what remains needs a real kernel: an emulator doesn't tell which groups a peer is in")
        assert host.seen_by(USER, OTHER_GROUP, OTHER_GROUP, GROUP) == SERVED
        assert host.seen_by(USER, OTHER_GROUP, GROUP, *range(5000, 5100)) == SERVED


def test_places_are_kept_for_root():
    with Host("ulimit -n 100 && exec") as host:  # enough for 36 clients
        clients = [Client(host.socket) for _ in range(19)]
        assert all(client.is_served() for client in clients)
        assert host.seen_by(USER, GROUP) == SERVED
        clients.append(Client(host.socket))
        assert clients[-1].is_served()
        assert host.seen_by(USER, GROUP) == TURNED_AWAY
        assert host.seen_by(0, 0, connections=16) == SERVED


def test_a_users_own_manager_is_for_that_user():
    host = Host(f"exec setpriv --reuid {MANAGERS_USER} --regid {OTHER_GROUP} --clear-groups")
    for name in ("corvane", "state", "config"):
        (host.folder / name).mkdir()
        os.chown(host.folder / name, MANAGERS_USER, OTHER_GROUP)
    with host:
        host.socket.chmod(0o666)
        assert host.seen_by(MANAGERS_USER, OTHER_GROUP, connections=100) == SERVED
        assert host.seen_by(0, 0) == SERVED
        assert host.seen_by(USER, OTHER_GROUP) == TURNED_AWAY
