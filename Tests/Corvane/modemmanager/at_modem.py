"""A modem that speaks the AT commands of 3GPP TS 27.007 on an abstract Unix socket, each connection from a thread of its own.

What one command changes another shows: power, SIM lock, registration, clock.
"""
import contextlib
import itertools
import os
import socket
import threading
import time

OK, ERROR = "\r\nOK\r\n", "\r\nERROR\r\n"
SIM_ABSENT, PIN_NEEDED = "\r\n+CME ERROR: 10\r\n", "\r\n+CME ERROR: 11\r\n"
PIN = "1234"
POWER = {"AT+CFUN=1": 1, "AT+CFUN=15": 1, "AT+CFUN=4": 4, "AT+CFUN=0": 0, "AT+CPWROFF": 0, "ATZ": 1}
counter = itertools.count()  # Packaging/test-units-inside unplugs the modem with the number 0


def line(text):
    return f"\r\n{text}\r\n{OK}"


class AtModem:
    def __init__(self, imei="490154203237518", sim="READY", revision="Acme-1.2.3", mute=False):
        self.imei, self.sim, self.revision = imei, sim, revision
        self.power = 1  # of +CFUN: 1 full, 4 no radio, 0 off
        self.operator = '0,"Testnet"'
        self.mute = mute  # takes commands and says nothing
        self.instead = {}  # command: what it answers instead, or a function that returns it (None: nothing)
        self.heard = []
        # ModemManager keeps the word "abstract:" in the socket's name.
        self.port = f"abstract:corvane-test-{os.getpid()}-{next(counter)}"
        self.listener = socket.socket(socket.AF_UNIX)
        self.listener.bind("\0" + self.port)
        self.listener.listen()
        threading.Thread(target=self.serve, daemon=True).start()

    def serve(self):
        while True:
            threading.Thread(target=self.converse, args=[self.listener.accept()[0]], daemon=True).start()

    def converse(self, connection):
        with connection, contextlib.suppress(OSError):
            for line in connection.makefile(newline="\r", errors="replace"):
                self.heard.append(line.strip("\r\n"))
                connection.sendall(self.answer(self.heard[-1]).encode())

    def answer(self, command):
        if command in self.instead:
            instead = self.instead[command]
            return (instead() if callable(instead) else instead) or ""
        return "" if self.mute else self.change(command)

    def later(self, command, seconds):
        """From now on the command's own answer comes late."""
        self.instead[command] = lambda: time.sleep(seconds) or self.change(command)

    def change(self, command):
        if command == "AT+CPIN?":
            return SIM_ABSENT if self.sim == "ABSENT" else line(f"+CPIN: {self.sim}")
        if command.startswith("AT+CPIN="):
            self.sim = "READY" if PIN in command else self.sim
            return OK if PIN in command else ERROR
        if command.startswith("AT+CRSM=") or command == "AT+CIMI":
            # The SIM's elementary files; 12258 is its serial number (EF_ICCID).
            return (SIM_ABSENT if self.sim == "ABSENT"
                    else line('+CRSM: 144,0,"98010000000000000010"') if command.startswith("AT+CRSM=176,12258,")
                    else ERROR if command != "AT+CIMI" else PIN_NEEDED if self.sim != "READY" else line("001010123456789"))
        if command.startswith("AT+CSIM="):  # the PIN's retries
            return line('+CSIM: 4,"63C3"')
        if command.startswith("AT+COPS=3,"):
            self.operator = '2,"00101"' if command.endswith("2") else '0,"Testnet"'
            return OK
        if command in POWER:
            self.power = POWER[command]
            return OK
        registered = self.power == 1 and self.sim == "READY"
        known = {
            "AT+GCAP": "+GCAP: +CGSM",
            "AT+CGMI": "Acme",
            "AT+CGMM": "Modem 1",
            "AT+CGMR": self.revision,
            "AT+CGSN": self.imei,
            "AT+CFUN?": f"+CFUN: {self.power}",
            "AT+CREG?": '+CREG: 2,1,"0001","0000ABCD",7' if registered else "+CREG: 2,0",
            "AT+CGREG?": '+CGREG: 2,1,"0001","0000ABCD",7' if registered else "+CGREG: 2,0",
            "AT+COPS?": f"+COPS: 0,{self.operator},7" if registered else "+COPS: 0",
            "AT+CSQ": "+CSQ: 20,99" if registered else "+CSQ: 99,99",
            "AT+CESQ=?": "+CESQ: (0-63,99),(0-7,99),(0-96,255),(0-49,255),(0-34,255),(0-97,255)",
            "AT+CESQ": "+CESQ: 99,99,255,255,20,60" if registered else "+CESQ: 99,99,255,255,255,255",
            "AT+CCLK?": '+CCLK: "26/11/21,08:55:01+04"',
        }
        if command in known:
            return line(known[command])
        # Settings and tests of settings that mean nothing to this modem are taken, questions for their values are not.
        return ERROR if command.endswith("?") and not command.endswith("=?") else OK
