"""A program on a terminal of its own, as a user has it: line editing and echo by the kernel."""
import os
import pty
import select

from programs import PATIENCE


class Terminal:
    def __init__(self, *words, **environment):
        self.child, self.descriptor = pty.fork()
        if self.child == 0:
            os.execvpe(words[0], words, os.environ | environment)
        self.shown, self.found = "", 0

    def read(self):
        assert select.select([self.descriptor], [], [], PATIENCE)[0], f"nothing came behind {self.shown!r}"
        try:
            data = os.read(self.descriptor, 65536)
        except OSError:  # the program has ended
            data = b""
        self.shown += data.decode().replace("\r", "")
        return bool(data)

    def expect(self, text):
        """Behind what was found before."""
        while (place := self.shown.find(text, self.found)) < 0:
            assert self.read(), f"{text!r} isn't in {self.shown[self.found:]!r}"
        self.found = place + len(text)

    def type(self, line):
        os.write(self.descriptor, line.encode() + b"\n")

    def end(self):
        """@return the exit status, negative for a signal"""
        while self.read():
            pass
        os.close(self.descriptor)
        return os.waitstatus_to_exitcode(os.waitpid(self.child, 0)[1])
