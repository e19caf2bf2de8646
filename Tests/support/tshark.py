"""Wireshark's decoder judges what is recorded."""
from programs import run

CHECKED = ["-o", "udp.check_checksum:TRUE", "-o", "ip.check_checksum:TRUE"]


def tshark(file, *fields, chosen="", cut=False):
    """The fields of each packet that `chosen` selects; the last one may be cut short when `cut`."""
    words = [word for field in fields for word in ("-e", field)] + (["-Y", chosen] if chosen else [])
    status, output, errors = run("tshark", "-n", *CHECKED, "-r", file, "-T", "fields", *words)
    assert status == 0 or cut and "cut short" in errors, errors
    return [line.split("\t") for line in output.splitlines()]


def is_sound(file):
    """None of its packets is malformed, none has a note of tshark's, and times are in order."""
    fields = "frame.time_delta", "_ws.malformed", "_ws.expert.message", "frame.protocols"
    for delta, malformed, note, protocols in tshark(file, *fields):
        assert float(delta) >= 0 and not malformed and not note and "gsmtap" in protocols
    return True
