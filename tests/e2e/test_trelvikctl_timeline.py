"""The operator's client: the paths of requests, as text, as JSON, and as a page in a browser."""
import os
import re

import pytest

from trelvik.browser import Browser
from trelvik.ctl import DONE, FAILED, USAGE, ctl
from trelvik.files import write
from trelvik.wait import SLOW

CAPTURE = "/tmp/capture.pcapng"
LOG = "/tmp/log"
PAGE = "/tmp/page.html"
BIG = 10_000


@pytest.fixture
def browser():
    one = Browser("/tmp/profile")
    yield one
    one.close()
    assert one.complaints == []


def record_requests(board):
    """Some requests of a real daemon, its log of level 9 in LOG, what passed in CAPTURE."""
    board.start_iss("keepalive off", args=("--record", CAPTURE))
    board.start(ops=False)
    board.log.wait("[INFO] main:396 (main) - MSR reload succeeded")
    board.expect_refused()
    for words in (("trace", "set", 9), ("port", "setup", 5, "--ac-vlan", 100), ("port", "release", 9),
                  ("rule", "ets", "create", "--ports", "1,3", "--vlan", 100, "--vpn", 7, "--flush"),
                  ("synce", "set", "--filter", "--pdu", "1,2,3"), ("ops", "send", "FLUSH_CMD", "vpn=7", "vp=2"),
                  ("trace", "set", 6)):
        ctl(board, *words)
    write(LOG, board.log.journal())


def timeline(board, *words):
    done = ctl(board, "timeline", *words)
    assert done.status == DONE, done
    return done


def open_page(browser, part=""):
    browser.open("about:blank")
    browser.open(f"file://{PAGE}{part}")
    browser.wait("document.documentElement.dataset.readyMs")


def test_requests_of_a_log_as_json(board):
    record_requests(board)
    requests = timeline(board, LOG, CAPTURE, "--json").json["requests"]
    assert [(one["kind"], one["ending"], one["ports"], len(one["messages"])) for one in requests[:3]] == [
        ("port", "answered", [5], 2), ("port", "refused", [9], 2), ("rule", "answered", [1, 3], 2)]
    assert [(one["kind"], one["ending"], len(one["messages"])) for one in requests[3:]] == [
        ("SyncE", "answered", 2), ("debug socket", "answered", 1)]
    slots = [message["slot"] for one in requests for message in one["messages"]]
    assert slots == list(range(9))
    for one in requests:
        times = [one["arrived"], *([one["workBegin"]] if one["workBegin"] else [])]
        for message in one["messages"]:
            times += [message[name] for name in ("sendBegin", "sent", "answered", "handled")]
        assert None not in times and times == sorted(times), one
        assert one["arrived"] == one["arrivedLast"] < one["replied"] <= times[-1], one


def test_messages_of_a_capture_stand_in_their_requests(board):
    record_requests(board)
    done = timeline(board, LOG, CAPTURE, "--json").json
    messages = [message for one in done["requests"] for message in one["messages"]]
    said = [(message["type"], message["request"] or "", message["answer"] or "") for message in messages]
    assert all(request.startswith(name) and answer.startswith(name) for name, request, answer in said), said
    assert "mapFlag=1" in said[1][1] and "tunnelId=1005" in said[1][2]
    assert done["notes"] == []


def test_requests_of_a_log_as_text(board):
    record_requests(board)
    lines = timeline(board, LOG, "--text").lines
    assert lines[0].split() == ["number", "time", "kind", "ports", "messages", "allMs", "ringMs", "issMs", "ending"]
    assert re.fullmatch(r"2 +[0-9:]{8}[.][0-9]{6} +port +9 +2 +[0-9.]+ +[0-9.]+ +[0-9.]+ +refused: Port is not mapped",
                        lines[2]), lines[2]
    assert any(re.match(r"[0-9:.]+ +refusal +ISS refused IssSetLanWanAsync", line) for line in lines)


