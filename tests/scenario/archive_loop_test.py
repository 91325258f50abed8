"""The loop of docs/operations.md, day by day, with the program: classify a stream, add each message
to an archive, correct wrong labels, learn each hundred messages, train each night. Each command is
killed before some of its writes. After each kill the documented way back is taken, and the loop goes
on from there.

Usage: archive_loop_test.py PROGRAM KILLED_CALLS SHOP [KILLS]

KILLED_CALLS is the library made of tests/support/killed_calls.cpp, SHOP the folder data/shop, KILLS
the number of places at which each command is killed, or `all`: before each of its writes.
"""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

PROGRAM, KILLED_CALLS, SHOP = (pathlib.Path(word).resolve() for word in sys.argv[1:4])
KILLS = sys.argv[4] if len(sys.argv) > 4 else None

KILLED = -9
RESERVED, MINIMAL = 3, 20  # of each of the 8 categories: an archive of 160 messages is full
FIRST, DAILY = 200, 100
LATE_CORRECTIONS = 2
# A container that learned 200 messages of the shop has 75 to 85 %, and one that guesses 12 %.
LEAST_RIGHT = 0.4


def messages_of(name):
    """(label, text) of each line."""
    lines = (SHOP / name).read_text("utf-8").splitlines()
    return [tuple(line.split("\t", 1)) for line in lines]


class Run:
    def __init__(self, done):
        self.status = done.returncode
        self.out = done.stdout
        self.err = done.stderr

    def __str__(self):
        return f"status {self.status}\n{self.out}{self.err}"


