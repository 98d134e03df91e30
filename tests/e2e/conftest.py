import pytest

from trelvik.board import Board


@pytest.fixture
def board():
    the_board = Board()
    yield the_board
    the_board.finish()