def test_folder_of_a_board_is_read(board):
    record_requests(board)
    folder = "/tmp/folder"
    os.mkdir(folder)
    stamped = (re.sub(r"^(\S+)T(\S+)[.](...)\S+ board Trelvik.7.:", r"\1 \2.\3  Trelvik |", line)
               for line in board.log.journal().splitlines())
    write(f"{folder}/board.log", "2026-11-21 12:00:00.000  monitor | kick main\n" + "\n".join(stamped) + "\n")
    os.rename(CAPTURE, f"{folder}/iss.pcapng")
    done = timeline(board, folder, "--json").json
    assert len(done["requests"]) == 5
    assert {"kind": "kick", "text": "monitor device: kick main"}.items() <= done["marks"][0].items()


def test_what_is_no_log_is_told(board):
    write(LOG, "nothing of a daemon\n")
    done = ctl(board, "timeline", LOG)
    assert done.status == FAILED and "/tmp/log has no line of the daemon" in done.err, done
    assert ctl(board, "timeline", "/tmp/none").status == FAILED
    assert ctl(board, "timeline").status == USAGE
    write(LOG, "2026-11-21T12:00:00Z board Trelvik[7]: [INFO] main:242 (main) - Connected to OPS\n")
    done = ctl(board, "timeline", LOG, LOG)
    assert done.status == FAILED and "/tmp/log is no capture" in done.err, done
    done = ctl(board, "timeline", LOG, "--output", "/none/page.html")
    assert done.status == FAILED and "cannot write /none/page.html" in done.err, done
    assert "lines of level 9 are wanted" in timeline(board, LOG, "--output", PAGE).out


def test_page_finds_and_shows_requests(board, browser):
    record_requests(board)
    timeline(board, LOG, CAPTURE, "--output", PAGE)
    open_page(browser)
    assert browser.text("#summary").startswith("5 requests, 4 answered, 1 refused;")
    assert browser.value("document.querySelectorAll('#list .row').length") == 5
    assert browser.value("[...document.querySelectorAll('#type option')].map(one => one.value)") == [
        "", "port", "rule", "SyncE", "debug socket", "FLUSH_CMD", "INTERESTED_PACKET_IND", "MGMT_INTERFACE_MAPPING_IND",
        "RUN_DEFAULT_SCRIPT_COMMAND", "SYNCE_PDU_CMD"]
    for part, shown in (("#port=9&type=port", [2]), ("#type=FLUSH_CMD", [3, 5]), ("#request=not+mapped", [2]),
                        ("#request=4", [4]), ("#port=28&type=port", [])):
        open_page(browser, part)
        rows = browser.value("[...document.querySelectorAll('#list .row')].map(one => Number(one.dataset.number))")
        assert rows == shown, part
    open_page(browser, "#request=1")
    details = browser.text("#details")
    assert "Request 1: port, answered" in details and "tunnelId=1005" in details and "slot 1" in details


def test_page_tells_what_is_under_the_mouse(board, browser):
    record_requests(board)
    timeline(board, LOG, CAPTURE, "--output", PAGE)
    open_page(browser, "#request=1")
    browser.wait("chart.chosen && !chart.waiting")
    place = browser.value("""(() => {
      const box = chart.canvas.getBoundingClientRect(), bar = chart.chosen.bars.find(one => one[0] === OPS);
      return [box.left + chart.x((bar[1] + bar[2]) / 2), box.top + chart.y(OPS) + LANE / 2];
    })()""")
    browser.point(*place)
    browser.wait("!document.getElementById('tip').hidden")
    tip = browser.text("#tip")
    assert tip.startswith("1: port, answered; OPS") and "to ISS: RUN_DEFAULT_SCRIPT_COMMAND [8]" in tip, tip


def test_page_obeys_keys(board, browser):
    record_requests(board)
    timeline(board, LOG, "--output", PAGE)
    open_page(browser)
    whole = browser.value("chart.to - chart.from")
    for key in ("ArrowDown", "ArrowDown", "Enter"):
        browser.key(key)
    assert browser.value("chart.chosen.number") == 2
    assert browser.value("chart.to - chart.from") == pytest.approx(
        browser.value("chart.chosen.to - chart.chosen.from"), rel=0.1, abs=100), "the request and a margin"
    browser.key("0")
    assert browser.value("chart.to - chart.from") == whole
    browser.key("+")
    assert browser.value("chart.to - chart.from") == pytest.approx(whole / 2)
    browser.key("Escape")
    assert browser.value("chart.chosen") is None


