"""A manager of its own for each test that asks for one, with the options that the test is marked with."""
import pytest

from programs import Manager


@pytest.fixture
def manager(request):
    mark = request.node.get_closest_marker("options")
    with Manager(*(mark.args if mark else ())) as made:
        yield made
        print(made.program.text[-10_000:])  # pytest shows it of a test that fails


def pytest_configure(config):
    config.addinivalue_line("markers", "options(*words): of the manager that the fixture `manager` starts")
