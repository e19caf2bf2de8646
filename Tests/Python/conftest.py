pytest_plugins = ["corvane.pytest_plugin"]