def big_log(board):
    """The steps of one real request, 10,000 times over."""
    record_requests(board)
    lines = [line for line in board.log.journal().splitlines() if line.startswith("20")]
    begin = next(i for i, line in enumerate(lines) if "(setIssMgrParams)" in line)
    end = next(i for i, line in enumerate(lines) if i > begin and "(setSyncEParam)" in line)
    text = []
    for number in range(BIG):
        for i, line in enumerate(lines[begin:end]):
            micros = number * 1000 + i
            slot = re.sub(r"(writepoiter |[rR][pP][:=])(\d+)", lambda found: found[1] + str(slot_of(found[2], number)), line)
            slot = re.sub(r"([wW][pP][:=])(\d+)", lambda found: found[1] + str(slot_of(found[2], number)), slot)
            text.append(f"{1795262400 + micros // 1_000_000}.{micros % 1_000_000:06} {slot.split(' ', 1)[1]}")
    write(LOG, "\n".join(text) + "\n")


def slot_of(slot, number):
    return (int(slot) + 2 * number) % 20


def strokes(browser, action):
    """How often the page draws anything on the chart for this."""
    return browser.value(f"""(() => {{
      const kind = CanvasRenderingContext2D.prototype, kept = {{}};
      let count = 0;
      for (const name of ['fillRect', 'strokeRect', 'fillText', 'lineTo', 'stroke', 'fill']) {{
        kept[name] = kind[name];
        kind[name] = function(...all) {{ ++count; return kept[name].apply(this, all); }};
      }}
      {action};
      chart.drawNow();
      Object.assign(kind, kept);
      return count;
    }})()""")


def test_page_of_10000_requests_does_not_stall(board, browser):
    big_log(board)
    timeline(board, LOG, "--output", PAGE)
    open_page(browser)
    assert browser.worked() < 5 * SLOW
    assert browser.text("#summary").startswith(f"{BIG} requests, {BIG} answered;")
    assert browser.value("document.querySelectorAll('#list .row').length") < 50, "only what can be seen is there"
    # What shares a pixel is drawn about once: the work has the size of the picture, not of the log.
    pixels = browser.value("chart.width * LANES.length")
    for action in ["chart.all()", *["chart.zoom(0.6)"] * 12, *["chart.zoom(2)"] * 8, "element('port').value = 3; filter()"]:
        before = browser.worked()
        assert 50 < strokes(browser, action) < 2 * pixels, action
        assert browser.worked() - before < 0.5 * SLOW, action


def redrawn(browser, *kind, **features):
    browser.value("delete document.documentElement.dataset.drawMs")
    browser.media(*kind, **features)
    browser.wait("document.documentElement.dataset.drawMs")


def test_page_in_the_dark_and_on_paper(board, browser):
    record_requests(board)
    timeline(board, LOG, "--output", PAGE)
    back = "getComputedStyle(document.body).backgroundColor"
    open_page(browser)
    browser.media(prefers_color_scheme="light")
    assert browser.value(back) == "rgb(255, 255, 255)"
    redrawn(browser, prefers_color_scheme="dark")
    assert browser.value(back) == "rgb(20, 24, 30)"
    redrawn(browser, "print", prefers_color_scheme="dark")
    assert browser.value(back) == "rgb(255, 255, 255)"
    assert browser.value("getComputedStyle(document.getElementById('filter')).display") == "none"
    assert browser.value("getComputedStyle(document.documentElement).getPropertyValue('--port')").strip() == "#2f74c9"
    assert browser.value("chart.pen.getImageData(1, 1, 1, 1).data[0]") == 255
    assert browser.pdf().startswith(b"%PDF")
