"""What makes the storm stop."""


class Deviation(Exception):
    """The daemon did something else than it must."""

    def __init__(self, what, expected, got, details=()):
        super().__init__(what)
        self.what = what
        self.expected = expected
        self.got = got
        self.details = details

    def __str__(self):
        return "\n".join([self.what, f"  expected: {self.expected}", f"  got:      {self.got}",
                          *(f"    {each}" for each in self.details)])


def same(what, expected, got):
    if expected != got:
        raise Deviation(what, expected, got)
