"""The figures as Prometheus reads them."""

import re
from pathlib import Path

from prometheus_client.parser import text_string_to_metric_families
from programs import until

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
    assert "metrics" not in manager.log.read_text()

    manager.start()
    text = path.read_text()
    assert path.stat().st_mode & 0o777 == 0o644
    until(lambda: path.read_text() != text, "newer figures")  # the manager's interval is 15 s
    manager.stop()
    shown = re.sub(f'{{socket="{manager.socket}"(,|}})', "{", text)
    assert re.sub(r"((boots_total|boot_seconds){) .*", r"\1", shown) == (Path(__file__).parent / "fixtures/simulated.prom").read_text()
    assert all(sample.labels["socket"] == manager.socket for family in text_string_to_metric_families(text) for sample in family.samples)
