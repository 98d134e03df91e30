"""What scripts/soak tells the soak, and the soak each board."""
import argparse

KINDS = ("oracle", "hostile")


def _common():
    parser = argparse.ArgumentParser()
    parser.add_argument("--minutes", type=float, required=True)
    parser.add_argument("--seed", type=int, required=True)
    parser.add_argument("--directory", required=True)
    return parser


def outside():
    parser = _common()
    parser.add_argument("--boards", type=int, required=True)
    parser.add_argument("--stage", required=True)
    return parser.parse_args()


def inside():
    parser = _common()
    parser.add_argument("--kind", choices=KINDS, required=True)
    parser.add_argument("--number", type=int, required=True)
    parser.add_argument("--user", type=int, required=True, help="nobody else runs anything as this user")
    return parser.parse_args()
