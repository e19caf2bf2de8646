"""The figures as Prometheus reads them."""

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
    families = {family.name: family for family in text_string_to_metric_families(text)}
    for family in families.values():
        assert family.documentation and family.type in ("counter", "gauge"), family
        assert (family.type == "counter") == (f"{family.name}_total" in text), family
    samples = [sample for family in families.values() for sample in family.samples]
    assert {sample.labels.pop("socket") for sample in samples} == {manager.socket}
    shown = {(sample.name, *sample.labels.values()): sample.value for sample in samples}
    assert shown["corvane_baseband_resets_total", "hard"] == 1
    assert shown["corvane_baseband_resets_total", "soft"] == 0
    assert shown["corvane_baseband_boots_total",] >= 1
    assert shown["corvane_baseband_mode_changes_total",] >= 1
    assert shown["corvane_trace_bytes", "DIAG"] == 0
    assert {"corvane_clients" + of for of in ("", "_watching", "_accepted_total", "_ended_total")} <= {name for name, *_ in shown}
    assert sum(value for (name, *_), value in shown.items() if name == "corvane_baseband_boot_state") == 1
    assert shown["corvane_info", "1.0.0"] == 1
