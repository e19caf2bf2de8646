"""A plug-in of pytest: a test that waits in vain fails and shows where, before ctest would end it and leave behind all that it started."""
import os
import signal

import pytest

LIMIT = 3 * int(os.environ.get("TEST_PATIENCE", 60))  # seconds, of a test with its fixtures; many a wait has a shorter one that says more


@pytest.fixture(autouse=True)
def bound(request):
    def over(*_):
        request.session.shouldfail = "the tests behind it may wait as long"
        raise TimeoutError(f"it isn't done after {LIMIT} s")

    signal.signal(signal.SIGALRM, over)
    signal.setitimer(signal.ITIMER_REAL, LIMIT, 10)  # and again: what ends the test may wait too
    yield
    signal.setitimer(signal.ITIMER_REAL, 0)