class Loop:
    """The files of a deployment. `told` has what commands have reported as done: the label and text
    of each message by its id, without those that `learn` and `train` have deleted."""

    archive, container, backup = "shop.arc", "shop.kc", "backup.kc"

    def __init__(self, test, folder, form):
        self.test = test
        self.folder = folder
        self.form = form
        self.told = {}

    # Commands.

    def run(self, *words, **environment):
        done = subprocess.run([PROGRAM, *words], cwd=self.folder, stdin=subprocess.DEVNULL,
                              env={**os.environ, **environment}, capture_output=True, text=True,
                              timeout=120)
        return Run(done)

    def must(self, *words, **environment):
        run = self.run(*words, **environment)
        self.test.assertEqual(run.status, 0, f"{words}: {run}")
        return run

    def json_of(self, *words):
        return json.loads(self.must(*words, "--json").out)

    def with_killer(self, words, **environment):
        return self.run(*words, LD_PRELOAD=str(KILLED_CALLS), **environment)

    # The two files.

    def messages(self):
        out = self.must("archive", "list", self.archive, "--json").out
        return [json.loads(line) for line in out.splitlines()]

    def listed(self):
        """(label, text) by the id, as the archive has them."""
        messages = self.messages()
        found = {each["id"]: (each["labels"][0], each["text"]) for each in messages}
        self.test.assertEqual(len(found), len(messages), "an id is there twice")
        return found

    def new_messages(self):
        return len(self.must("archive", "list", self.archive, "--new").out.splitlines())

    def learned_messages(self, container=None):
        """How many messages the container has learned since it was last trained, and in this
        training."""
        info = self.json_of("info", container or self.container)
        return info["statistical_classifiers"][0]["messages"]

    def share_of_right(self, messages):
        (self.folder / "texts").write_text("".join(text + "\n" for _, text in messages), "utf-8")
        labels = self.labels_of("texts")
        right = sum(label == wanted for label, (wanted, _) in zip(labels, messages, strict=True))
        return right / len(messages)

    def labels_of(self, file):
        out = self.must("classify", self.container, file, "-k", "1").out
        return [line.split("\t")[0] for line in out.splitlines()]

    def snapshot(self):
        return {name: (self.folder / name).read_bytes() for name in (self.archive, self.container)}

    def restore(self, snapshot):
        for leftover in self.folder.glob("*.bad*"):
            leftover.unlink()
        for name, content in snapshot.items():
            (self.folder / name).write_bytes(content)

    # The steps.

    def start(self, messages):
        self.write_data("first.jsonl", messages)
        self.must("archive", "create", self.archive, "--analysis", "words", "--reserved-size",
                  str(RESERVED), "--minimal-size", str(MINIMAL))
        self.must(*self.adding("first.jsonl"))
        self.must("train", self.container, "first.jsonl", "--label", "label", "--pair", "id",
                  "--analysis", "words", *self.form)
        self.must("archive", "train", self.archive, self.container)
        self.told = self.listed()
        self.test.assertEqual(len(self.told), 160)
        self.back_up()

    def write_data(self, name, messages):
        """A file that gives each of (id, (label, text)) to the archive."""
        lines = [json.dumps({"id": id, "label": label, "text": text}) + "\n"
                 for id, (label, text) in messages]
        (self.folder / name).write_text("".join(lines), "utf-8")

    def adding(self, file):
        return ["archive", "add", self.archive, file, "--label", "label", "--pair", "id",
                "--id-pair", "id"]

    def correcting(self, id, label, text):
        return ["archive", "add", self.archive, "--id", id, "--category", label, "--replaces", id,
                text]

    def learning(self):
        return ["archive", "learn", self.archive, self.container]

    def training(self):
        return ["archive", "train", self.archive, self.container]

    def back_up(self):
        self.must("convert", self.container, self.backup, "--cached" if self.form else "--plain",
                  "--replace")

    # The way back after a kill.

    def recover(self):
        """Makes both files usable again. Returns True if the container was repaired or restored, so
        that it has to be trained from the archive."""
        self.repair(self.archive)
        if self.run("check", self.container).status == 0:
            return False
        if self.run("rebuild-index", self.container).status == 65:
            (self.folder / self.container).unlink()
            self.must("convert", self.backup, self.container, "--cached")
        self.must("check", self.container)
        return True

    def repair(self, file):
        if self.run("check", file).status != 0:
            run = self.run("rebuild-index", file)
            self.test.assertIn(run.status, (0, 1), str(run))
        run = self.must("check", file)
        self.test.assertEqual(run.out, f"{file}: clean\n")

    def done_or_refused(self, *words):
        """Returns False if the two files do not match."""
        run = self.run(*words)
        if run.status == 65 and "does not match" in run.err:
            return False
        self.test.assertEqual(run.status, 0, str(run))
        return True

    def bring_together(self):
        self.must(*self.training(), "--unmatched")
        self.test.assertEqual(self.learned_messages(), len(self.listed()))

    # What is true after each recovery.

    def check_archive(self, before, after):
        """The archive has what was there before the command and what is there after it."""
        listed = self.listed()
        for id, message in listed.items():
            self.test.assertIn(message, (before.get(id), after.get(id)), id)
        lost = (before.keys() & after.keys()) - listed.keys()
        self.test.assertEqual(lost, set(), "these messages were reported as added")
        return listed

    def check_learned_once(self, known, new):
        """If the two match, each of the new messages is in the container or will be learned, and not
        both. Otherwise the program refuses them."""
        copies = {"copy.arc": self.archive, "copy.kc": self.container}
        for copy, name in copies.items():
            shutil.copy(self.folder / name, self.folder / copy)
        run = self.run("archive", "learn", *copies, "--json")
        if run.status == 65 and "No new smls" in run.err:
            self.test.assertEqual(self.learned_messages(), known + new)
            return True
        if run.status == 65:
            self.test.assertIn("does not match", run.err)
            return False
        self.test.assertEqual(run.status, 0, str(run))
        self.test.assertEqual(self.learned_messages("copy.kc"), known + new)
        return True


class ArchiveLoopTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.stream = [(f"m{number}", message)
                       for number, message in enumerate(messages_of("shop.train.tsv"))]
        self.test_messages = messages_of("shop.test.tsv")

    def test_plain_container_survives_a_kill_in_each_step(self):
        self.live_for_days([], 2)

    def test_container_in_cached_form_survives_a_kill_in_each_step(self):
        self.live_for_days(["--cached", "20"], 1)

    def live_for_days(self, form, kills):
        self.loop = Loop(self, self.folder, form)
        self.kills = kills if KILLS is None else 10 ** 6 if KILLS == "all" else int(KILLS)
        self.loop.start(self.take(FIRST))
        for day in (1, 2):
            with self.subTest(day=day):
                self.live_for_a_day()
                # The second day goes on without kills from what the kills have left.
                self.kills = 0
        self.assertGreaterEqual(self.killed_runs, 4)

    def take(self, count):
        taken, self.stream = self.stream[:count], self.stream[count:]
        return taken

    killed_runs = 0

    def live_for_a_day(self):
        loop = self.loop
        arrived = self.take(DAILY)
        loop.write_data("day.jsonl", arrived)
        (loop.folder / "texts").write_text("".join(text + "\n" for _, (_, text) in arrived), "utf-8")
        labels = dict(zip((id for id, _ in arrived), loop.labels_of("texts"), strict=True))
        wrong = [(id, message) for id, message in arrived if message[0] != labels[id]]
        late = dict(wrong[:LATE_CORRECTIONS])
        self.assertEqual(len(late), LATE_CORRECTIONS)
        self.assertEqual(loop.json_of(*loop.learning(), "--if-due")["due"], False)
        # Most wrong labels are corrected before the messages are added, and a few afterwards.
        self.add([(id, (labels[id], text) if id in late else (label, text))
                  for id, (label, text) in arrived])
        for id, message in late.items():
            self.correct(id, message)
        # Each correction has a number of its own, so a hundred messages have come for certain.
        self.learn()
        self.assertEqual(loop.json_of(*loop.learning(), "--if-due")["due"], False)
        self.train()
        loop.must("check", loop.archive)
        loop.must("check", loop.container)
        loop.back_up()

    # Each step: `command` is killed, the way back is taken, and the step is completed.

    def add(self, answered):
        loop = self.loop
        before, after = dict(loop.told), {**loop.told, **dict(answered)}
        loop.write_data("answered.jsonl", answered)

        def complete():
            listed = loop.check_archive(before, after)
            missing = [(id, message) for id, message in answered if id not in listed]
            if missing:
                loop.write_data("missing.jsonl", missing)
                loop.must(*loop.adding("missing.jsonl"))

        self.kill_in(loop.adding("answered.jsonl"), complete)
        self.assertEqual(loop.listed(), after)
        self.assertEqual(loop.new_messages(), len(answered))
        loop.told = after

    def correct(self, id, message):
        loop = self.loop
        before, after = dict(loop.told), {**loop.told, id: message}
        command = loop.correcting(id, *message)

        def complete():
            self.assertIn(loop.listed(), (before, after))
            loop.must(*command)  # repeated, whatever the killed one has done

        self.kill_in(command, complete)
        self.assertEqual(loop.listed(), after)
        loop.told = after

    def learn(self):
        loop = self.loop
        known, new = loop.learned_messages(), loop.new_messages()
        self.assertGreaterEqual(new, DAILY)
        self.use_archive([*loop.learning(), "--if-due"], known, new)
        self.assertEqual(loop.new_messages(), 0)

    def train(self):
        loop = self.loop
        self.use_archive(loop.training(), loop.learned_messages(), loop.new_messages())
        self.assertEqual(loop.learned_messages(), len(loop.told))

    def use_archive(self, command, known, new):
        """Learns or trains."""
        loop = self.loop
        before, snapshot = dict(loop.told), loop.snapshot()
        loop.must(*command)
        after = loop.listed()
        self.assertEqual(len(after), 160)
        trains = command[1] == "train"
        expected = len(after) if trains else known + new
        self.assertEqual(loop.learned_messages(), expected)
        loop.restore(snapshot)

        def complete():
            loop.check_archive(before, after)
            do_match = not self.was_repaired
            if do_match and not trains:
                do_match = loop.check_learned_once(known, new)
            if do_match and (trains or loop.new_messages() > 0):
                do_match = loop.done_or_refused(*command)
                self.assertTrue(do_match or trains)
                if do_match:
                    self.assertEqual(loop.learned_messages(), expected)
            if not do_match:
                loop.bring_together()
            self.assertGreater(loop.share_of_right(self.test_messages), LEAST_RIGHT)

        self.kill_in(command, complete)
        # After a kill behind the renaming of the container, the next command deletes old messages.
        loop.told = loop.check_archive(before, after)
        self.assertTrue(not trains or loop.told == after)

    def kill_in(self, command, complete):
        """Runs the command, killed before some of its calls. Leaves the files of the last kill,
        after `complete`. Without kills: the files after the command."""
        loop = self.loop
        snapshot = loop.snapshot()
        calls = self.calls_of(command)
        for call in spread(min(self.kills, calls), calls):
            with self.subTest(command=command[1], killed_before_call=call, of=calls):
                loop.restore(snapshot)
                run = loop.with_killer(command, KILL_BEFORE_CALL=str(call))
                self.assertEqual(run.status, KILLED, str(run))
                self.killed_runs += 1
                self.was_repaired = loop.recover()
                complete()

    def calls_of(self, command):
        run = self.loop.with_killer(command, COUNT_CALLS_IN="calls")
        self.assertEqual(run.status, 0, str(run))
        calls = int((self.folder / "calls").read_text())
        self.assertGreater(calls, 3)
        return calls


def spread(count, calls):
    """So many of the numbers 1 to `calls`, with equal distances."""
    return [1 + calls * (2 * place + 1) // (2 * count) for place in range(count)]


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
