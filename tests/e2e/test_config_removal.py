import os

import pytest

from trelvik import record
from trelvik.board import CSM_BOARD, OTHER_BOARD
from trelvik.files import write

SELECTION = "/flash/config/current/selected.txt"
SD_CARD = "/mnt/mmccard/VORNA_CONFIG"
RELOAD_FAILED = "[CRITICAL] main:428 (main) - MSR RELOAD FAILED!"
REPORT = "CORRUPTED CONFIG FILE! REMOVED ISS CONFIG AND REBOOT!\n"
ON_FLASH = "[ERROR] main:803 (deletePersistentIssConfig) - Delete iss folder on flash [command = 'rm -rf {}']"
ON_SD_CARD = "[ERROR] main:813 (deletePersistentIssConfig) - Delete iss folder on SD card [command = 'rm -rf {}']"
TRACE = "[DEBUG3] main:{} (deletePersistentIssConfig) - {}"


def folder(path):
    """Makes a folder with something in it."""
    os.makedirs(path + "/deep")
    write(path + "/deep/iss.conf", "saved")
    return path


def select(text):
    os.makedirs(os.path.dirname(SELECTION), exist_ok=True)
    write(SELECTION, text)


def fail_reload(board, name=CSM_BOARD):
    board.expect_log(RELOAD_FAILED)
    board.connected(name=name, level=9)
    board.ops.send(record.reloaded(failed=True))
    board.cam.wait_report(REPORT)
    board.sync_ops()


def both_removed(board, flash, card):
    """The folders on the flash and on the SD card go, and the log says so."""
    board.expect_log(ON_FLASH.format(flash))
    board.expect_log(ON_SD_CARD.format(card))
    fail_reload(board)
    assert not os.path.exists(flash) and not os.path.exists(card)


def test_selected_configuration_is_removed_from_both_stores(board):
    select("dir /flash/config/c1\n")
    flash = folder("/flash/config/c1/iss")
    card = folder(SD_CARD + "/config/c1/iss")
    kept = [folder("/flash/config/c1/other"), folder("/flash/config/c2/iss"), folder(SD_CARD + "/config/c2/iss")]
    board.expect_log(ON_FLASH.format(flash))
    board.expect_log(ON_SD_CARD.format(card))
    fail_reload(board)
    assert not os.path.exists(flash) and not os.path.exists(card)
    assert all(os.path.exists(path + "/deep/iss.conf") for path in kept)
    board.log.sequence([
        RELOAD_FAILED, TRACE.format(763, "called"), TRACE.format(780, "buffer=dir /flash/config/c1\n"),
        TRACE.format(783, "selected='dir /flash/config/c1\n', actionType='dir'"),
        TRACE.format(793, "delete newline at pos=16"), TRACE.format(796, "folder='/flash/config/c1'"),
        TRACE.format(800, "issFolder=/flash/config/c1/iss"), ON_FLASH.format(flash),
        TRACE.format(810, f"issFolder={SD_CARD}/config/c1/iss"), ON_SD_CARD.format(card)])


def test_selection_without_line_feed(board):
    select("dir /flash/config/c1")
    both_removed(board, folder("/flash/config/c1/iss"), folder(SD_CARD + "/config/c1/iss"))
    assert not board.log.find("[DEBUG3] main:793 *")


def test_text_is_cut_at_the_last_line_feed(board):
    select("dir /flash/a\nb\nrest")
    fail_reload(board)
    board.log.wait(TRACE.format(793, "delete newline at pos=10"))
    board.log.wait(TRACE.format(796, "folder='/flash/a\nb'"))


def test_only_action_dir_is_acted_on(board):
    select("tar /flash/config/c1\n")
    flash = folder("/flash/config/c1/iss")
    fail_reload(board)
    assert os.path.exists(flash)
    board.log.wait(TRACE.format(783, "selected='tar /flash/config/c1\n', actionType='tar'"))
    assert not board.log.find("[DEBUG3] main:796 *")


def test_short_folder_takes_the_whole_sd_card_directory(board):
    select("dir /a\n")
    flash = folder("/a/iss")
    folder(SD_CARD)
    board.expect_log(ON_FLASH.format(flash))
    board.expect_log(ON_SD_CARD.format(SD_CARD))
    fail_reload(board)
    assert not os.path.exists(flash) and not os.path.exists(SD_CARD) and os.path.exists("/mnt/mmccard")


def test_first_six_characters_are_replaced_whatever_they_are(board):
    select("dir /store/c1\n")
    both_removed(board, folder("/store/c1/iss"), folder(SD_CARD + "/c1/iss"))


def test_selection_is_read_in_its_first_128_bytes_only(board):
    path = "/flash/" + "c" * (124 - len("/flash/"))
    select("dir " + path + "ut\n")
    flash = folder(path + "/iss")
    kept = folder(path + "ut/iss")
    board.expect_log(ON_FLASH.format(flash))
    fail_reload(board)
    assert not os.path.exists(flash) and os.path.exists(kept)


def test_folder_that_does_not_exist_is_passed_over(board):
    select("dir /flash/config/none\n")
    card = folder(SD_CARD + "/config/none/iss")
    board.expect_log(ON_SD_CARD.format(card))
    fail_reload(board)
    assert not os.path.exists(card) and not board.log.find("[ERROR] main:803 *")


@pytest.mark.parametrize("text", ["", "d", "dir"])
def test_selection_without_a_folder_removes_nothing(board, text):
    select(text)
    iss = "/iss"
    os.makedirs(iss, exist_ok=True)
    fail_reload(board)
    assert os.path.exists(iss)


def test_selection_that_cannot_be_read_removes_nothing(board):
    os.makedirs(SELECTION)
    fail_reload(board)
    assert not board.log.find("[DEBUG3] main:783 *")


def test_other_boards_remove_nothing(board):
    select("dir /flash/config/c1\n")
    flash = folder("/flash/config/c1/iss")
    fail_reload(board, OTHER_BOARD)
    assert os.path.exists(flash) and not board.log.find(TRACE.format(763, "called"))
