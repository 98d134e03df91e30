"""Chromium without a window, told what to do over a pipe: one page, its elements, mouse, keys and console."""
import base64
import fcntl
import json
import os
import select
import subprocess
import time

from .wait import SLOW, until

LIMIT = 30 * SLOW
"""Seconds for an answer of the browser, its start included."""


def _pipe():
    """A pipe whose ends are none of the descriptors that the browser wants them on."""
    low = os.pipe()
    high = tuple(fcntl.fcntl(end, fcntl.F_DUPFD_CLOEXEC, 10) for end in low)
    for end in low:
        os.close(end)
    return high


class Browser:
    """One browser with one page. Whoever makes it leaves it with `close`."""

    def __init__(self, profile):
        ours_in, theirs_out = _pipe()
        theirs_in, ours_out = _pipe()
        command = ["chromium", "--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
                   "--no-first-run", "--disable-extensions", "--disable-background-networking", "--window-size=1400,1000",
                   f"--user-data-dir={profile}", "--remote-debugging-pipe", "about:blank"]
        # It reads what to do from descriptor 3 and answers on 4.
        shell = f'exec "$@" 3<&{theirs_in} 4>&{theirs_out} {theirs_in}<&- {theirs_out}>&-'
        self._process = subprocess.Popen(["bash", "-c", shell, "browser", *command], pass_fds=(theirs_in, theirs_out),
                                         env={**os.environ, "HOME": profile}, stdin=subprocess.DEVNULL,
                                         stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(theirs_in)
        os.close(theirs_out)
        self._in, self._out = ours_in, ours_out
        self._buffer, self._number, self._session = b"", 0, None
        self.complaints = []
        """What the page wrote on its console, and what it threw."""
        target = self.do("Target.createTarget", url="about:blank")["targetId"]
        self._session = self.do("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log"):
            self.do(f"{domain}.enable")
        self.do("Performance.enable", timeDomain="threadTicks")

    def do(self, method, **parameters):
        """Has the browser carry out a command of its protocol, and returns what came of it."""
        self._number += 1
        call = {"id": self._number, "method": method, "params": parameters}
        if self._session:
            call["sessionId"] = self._session
        text = json.dumps(call).encode() + b"\0"
        while text:
            text = text[os.write(self._out, text):]
        end = time.monotonic() + LIMIT
        while True:
            message = self._next(end, method)
            if message.get("id") == self._number:
                assert "error" not in message, (method, message)
                return message["result"]

    def _next(self, end, method):
        while b"\0" not in self._buffer:
            ready, _, _ = select.select([self._in], [], [], max(end - time.monotonic(), 0))
            piece = os.read(self._in, 1 << 16) if ready else b""
            assert piece, f"the browser does not answer {method}"
            self._buffer += piece
        text, self._buffer = self._buffer.split(b"\0", 1)
        message = json.loads(text)
        if message.get("method") in ("Runtime.consoleAPICalled", "Runtime.exceptionThrown", "Log.entryAdded"):
            self.complaints.append(message["params"])
        return message

    def value(self, expression):
        """What an expression is in the page."""
        result = self.do("Runtime.evaluate", expression=expression, returnByValue=True)
        assert "exceptionDetails" not in result, result
        return result["result"].get("value")

    def text(self, selector):
        return self.value(f"document.querySelector({json.dumps(selector)}).textContent")

    def wait(self, expression):
        return until(lambda: self.value(expression), expression, LIMIT)

    def open(self, address):
        self.do("Page.navigate", url=address)
        self.wait("document.readyState == 'complete'")

    def worked(self):
        """Seconds of a processor that the page's main thread has taken: others that run take nothing of them."""
        metrics = self.do("Performance.getMetrics")["metrics"]
        return next(one["value"] for one in metrics if one["name"] == "TaskDuration")

    def point(self, x, y):
        self.do("Input.dispatchMouseEvent", type="mouseMoved", x=x, y=y)

    def key(self, name):
        for kind in ("keyDown", "keyUp"):
            self.do("Input.dispatchKeyEvent", type=kind, key=name)

    def media(self, kind="", **features):
        self.do("Emulation.setEmulatedMedia", media=kind,
                features=[{"name": name.replace("_", "-"), "value": value} for name, value in features.items()])

    def pdf(self):
        return base64.b64decode(self.do("Page.printToPDF")["data"])

    def close(self):
        os.close(self._out)
        os.close(self._in)
        self._process.terminate()
        self._process.wait(LIMIT)
