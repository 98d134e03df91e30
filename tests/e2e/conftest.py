import pytest

from trelvik.board import Board
from trelvik.iss import Watch

pytest_plugins = ["sandboxed"]


@pytest.fixture
def board():
    the_board = Board()
    yield the_board
    the_board.finish()


@pytest.fixture
def watch(board):
    """Begins a watch of the simulated ISS with these options; it ends with the test."""
    begun = []

    def begin(*options):
        begun.append(Watch(board, *options))
        return begun[-1]

    yield begin
    for one_watch in begun:
        one_watch.leave()
