"""This machine as another one."""
import os
import pwd
import shutil
import subprocess

import pytest


def ssh_words(folder):
    """The words that reach this machine through a real sshd, which ssh starts for itself: no port, no service."""
    sshd = shutil.which("sshd", path="/usr/sbin:/usr/local/sbin")
    if not sshd:
        pytest.skip("openssh-server isn't installed")
    if subprocess.run([pwd.getpwuid(os.getuid()).pw_shell, "-c", "true"], stdout=subprocess.DEVNULL).returncode != 0:
        pytest.skip("this user may not log in")
    for key in ("host", "user"):
        subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", folder / key], check=True)
    if os.getuid() == 0:
        os.makedirs("/run/sshd", exist_ok=True)  # where sshd goes without privileges
    (folder / "sshd_config").write_text(
        f"HostKey {folder}/host\nAuthorizedKeysFile {folder}/user.pub\nStrictModes no\nUsePAM no\nPermitRootLogin yes\n"
    )
    proxy = f"ProxyCommand {sshd} -i -f {folder}/sshd_config"
    options = ["BatchMode=yes", "StrictHostKeyChecking=no", "UserKnownHostsFile=/dev/null", "LogLevel=ERROR", proxy]
    return ["ssh", "-F", "none", "-i", str(folder / "user"), *(word for option in options for word in ("-o", option)), "bench"]
