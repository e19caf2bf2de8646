"""The pytest plug-in as a project of a user's own meets it."""

pytest_plugins = ["pytester"]

SESSION = """
    import time
    import pytest
    from corvane import Refused, commands
    from corvane.pytest_plugin import RunningManager

    def test_ready_soon(tmp_path):
        manager = RunningManager(tmp_path)
        begin = time.monotonic()
        manager.start()
        manager.client.perform(commands.info())
        assert time.monotonic() - begin < 10
        manager.stop()

    @pytest.mark.corvane("--fault", "GetBasebandTimeCommand=0xE020E106")
    def test_fault(corvane):
        with pytest.raises(Refused) as refused:
            corvane.client.perform(commands.baseband_time())
        assert refused.value.result == 0xE020E106

    @pytest.mark.corvane(scenario={"steps": [{"at": 0, "action": "fail-boot"}]})
    def test_scenario(corvane):
        with pytest.raises(Refused):
            corvane.client.perform(commands.set_operating_mode(0))
        assert corvane.client.perform(commands.boot_state()) == "Off (boot-failed)"

    def test_settings_outlive_a_restart(corvane):
        corvane.client.perform(commands.set_trace_property("DIAG", "History", "300"))
        corvane.restart()
        corvane.client.close()
        assert corvane.client.perform(commands.trace_property("DIAG", "History")) == "300"

    @pytest.mark.corvane("--no-such-option")
    def test_that_cannot_start(corvane):
        pass
"""


def test_session(pytester, monkeypatch):
    pytester.makepyfile(SESSION)
    pytester.makeconftest('pytest_plugins = ["corvane.pytest_plugin"]')
    result = pytester.runpytest("-p", "no:cacheprovider")
    result.assert_outcomes(passed=4, errors=1)
    result.stdout.fnmatch_lines(["*The manager did not start: *no-such-option*"])
