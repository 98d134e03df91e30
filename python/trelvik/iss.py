"""ISS, simulated: the installed `iss-sim` on 127.0.0.1:8000."""
import os
import subprocess
from signal import SIGTERM

from .syslog import matcher
from .wait import DEADLINE, until


class Iss:
    def __init__(self, program, directory, *arguments):
        self._program = program
        self._output = os.path.join(directory, "iss.out")
        with open(self._output, "wb") as output:
            self._process = subprocess.Popen([program, *arguments], stdin=subprocess.DEVNULL, stdout=output,
                                             stderr=output)
        self.wait("*listening on 127.0.0.1:*")

    def lines(self, pattern="*"):
        """What it has printed so far, without line ends."""
        with open(self._output, encoding="utf-8", errors="replace") as text:
            printed = text.read()
        match = matcher(pattern)
        return [line for line in printed[:printed.rfind("\n") + 1].splitlines() if match.match(line)]

    def wait(self, pattern, count=1, deadline=None):
        """Waits for the count-th line that fits and returns it."""
        def found():
            lines = self.lines(pattern)
            return lines[count - 1] if len(lines) >= count else None
        return until(found, lambda: f"line {pattern!r} (x{count}) of iss-sim; had:\n" + "\n".join(self.lines()),
                     deadline)

    def try_inject(self, directive):
        return subprocess.run([self._program, "inject", directive], capture_output=True, text=True,
                              timeout=DEADLINE, check=False)

    def inject(self, directive):
        """Carries out one directive."""
        done = self.try_inject(directive)
        assert done.returncode == 0, f"inject {directive}: {done.stdout}{done.stderr}"

    def leave(self):
        if self._process is None:
            return
        process, self._process = self._process, None
        if process.poll() is None:
            process.send_signal(SIGTERM)
        try:
            status = process.wait(DEADLINE)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()
            raise AssertionError("iss-sim did not end in time") from None
        print("--- iss-sim\n" + "\n".join(self.lines()[-100:]))
        assert status == 0, f"iss-sim ended with status {status}"
