"""How much of its storm a test makes, and the figures that are left of it."""

import os
import random
import sys

TESTS = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path[:0] = [os.path.join(TESTS, "device"), os.path.join(TESTS, "support")]

# run-all sets it; otherwise each test takes a sample, always the same one.
WHOLE = os.environ.get("TARNWICK_STRESS") == "whole"


def extent(sample, whole):
    """A number of repetitions."""
    return whole if WHOLE else sample


def some(cases, sample):
    """All cases, or so many of them."""
    cases = list(cases)
    return cases if WHOLE or len(cases) <= sample else random.Random(1).sample(cases, sample)


def figure(*words):
    print("   ", *words, flush=True)
