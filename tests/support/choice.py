"""The option --only of pytest, as tools/test hands it on. For conftest.py to import."""
import re


def pytest_addoption(parser):
    parser.addoption("--only", default="", help="regular expression that a test's name must match")


def pytest_collection_modifyitems(config, items):
    only = config.getoption("--only")
    if only:
        keep(config, items, lambda item: re.search(only, item.nodeid))


def keep(config, items, is_chosen):
    chosen = [item for item in items if is_chosen(item)]
    config.hook.pytest_deselected(items=[item for item in items if item not in chosen])
    items[:] = chosen
