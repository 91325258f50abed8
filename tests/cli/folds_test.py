#!/usr/bin/env python3
"""Usage: folds_test.py PROGRAM

Divides random data by the steps that docs/decisions/folds.md describes, and compares the lines with
the files of `zandrel split`. The two implementations have nothing in common.
"""

import pathlib
import random
import subprocess
import sys
import tempfile
from fractions import Fraction

WORD = (1 << 64) - 1


class Twister:
    """std::mt19937_64, as the C++ standard defines it."""

    def __init__(self, seed):
        self.state = [seed]
        for i in range(1, 312):
            last = self.state[-1]
            self.state.append((6364136223846793005 * (last ^ (last >> 62)) + i) & WORD)
        self.place = 312

    def draw(self):
        if self.place == 312:
            self.place = 0
            for i in range(312):
                bits = (self.state[i] & ~0x7FFFFFFF & WORD) | (self.state[(i + 1) % 312] & 0x7FFFFFFF)
                self.state[i] = self.state[(i + 156) % 312] ^ (bits >> 1)
                if bits & 1:
                    self.state[i] ^= 0xB5026F5AA96619E9
        number = self.state[self.place]
        self.place += 1
        number ^= (number >> 29) & 0x5555555555555555
        number ^= (number << 17) & 0x71D67FFFEDA60000
        number ^= (number << 37) & 0xFFF7EEE000000000
        return number ^ (number >> 43)


def shuffled(count, seed):
    twister = Twister(seed)
    numbers = list(range(count))
    for last in range(count - 1, 0, -1):
        limit = (1 << 64) // (last + 1) * (last + 1)
        number = twister.draw()
        while number >= limit:
            number = twister.draw()
        other = number % (last + 1)
        numbers[last], numbers[other] = numbers[other], numbers[last]
    return numbers


def folds_of(labels, fold_count, seed):
    order = shuffled(len(labels), seed)
    first_place = {}
    for text in order:
        for label in labels[text]:
            first_place.setdefault(label, len(first_place))
    fold_of = {}
    while len(fold_of) < len(labels):
        waiting = {}
        for text, list_of_text in enumerate(labels):
            if text not in fold_of:
                for label in list_of_text:
                    waiting[label] = waiting.get(label, 0) + 1
        rarest = min(waiting, key=lambda label: (waiting[label], first_place[label]))
        sizes = [0] * fold_count
        counts = [0] * fold_count
        for text, fold in fold_of.items():
            sizes[fold] += 1
            counts[fold] += rarest in labels[text]
        for text in order:
            if text not in fold_of and rarest in labels[text]:
                fold = min(range(fold_count), key=lambda each: (counts[each], sizes[each], each))
                fold_of[text] = fold
                sizes[fold] += 1
                counts[fold] += 1
    return fold_of


def held_out(labels, share, seed):
    share = Fraction(share)
    folds = folds_of(labels, share.denominator, seed)

    def rounded(number):  # a half is rounded up
        return (number + Fraction(1, 2)).__floor__()

    return {
        text
        for text, fold in folds.items()
        if rounded((fold + 1) * share) > rounded(fold * share)
    }


def random_lines(chance):
    lines = []
    labels = []
    for number in range(chance.randint(1, 150)):
        known = [f"l{chance.randint(0, chance.randint(0, 12))}" for _ in range(chance.choice([1, 1, 2, 4]))]
        end = chance.choice([b"\n", b"\r\n"])
        lines.append(",".join(known).encode() + b"\ttext " + str(number).encode() + end)
        labels.append(list(dict.fromkeys(known)))
    return lines, labels


def check(program, folder, chance):
    lines, labels = random_lines(chance)
    share = chance.choice(["0.2", "0.5", "0.3", "0.75", "0.01", "0.123", "0.9", "0.3333"])
    seed = chance.choice([0, 1, 2, 12345, WORD])
    (folder / "data.tsv").write_bytes(b"".join(lines))
    run = subprocess.run(
        [program, "split", "data.tsv", "a.tsv", "b.tsv", "--replace", "--share", share, "--seed", str(seed)],
        cwd=folder,
        capture_output=True,
        check=False,
    )
    chosen = held_out(labels, share, seed)
    if not chosen or len(chosen) == len(lines):
        assert run.returncode == 65, (share, seed, run)
        return False
    assert run.returncode == 0, (share, seed, run)
    for name, is_wanted in (("a.tsv", False), ("b.tsv", True)):
        expected = b"".join(line for text, line in enumerate(lines) if (text in chosen) == is_wanted)
        assert (folder / name).read_bytes() == expected, (name, share, seed, lines)
    return True


def main():
    # The C++ standard requires this number of a generator with its default seed.
    twister = Twister(5489)
    for _ in range(9999):
        twister.draw()
    assert twister.draw() == 9981545732273789042
    chance = random.Random(18)
    with tempfile.TemporaryDirectory() as folder:
        divided = sum(check(sys.argv[1], pathlib.Path(folder), chance) for _ in range(100))
    assert divided > 60, divided


if __name__ == "__main__":
    main()
