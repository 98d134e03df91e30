import pytest

from trelvik.board import Board


@pytest.fixture
def board():
    the_board = Board()
    yield the_board
    the_board.finish()


def pytest_configure(config):
    config.addinivalue_line("markers", "takes(seconds): how much longer than the others the test may run")
