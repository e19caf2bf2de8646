"""The figures as Prometheus reads them."""

import re
from pathlib import Path

from prometheus_client.parser import text_string_to_metric_families

from corvane import commands
from corvane.pytest_plugin import RunningManager


def test_metrics(tmp_path: Path) -> None:
    path = tmp_path / "corvane.prom"
    manager = RunningManager(tmp_path, ["--metrics", str(path)])
    manager.start()
    manager.client.perform(commands.reset("hard", "lab"))
    manager.client.perform(commands.set_operating_mode(3))
    manager.client.close()
    manager.stop()
    assert not path.exists(), "figures of a manager that is gone"

    manager.start()
    text = path.read_text()
    assert path.stat().st_mode & 0o777 == 0o644
    manager.stop()
    shown = re.sub(f'{{socket="{manager.socket}"(,|}})', "{", text)
    assert re.sub(r" [0-9.e+-]+$", "", shown, flags=re.M) == (Path(__file__).parent / "fixtures/simulated.prom").read_text()
    samples = {(sample.name, *sample.labels.values()): sample.value for family in text_string_to_metric_families(text)
               for sample in family.samples}
    for labels, value in [(("resets_total", "hard"), 1), (("resets_total", "soft"), 0), (("mode_changes_total",), 1),
                          (("operating_mode",), 1), (("boot_state", "Booting"), 1), (("boot_state", "Ready"), 0)]:
        assert samples["corvane_baseband_" + labels[0], manager.socket, *labels[1:]] == value
    assert samples["corvane_trace_bytes", manager.socket, "DIAG"] == 0 and 0 < samples["corvane_baseband_boot_seconds", manager.socket] < 60
