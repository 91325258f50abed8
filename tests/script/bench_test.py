"""Tests the parts of script/bench; neither peers nor corpora are needed.

Usage: bench_test.py PROJECT_FOLDER
"""

import contextlib
import io
import json
import pathlib
import subprocess
import sys
import tempfile
import types
import unittest
from unittest import mock

PROJECT = pathlib.Path(sys.argv[1])
sys.path.insert(0, str(PROJECT / "script"))

from benchmarks import accuracy, bars, confidence, contestants, corpora, curves, learning, peers, processes, start, stream, tune
from benchmarks.contestants import Outcome
from benchmarks.failure import Failure


class FolderTest(unittest.TestCase):
    """A test with its own folder."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.messages = io.StringIO()
        redirected = contextlib.redirect_stderr(self.messages)
        redirected.__enter__()
        self.addCleanup(redirected.__exit__, None, None, None)

    def write(self, name, text):
        path = self.folder / name
        path.write_bytes(text.encode("utf-8"))
        return path

    def write_corpus(self, name, train="a\tone\nb\ttwo\n", test="a\tone\n"):
        return corpora.Corpus(self.write(f"{name}.train.tsv", train),
                              self.write(f"{name}.test.tsv", test))


class FindingCorporaTest(FolderTest):
    def names(self, *wanted):
        return [corpus.name for corpus in corpora.find_corpora(self.folder, wanted)]

    def test_finds_pairs_of_files_by_name(self):
        self.write_corpus("news")
        self.write_corpus("mail")

        self.assertEqual(self.names(), ["mail", "news"])

    def test_only_wanted_names_are_taken(self):
        self.write_corpus("news")
        self.write_corpus("mail")

        self.assertEqual(self.names("news"), ["news"])

    def test_training_file_without_test_file_is_reported(self):
        self.write_corpus("mail")
        self.write("news.train.tsv", "a\tone\n")

        self.assertEqual(self.names(), ["mail"])
        self.assertIn("news.train.tsv: left out, there is no news.test.tsv",
                      self.messages.getvalue())

    def test_refuses_folders_and_names_that_give_nothing(self):
        with self.assertRaisesRegex(Failure, "none: no such folder"):
            corpora.find_corpora(self.folder / "none")
        with self.assertRaisesRegex(Failure, "no NAME.train.tsv with a NAME.test.tsv"):
            self.names()
        self.write_corpus("mail")
        with self.assertRaisesRegex(Failure, "no corpus 'news'; there are: mail"):
            self.names("news")


class ReadingTextsTest(FolderTest):
    def read(self, text):
        return list(corpora.read_texts(self.write("file", text)))

    def test_reads_lines_as_the_program_does(self):
        for text, expected in (
                ("a\tone\n", [(["a"], "one")]),
                ("a,b\tone\ttwo", [(["a", "b"], "one\ttwo")]),
                ("\ufeffa\tone\r\n\nb\t\n", [(["a"], "one"), (["b"], "")]),
                ("a\tone\x0ctwo\u2028three\rfour\n", [(["a"], "one\x0ctwo\u2028three\rfour")])):
            with self.subTest(text=text):
                self.assertEqual(self.read(text), expected)

    def test_bad_line_is_named(self):
        for text in ("a\tone\n\nno tab\n", "a\tone\n\n,b\ttext\n"):
            with self.subTest(text=text), self.assertRaisesRegex(Failure, "file:3: no data line"):
                self.read(text)


class CheckingTextsTest(FolderTest):
    def test_refuses_files_without_a_word(self):
        good = "a\t, one\nb\t\n"

        corpora.check_texts(self.write_corpus("news", good, good))
        for train, test, name in (("", good, "news.train.tsv"),
                                  ("a\t\nb\t, -\n", good, "news.train.tsv"),
                                  (good, "\n", "news.test.tsv")):
            with self.subTest(train=train, test=test), self.assertRaisesRegex(
                    Failure, f"{name}: no text with a word"):
                corpora.check_texts(self.write_corpus("news", train, test))


class ShareOfRightTest(FolderTest):
    def test_counts_texts_whose_prediction_is_one_of_their_labels(self):
        path = self.write("file", "a\tone\na,b\ttwo\nc\tthree\nd\tfour\n")

        self.assertEqual(corpora.share_of_right(path, ["a", "b", "a", ""]), 0.5)

    def test_refuses_another_number_of_predictions_than_of_texts(self):
        path = self.write("file", "a\tone\nb\ttwo\n")

        for predicted in (["a"], ["a", "b", "a"]):
            with self.subTest(predicted=predicted), self.assertRaisesRegex(
                    Failure, "not as many predictions as texts"):
                corpora.share_of_right(path, predicted)

    def test_refuses_a_file_without_text(self):
        with self.assertRaisesRegex(Failure, "no data line"):
            corpora.share_of_right(self.write("file", "\n"), [])


class ProcessesTest(FolderTest):
    def run_python(self, code):
        return processes.run([sys.executable, "-S", "-c", code], self.folder / "output")

    def test_measures_cpu_time(self):
        busy = self.run_python("import time\nwhile time.process_time() < 0.3: pass")

        self.assertGreaterEqual(busy.cpu_seconds, 0.3)

    def test_peak_memory_is_measured_for_each_process(self):
        large = self.run_python("x = b'x' * 60_000_000; del x")
        small = self.run_python("pass")

        self.assertGreater(large.peak_bytes - small.peak_bytes, 30_000_000)

    def test_keeps_output_and_gives_one_thread(self):
        self.run_python("import os; print(os.environ['OMP_NUM_THREADS'])")

        self.assertEqual((self.folder / "output").read_text(), "1\n")

    def test_adds_cpu_time_and_keeps_the_greatest_memory(self):
        cost = processes.Cost(1.5, 300) + processes.Cost(2.0, 200)

        self.assertEqual((cost.cpu_seconds, cost.peak_bytes), (3.5, 300))

    def test_reason_of_a_failed_program_is_reported(self):
        with self.assertRaisesRegex(Failure, r"\(status 3\): broken"):
            self.run_python("import sys; print('broken', file=sys.stderr); sys.exit(3)")
        with self.assertRaisesRegex(Failure, "no-such-program: No such file or directory"):
            processes.run(["no-such-program"], self.folder / "output")

    def test_program_may_have_several_good_statuses(self):
        command = [sys.executable, "-S", "-c", "raise SystemExit(2)"]

        processes.run(command, self.folder / "output", (0, 1, 2))
        with self.assertRaises(Failure):
            processes.run(command, self.folder / "output", (0, 1))


class FirstLineTest(FolderTest):
    def seconds(self, code, line=None):
        return processes.seconds_to_first_line([sys.executable, "-S", "-c", code], line)

    def test_ends_with_the_first_line_and_not_with_the_process(self):
        seconds = self.seconds("import time; time.sleep(0.2); print('x', flush=True); "
                               "time.sleep(3); print('y')")

        self.assertGreaterEqual(seconds, 0.2)
        self.assertLess(seconds, 3)

    def test_hands_over_a_line_and_leaves_the_input_open(self):
        self.seconds("import sys; assert sys.stdin.readline() == 'x\\n'; print(1, flush=True); "
                     "assert sys.stdin.read() == ''", "x\n")

    def test_reason_of_a_missing_line_is_reported(self):
        with self.assertRaisesRegex(Failure, r"\(status 3\): broken"):
            self.seconds("import sys; print('broken', file=sys.stderr); sys.exit(3)", "x\n")
        with self.assertRaisesRegex(Failure, r"\(status 0\)"):
            self.seconds("pass")
        with self.assertRaisesRegex(Failure, r"\(status 4\)"):
            self.seconds("print('line', flush=True); raise SystemExit(4)")
        with self.assertRaisesRegex(Failure, "no-such-program: No such file or directory"):
            processes.seconds_to_first_line(["no-such-program"])


class ContestantsTest(FolderTest):
    def prepared(self, contestant, corpus):
        contestant.prepare(corpus, self.folder)
        return contestant

    def test_ours_trains_to_a_file_and_classifies_from_it(self):
        corpus = self.write_corpus("news", test="a\tone\rtwo\n\nb\t\n")
        ours = self.prepared(contestants.Zandrel("words"), corpus)
        folder = self.folder / "zandrel_words"
        model = str(folder / "model.kc")
        commands = []

        def run_all(of_phase, output, *_):
            commands.extend(command[1:] for command in of_phase)
            output.write_text("a\t0.9\n\n")
            return processes.Cost(3.0 if of_phase[0][1] == "train" else 1.0, 100)

        with mock.patch.object(contestants, "run_all", run_all):
            outcome = ours.run()

        self.assertEqual(commands, [["train", model, str(corpus.train), "--replace",
                                     "--analysis", "words"],
                                    ["classify", model, str(folder / "texts")]])
        self.assertEqual((folder / "texts").read_bytes(), b"one two\n\n")
        self.assertEqual((outcome.train_seconds, outcome.classify_seconds, outcome.whole_seconds,
                          outcome.peak_bytes, outcome.accuracy), (3.0, 1.0, 4.0, 100, 0.5))

    def test_gives_fast_text_numbers_for_labels_and_no_labels_in_texts(self):
        self.prepared(contestants.FastText(), self.write_corpus(
            "news", "two words,a\tone __label__x\nz\t\n", "z\ttwo\n"))

        self.assertEqual((self.folder / "fastText" / "train").read_text(),
                         "__label__1 __label__0 one label x\n__label__2 \n")
        self.assertEqual((self.folder / "fastText" / "test").read_text(), "two\n")

    def test_fast_text_gets_lower_case_and_blanks_around_punctuation(self):
        peer = contestants.FastText()

        for text, expected in (("One, TWO", "one ,  two"), ("(it's)", " ( it ' s ) "),
                               ("\u00c9t\u00e9-2!", "\u00e9t\u00e9-2 ! ")):
            self.assertEqual(peer._plain(text), expected)

    def test_texts_of_several_labels_are_learned_one_against_rest(self):
        for train, fast_text, form in (("a\tone\nb\ttwo\n", [], "one-label"),
                                       ("a\tone\na,b\ttwo\n", ["-loss", "ova"],
                                        "one-against-rest")):
            with self.subTest(train=train), tempfile.TemporaryDirectory() as folder:
                corpus = self.write_corpus("news", train)
                fast, svm = contestants.FastText(), contestants.Sklearn("SVM words", "svm-words")
                for peer in (fast, svm):
                    peer.prepare(corpus, pathlib.Path(folder))
                last_options = fast._train[0][fast._train[0].index("-verbose") + 2:]
                self.assertEqual(last_options, fast_text)
                self.assertIn(form, svm._train[0])

    def test_reads_labels_of_fast_text(self):
        peer = self.prepared(contestants.FastText(), self.write_corpus("news"))
        (self.folder / "fastText" / "results").write_text("__label__1 0.9\n\n__label__0 1.00001\n")

        self.assertEqual(list(peer._labels()), ["b", "", "a"])

    def test_gives_bogofilter_a_mailbox_for_each_label(self):
        self.prepared(contestants.Bogofilter(), self.write_corpus(
            "mail", "ham\tFrom here\nspam\tbuy\nham\t\n"))

        head = "From x Mon Jan  1 00:00:00 2024\n\n"
        self.assertEqual((self.folder / "bogofilter" / "0.mbox").read_text(),
                         f"{head}>From here\n\n{head}\n\n")
        self.assertEqual((self.folder / "bogofilter" / "1.mbox").read_text(), f"{head}buy\n\n")

    def test_reads_labels_of_bogofilter(self):
        peer = self.prepared(contestants.Bogofilter(), self.write_corpus("mail"))
        (self.folder / "bogofilter" / "results").write_text("S 0.99\nU 0.5\nU 0.49\nH 1e-06\n")

        self.assertEqual(list(peer._labels()), ["b", "b", "a", "a"])

    def test_bogofilter_takes_two_labels_of_which_each_text_has_one(self):
        for train, expected in (("a\tone\nb\ttwo\n", True), ("a\tone\n", False),
                                ("a\tone\nb\ttwo\nc\tthree\n", False),
                                ("a,b\tone\nb\ttwo\n", False)):
            with self.subTest(train=train):
                corpus = self.write_corpus("mail", train)
                self.assertEqual(contestants.Bogofilter().can_take(corpus), expected)

    def test_names_the_packages_of_missing_peers_once(self):
        def peer(package, is_installed):
            return types.SimpleNamespace(package=package, is_installed=lambda: is_installed)

        contestants.check_installed([peer("here", True)])
        with self.assertRaisesRegex(Failure, "packages: one, two; `script/bootstrap peers`"):
            contestants.check_installed([peer("two", False), peer("one", False),
                                         peer("here", True), peer("two", False)])


def outcome(seconds, train=None, classify=None, peak=1000, accuracy=0.5):
    return Outcome(processes.Cost(seconds / 2 if train is None else train, peak),
                   processes.Cost(seconds / 4 if classify is None else classify, peak),
                   processes.Cost(seconds, peak), accuracy)


class RoundsTest(unittest.TestCase):
    def test_runs_take_turns_and_slow_jobs_run_once(self):
        calls = []

        def contestant(name, seconds):
            def run():
                calls.append(name)
                return outcome(seconds)
            return types.SimpleNamespace(name=name, run=run)

        peers.interleaved_runs(
            [contestant("fast", 60), contestant("slow", 61), contestant("other", 1)], 3)

        self.assertEqual(calls, ["fast", "slow", "other", "fast", "other", "fast", "other"])

    def test_takes_the_median_of_each_figure(self):
        median = peers.median_outcome([outcome(10, 1, 9, 300, 0.5), outcome(10, 3, 7, 100, 0.5),
                                       outcome(40, 2, 8, 200, 0.25)])

        self.assertEqual((median.train_seconds, median.classify_seconds, median.whole_seconds,
                          median.peak_bytes, median.accuracy), (2, 8, 10, 200, 0.5))

    def test_gives_ratios_of_ours_to_the_peer(self):
        row = peers.ratio_row("news", "us", "them", outcome(4, 1, 3, 500, 0.80),
                              outcome(6, 4, 2, 1000, 0.825))

        self.assertEqual(row.split(),
                         ["news", "us", "them", "0.250", "1.500", "0.667", "0.500", "-2.50"])


class BarsTest(FolderTest):
    def test_ratio_is_the_phase_divided_by_the_anchor(self):
        medians = {"zandrel words": outcome(4, 1, 3), "fastText": outcome(14, 8, 6)}
        of_phase = [bars.Bar(phase, "news", "zandrel words", "fastText", 0.4).ratio(medians)
                    for phase in ("train", "classify")]

        self.assertEqual(of_phase, [0.125, 0.5])

    def test_each_anchor_is_a_peer(self):
        names = {peer.name for peer in contestants.peers()}

        for bar in bars.BARS:
            self.assertIn(bar.anchor, names)

    def test_only_anchors_run_and_each_bar_is_judged(self):
        self.write_corpus("clinc150")
        self.write_corpus("other")
        options = types.SimpleNamespace(data=self.folder, corpus=["clinc150"], runs=None, bars=True)
        ran = []

        def interleaved_runs(all_of_them, runs):
            ran.extend((contestant.name, runs) for contestant in all_of_them)
            return {contestant.name: [outcome(1, 1 if "zandrel" in contestant.name else 8)]
                    for contestant in all_of_them}

        table = io.StringIO()
        with mock.patch.multiple(peers, interleaved_runs=interleaved_runs,
                                 check_installed=lambda _: None, build_program=lambda: None,
                                 write_thousand=lambda folder: (folder / "thousand.train.tsv", None)), \
                contextlib.redirect_stdout(table):
            status = peers.compare_with_peers(options)

        self.assertEqual(status, 0)
        self.assertEqual(sorted(ran), [("SVM 1-2-grams", 1), ("SVM words", 1), ("fastText", 1),
                                       ("zandrel phrases", 1), ("zandrel words", 1)])
        rows = [line.split() for line in table.getvalue().splitlines()]
        self.assertIn("train clinc150, words SVM words 0.125 0.1 missed".split(), rows)
        self.assertIn("train clinc150, phrases SVM 1-2-grams 0.125 0.2 reached".split(), rows)
        self.assertIn("classify clinc150, words fastText 1.000 0.4 missed".split(), rows)

    def test_rules_are_compared_by_the_number_of_operators(self):
        names = ("BM_EvaluateRule_Arithmetic<Operands::kKeys>", "BM_EvaluateMuParser_Variable")
        result = {"benchmarks": [{"name": f"{name}/{operators}", "cpu_time": operators * factor}
                                 for name, factor in zip(names, (6.0, 4.0))
                                 for operators in (1, 10, 100)]}

        self.assertEqual(bars.rule_ratios(result),
                         [(f"rule of {operators} operators with $key(n)", "muParser", 1.5, aim)
                          for operators, aim in ((1, 1.5), (10, 1.0), (100, 1.0))])

        del result["benchmarks"][5]
        with self.assertRaisesRegex(Failure, "no benchmark 'BM_EvaluateMuParser_Variable/100'"):
            bars.rule_ratios(result)

    def test_failing_part_leaves_the_other_figures(self):
        def fail(_):
            raise Failure("no benchmark")

        with mock.patch.object(bars, "figures_of_parts", fail):
            self.assertIsNone(peers.measure_parts(self.folder))
        self.assertIn("no benchmark", self.messages.getvalue())

    def test_record_file_is_compared_with_the_mapped_floor(self):
        text = ("to mapped floor     1.38     1.42\n\nread, to the flushing floor   1.03, at most 1.10: held\n"
                "all but reopening, to the mapped floor      1.31, at most 1.28: missed\n")

        self.assertEqual(bars.record_file_ratio(text), 1.31)
        with self.assertRaisesRegex(Failure, "no ratio"):
            bars.record_file_ratio("")

    def test_all_corpora_include_the_synthetic_one(self):
        self.write_corpus("news")
        made_up = lambda folder: (folder / "thousand.train.tsv", folder / "thousand.test.tsv")
        for corpus, expected in ((None, ["news", "thousand"]), (["news"], ["news"]),
                                 (["thousand"], ["thousand"])):
            options = types.SimpleNamespace(data=self.folder, corpus=corpus, bars=False)
            with self.subTest(corpus=corpus), mock.patch.object(peers, "write_thousand", made_up):
                self.assertEqual([one.name for one in peers.corpora_of(options, self.folder)],
                                 expected)


class AccuracyTest(FolderTest):
    def test_measures_the_others_if_corpora_are_bad(self):
        self.write_corpus("bad")
        self.write_corpus("empty", train="")
        self.write_corpus("good")
        result = {"accuracy": 0.75, "micro_f1": 0.5, "ece_top": 0.125, "ece_pairs": 0.25,
                  "training": {"cpu_seconds": 1.5}, "test": {"cpu_seconds": 0.25}}

        def evaluate(corpus, _):
            if corpus.name == "bad":
                raise Failure("bad.train.tsv: out of order")
            return result

        options = types.SimpleNamespace(data=self.folder, corpus=None, analysis=["words"])
        table = io.StringIO()
        with mock.patch.object(accuracy, "evaluate", evaluate), \
                mock.patch.object(accuracy, "build_program", lambda: None), \
                contextlib.redirect_stdout(table):
            status = accuracy.print_accuracy(options)

        self.assertEqual(status, 1)
        self.assertIn("bad.train.tsv: out of order", self.messages.getvalue())
        self.assertIn("empty.train.tsv: no text with a word", self.messages.getvalue())
        self.assertEqual(table.getvalue().splitlines()[-1].split(),
                         ["good", "words", "75.00", "50.00", "0.1250", "0.2500", "0.2500", "1.50",
                          "0.25"])


class ConfidenceTest(FolderTest):
    OPTIONS = {"analysis": "words", "corpus": None, "outside": "none"}

    @staticmethod
    def report(correct=80, texts=100, answered=None, threshold=0.75):
        result = {"accuracy": 0.8, "correct": correct, "ece_top": 0.125, "confidence": {"ece_top": 0.0625},
                  "test": {"texts": texts},
                  "intervals": {"texts": texts, "accuracy": [0.75, 0.85], "ece_top": [0.0625, 0.1875],
                                "confidence": {"ece_top": [0.03125, 0.09375]},
                                "answered_share": [0.25, 0.5]},
                  "wanted_precision": {"threshold": threshold, "precision": 0.96,
                                       "precision_interval": [0.9, 0.99], "share": 0.5}}
        if answered is not None:
            result["rejection"] = {"texts": texts, "answered": answered}
        return result

    def test_row_has_figures_with_intervals(self):
        row = confidence.calibration_row("mail", self.report()).split()
        self.assertEqual(row, ["mail", "100", "80.00", "[75.0-85.0]", "0.1250", "[0.0625-0.1875]",
                               "0.0625", "[0.0312-0.0938]", "0.7500", "96.00", "[90.0-99.0]", "50.0"])

    def test_precision_that_is_not_reached_is_a_dash(self):
        row = confidence.calibration_row("mail", self.report(threshold=None)).split()
        self.assertEqual(row[-3:], ["none", "-", "50.0"])

    def test_precision_of_no_answered_text_is_a_dash(self):
        report = self.report()
        report["wanted_precision"].update(precision=None, precision_interval=None, share=0)
        self.assertEqual(confidence.calibration_row("mail", report).split()[-3:], ["0.7500", "-", "0.0"])

    def test_texts_of_no_category_are_divided_from_the_others(self):
        corpus = self.write_corpus("mail", train="a\tone\nnone\ttwo\n", test="none,b\tx\nb\ty\nnone\tz\n")
        inside, outside_test = confidence.divided(corpus, "none", self.folder)
        self.assertEqual(inside.name, "mail without none")
        self.assertEqual(inside.train.read_bytes(), b"a\tone\n")
        self.assertEqual(inside.test.read_bytes(), b"b\ty\n")
        self.assertEqual(outside_test.read_bytes(), b"none,b\tx\nnone\tz\n")

    def test_rejected_texts_of_no_category_are_compared_with_lost_answers(self):
        """40 of 100 outside texts are answered. Of 100 others 80 were right without a threshold; 60 are
        answered now, 55 of them right: 25 right answers are lost, and 15 of 20 wrong ones avoided."""
        row = confidence.outside_row(0.5, self.report(correct=0, answered=40),
                                     self.report(correct=55, answered=60), self.report()).split()
        self.assertEqual(" ".join(row), "0.50 60 of 100: 60.00 [50.0-75.0] 60 of 100 25 of 80 15 of 20 "
                                        "80.00 [75.0-85.0]")

    def test_corpus_is_also_measured_without_the_label(self):
        self.write_corpus("mail", train="a\tone\nnone\ttwo\n", test="a\tone\nnone\ttwo\n")
        commands = []

        def output_of(command):
            commands.append([str(word) for word in command])
            return json.dumps(self.report(answered=50) if "--reject" in commands[-1] else self.report())

        table = io.StringIO()
        with mock.patch("benchmarks.program.output_of", output_of), \
                mock.patch.object(confidence, "build_program", lambda: None), \
                contextlib.redirect_stdout(table):
            status = confidence.measure_confidence(types.SimpleNamespace(data=self.folder, **self.OPTIONS))

        self.assertEqual(status, 0, self.messages.getvalue())
        rows = [line.split()[0] for line in table.getvalue().splitlines() if line]
        self.assertEqual(rows.count("mail"), 3)  # with all texts, without the label, the heading below
        self.assertEqual([command[1] for command in commands].count("train"), 1)
        self.assertEqual(sum("--reject" in command for command in commands),
                         2 * len(confidence.THRESHOLDS))

    def test_corpus_that_fails_is_reported(self):
        self.write_corpus("empty", train="")
        with mock.patch.object(confidence, "build_program", lambda: None), \
                contextlib.redirect_stdout(io.StringIO()):
            status = confidence.measure_confidence(types.SimpleNamespace(data=self.folder, **self.OPTIONS))
        self.assertEqual(status, 1)
        self.assertIn("empty.train.tsv: no text with a word", self.messages.getvalue())


class StartTest(FolderTest):
    def test_takes_the_first_text_with_a_word(self):
        corpus = self.write_corpus("news", test="a\t, -\na,b\tone\rtwo\n")
        commands = []

        def run(command, _):
            commands.append(command)
            pathlib.Path(command[2]).write_bytes(b"x" * len(command))

        with mock.patch.object(start, "run", run):
            full, compact, training = start.ways_to_start(corpus, "words", self.folder)

        self.assertEqual([way.name for way in (full, compact, training)],
                         ["full", "compact", "no file"])
        self.assertEqual([command[3:] for command in commands],
                         [[str(corpus.train), "--analysis", "words"],
                          [str(corpus.train), "--analysis", "words", "--compact"]])
        self.assertEqual((full.line, full.file_bytes, compact.file_bytes), ("one two\n", 6, 7))
        self.assertEqual(full.command[1:], ["classify", commands[0][2]])
        self.assertIsNone(training.line)
        self.assertEqual((self.folder / "one_text").read_text(), "a,b\tone two\n")

    def test_prints_medians_and_their_ratios_to_training(self):
        table = io.StringIO()
        with contextlib.redirect_stdout(table):
            start.print_starts("news",
                               [start.Start("full", [], "x", 2500000), start.Start("no file", [])],
                               {"full": [0.03, 0.01, 0.02], "no file": [4.0, 2.0, 1.0]})

        self.assertEqual([line.split() for line in table.getvalue().splitlines()],
                         [["news", "full", "2.50", "20.0", "0.0100", "3"],
                          ["news", "no", "file", "-", "2000.0", "1.0000", "3"]])

    def test_runs_take_turns(self):
        calls = []
        ways = [types.SimpleNamespace(name=name, seconds=lambda name=name: calls.append(name))
                for name in ("full", "no file")]

        start.interleaved_seconds(ways, 2)

        self.assertEqual(calls, ["full", "no file", "full", "no file"])


def point(texts, accuracy, trained=None):
    result = {"texts": texts, "accuracy": accuracy, "concepts": 10 * texts, "file_bytes": 2500000,
              "cpu_seconds": 1.25}
    if trained is not None:
        result["trained"] = point(texts, trained)
    return result


def trial(settings, swap_accuracies):
    return {"settings": settings,
            "one_text": {"before": point(10, 0.75), "after": point(11, 0.5)},
            "rest": [{"bulks": "1:10",
                      "points": [point(2, 0.25, 0.75), point(6, 0.5, 0.75), point(10, 0.75, 0.5)]}],
            "swap": {"labels": ["a", "b"],
                     "points": [point(1000 + 625 * i, accuracy)
                                for i, accuracy in enumerate(swap_accuracies)]}}


class LearningTest(FolderTest):
    def options(self, **changed):
        return types.SimpleNamespace(**{"analysis": "words", "settings": None, "bulks": None,
                                        "plots": self.folder, **changed})

    def test_large_corpora_are_learned_in_the_largest_bulks_only(self):
        small = self.write_corpus("small")
        large = self.write_corpus("large", train="a\t" + "x" * learning.LARGE_CORPUS + "\n")

        for corpus, given, expected in ((small, None, ["1:100", "10:1000", "100:100", "1000:1000"]),
                                        (large, None, ["1000:1000"]),
                                        (large, ["5:7"], ["5:7"])):
            with self.subTest(corpus=corpus.name, given=given):
                command = learning.command_of(corpus, self.options(bulks=given))
                self.assertEqual([word for before, word in zip(command, command[1:])
                                  if before == "--bulks"], expected)

    def test_settings_are_measured_side_by_side(self):
        self.assertEqual(learning.common_arguments(self.options()),
                         ["--analysis", "words", "--settings", ""])
        self.assertEqual(learning.common_arguments(self.options(settings=["", "A=1 B=2"])),
                         ["--analysis", "words", "--settings", "", "--settings", "A=1 B=2"])

    def test_rest_is_compared_with_training_on_as_many_texts(self):
        one = trial("A=1", [0.5])

        self.assertEqual(learning.one_text_row("news", one).split(),
                         ["news", "A=1", "75.0", "50.0", "-25.0"])
        # The first point is before learning, so it does not count for the differences -25 and +25.
        self.assertEqual(learning.rest_row("news", one, one["rest"][0]).split(),
                         ["news", "A=1", "1:10", "75.0", "-25.0", "+0.0", "+25.0", "100", "2.50",
                          "1.2"])

    def test_each_tenth_is_beside_the_model_trained_on_as_many_texts(self):
        one = trial("A=1", [0.5])
        curve = one["rest"][0]
        curve["points"][1]["trained"].update(concepts=7, file_bytes=1500000, cpu_seconds=0.5)

        self.assertEqual(learning.tenth_row("news", one, curve, curve["points"][1]).split(),
                         ["news", "A=1", "1:10", "6", "50.0", "75.0", "60", "7", "2.50", "1.50",
                          "1.2", "0.5"])
        table = io.StringIO()
        with contextlib.redirect_stdout(table):
            learning.print_tables("news", {"analysis": "words", "trials": [one]})
        texts = [line.split()[3] for line in table.getvalue().splitlines()
                 if line.startswith("news") and len(line.split()) == 12]
        self.assertEqual(texts, ["2", "6", "10"])

    def test_swap_is_compared_after_1250_texts_or_at_the_end_of_a_shorter_half(self):
        long = trial("", [0.25, 0.375, 0.5, 0.75])
        short = trial("", [0.25, 0.375])

        self.assertEqual(learning.accuracy_after_swap(long), 0.5)
        self.assertEqual(learning.accuracy_after_swap(short), 0.375)
        self.assertEqual(learning.swap_row("news", long, 0.625).split(),
                         ["news", "program", "25.0", "50.0", "-12.5", "75.0"])

    def test_tables_name_the_difference_to_the_best_settings(self):
        table = io.StringIO()
        with contextlib.redirect_stdout(table):
            learning.print_tables("news", {"analysis": "words",
                                           "trials": [trial("", [0, 0, 0.5]),
                                                      trial("A=1", [0, 0, 0.75])]})

        rows = [line.split() for line in table.getvalue().splitlines()]
        self.assertIn(["news", "program", "0.0", "50.0", "-25.0", "50.0"], rows)
        self.assertIn(["news", "A=1", "0.0", "75.0", "+0.0", "75.0"], rows)

    def test_growth_is_measured_from_half_as_many_texts(self):
        points = [{"texts": texts, "concepts": 7, "file_bytes": size}
                  for texts, size in ((10, 1000000), (20, 1500000), (30, 1600000), (40, 1515000))]

        rows = learning.stream_rows({"settings": "", "points": points})

        self.assertEqual([row.split() for row in rows],
                         [["program", "10", "7", "1.00"], ["program", "20", "7", "1.50", "+50.0", "%"],
                          ["program", "30", "7", "1.60"], ["program", "40", "7", "1.51", "+1.0", "%"]])

    def test_plot_has_every_curve_and_the_trained_models(self):
        curves = learning.curves_of({"trials": [trial("A=1", [0.25, 0.5])]})

        self.assertEqual(curves["rest"],
                         [("A=1, trained on everything so far",
                           [(2, 75.0), (6, 75.0), (10, 50.0)]),
                          ("A=1, bulks 1:10", [(2, 25.0), (6, 50.0), (10, 75.0)])])
        self.assertEqual(curves["swap"], [("A=1", [(1000, 25.0), (1625, 50.0)])])
        self.assertEqual(learning.block_of(curves["swap"][0]), "1000 25.0\n1625 50.0\n\n\n")
        script = learning.plot_script("it's", curves, "it's.dat", "it's.svg")
        self.assertIn("set output 'it''s.svg'", script)
        for block, title in enumerate(("A=1, trained on everything so far", "A=1, bulks 1:10", "A=1")):
            self.assertIn(f"'it''s.dat' index {block} using 1:2 with linespoints title '{title}'",
                          script)

    def test_settings_that_train_alike_share_the_curve_of_the_trained_models(self):
        other = trial("B=1", [0.5])
        other["rest"][0]["points"][0]["trained"]["accuracy"] = 0.125

        curves = learning.curves_of({"trials": [trial("", [0.5]), trial("A=1", [0.5]), other]})

        self.assertEqual([title for title, _ in curves["rest"] if "trained" in title],
                         ["program, trained on everything so far",
                          "B=1, trained on everything so far"])

    def test_missing_gnuplot_is_named(self):
        with mock.patch.object(learning.shutil, "which", lambda _: None), \
                self.assertRaisesRegex(Failure, "gnuplot-nox; `script/bootstrap learning`"):
            learning.check_installed()

    def test_measures_the_others_if_a_corpus_is_bad(self):
        self.write_corpus("bad", train="")
        self.write_corpus("good")
        plotted = []

        def run(command):
            if "stream" in command:
                return {"analysis": "words", "trials": []}
            return {"analysis": "words", "trials": [trial("", [0.5])]}

        table = io.StringIO()
        with mock.patch.multiple(learning, run=run, check_installed=lambda: None,
                                 build_targets=lambda *_: None,
                                 plot=lambda name, *_: plotted.append(name)), \
                contextlib.redirect_stdout(table):
            status = learning.measure_learning(self.options(data=self.folder, corpus=None))

        self.assertEqual(status, 1)
        self.assertEqual(plotted, ["good"])
        self.assertIn("bad.train.tsv: no text with a word", self.messages.getvalue())
        self.assertIn("new words, analysis words", table.getvalue())

    def test_failure_of_the_program_is_reported(self):
        with self.assertRaisesRegex(Failure, "broken"):
            learning.run([sys.executable, "-c", "import sys; sys.exit('broken')"])


def point_of_curve(x, seconds):
    return curves.Point(x, {phase: seconds for phase in curves.PHASES}, 2500000, 30000000)


class CurvesTest(FolderTest):
    def test_each_curve_changes_one_thing(self):
        for name, points in curves.POINTS.items():
            recipes = [vars(curves.recipe_of(name, x)) for x in points]
            changed = {key for key in recipes[0] if len({recipe[key] for recipe in recipes}) > 1}
            with self.subTest(name=name):
                self.assertEqual(changed, {"messages": {"texts"}, "words": {"mean_length"},
                                           "vocabulary": {"words"}, "categories": {"labels"},
                                           "depth": set()}[name])
                self.assertIn(name, curves.TITLES)

    def test_labels_of_a_chain_are_spread_over_its_levels(self):
        with mock.patch.object(curves, "DEPTH_LABELS", 4):
            nodes = curves.nodes_of_chain(2)

        self.assertEqual(nodes, [("root/down", "stat"), ("root/down/label0001", "leaf"),
                                 ("root/label0002", "leaf"), ("root/down/label0003", "leaf")])

    def test_classifying_is_without_the_load(self):
        def one_run(folder, _):
            (folder / "trained.kc").write_bytes(b"x" * 70)
            return {phase: processes.Cost(seconds, 10 * seconds) for phase, seconds in
                    zip(curves.PHASES, (8, 4, 1, 3))}

        with mock.patch.object(curves, "one_run", one_run):
            point = curves.measure_point("messages", 10, 1, self.folder)

        self.assertEqual(point, curves.Point(10, {"train": 8, "learn": 4, "load": 1, "classify": 2},
                                             70, 80))
        sizes = [len((self.folder / part).read_bytes().splitlines())
                 for part in ("train", "learn", "classify", "load")]
        self.assertEqual(sizes, [10, 500, 1000, 0])

    def test_growth_is_measured_between_the_last_points(self):
        table = io.StringIO()
        with contextlib.redirect_stdout(table):
            curves.print_growth("words", [point_of_curve(5, 9.0), point_of_curve(10, 2.0),
                                          point_of_curve(40, 6.0)])

        self.assertEqual(table.getvalue().split(), ["growth", "x", "4.00"] + ["x", "3.00"] * 4)

    def test_plot_has_every_phase_and_a_line_of_slope_1(self):
        script = curves.plot_script("words", [point_of_curve(1, 2.0), point_of_curve(4, 2.0)], "a.svg")

        # The geometric mean is x = 2 and 2 seconds.
        self.assertIn("$points << EOD\n1 2.000000 2.000000 2.000000 2.000000 1.000000\n"
                      "4 2.000000 2.000000 2.000000 2.000000 4.000000\nEOD\n", script)
        for column, phase in enumerate(curves.PHASES, 2):
            self.assertIn(f"$points using 1:{column} with linespoints title '{phase}'", script)


def model_of_stream(accuracy, file_bytes=2000000, cpu_seconds=0.5):
    return stream.Model(accuracy, file_bytes, cpu_seconds)


def point_of_stream(texts, accuracies):
    return stream.Point(texts, 7, 1500000, dict(zip(stream.MODELS, map(model_of_stream, accuracies))))


class StreamTest(FolderTest):
    def options(self, **changed):
        return types.SimpleNamespace(**{"analysis": "words", "parts": 2, "bulk": None, "corpus": None,
                                        "data": self.folder, "plots": self.folder, **changed})

    def measured(self, corpus, options):
        """The points, and the commands without the folder. Each command makes its first file."""
        commands = []

        def run(command, _):
            words = [pathlib.Path(word).name for word in command[1:]]
            commands.append(" ".join(words))
            file = command[3 if words[0] == "archive" else 2]
            pathlib.Path(file).write_bytes(b"x" * len(commands))
            if words[:2] == ["archive", "add"]:
                commands[-1] += f" ({len(pathlib.Path(command[4]).read_bytes().splitlines())})"
            return processes.Cost(1.0, 0)

        def answer(command, **_):
            out = '{"accuracy": 0.5, "messages": 3}'
            return subprocess.CompletedProcess(command, 0, out, "")

        with mock.patch.object(stream, "run", run), \
                mock.patch.object(stream.subprocess, "run", answer), \
                contextlib.redirect_stdout(io.StringIO()):
            points = stream.measure_stream(corpus, options)
        return points, commands

    def test_order_of_arrival_does_not_depend_on_the_file(self):
        texts = [(["a"], f"text {number}") for number in range(20)]

        ordered = stream.in_order_of_arrival(texts)

        self.assertEqual(ordered, stream.in_order_of_arrival(reversed(texts)))
        self.assertEqual(sorted(ordered), sorted(f"a\ttext {number}\n".encode() for number in range(20)))
        self.assertNotEqual(ordered, sorted(ordered))

    def test_sizes_of_parts_differ_by_at_most_one(self):
        parts = stream.parts_of(list(range(11)), 4)

        self.assertEqual([len(part) for part in parts], [2, 3, 3, 3])
        self.assertEqual(sum(parts, []), list(range(11)))

    def test_later_parts_are_learned_from_the_archive(self):
        corpus = self.write_corpus("news", "a\tone\nb\ttwo\na\tthree\nb\tfour\na\tfive\n")

        points, commands = self.measured(corpus, self.options(bulk=2))

        retrained = "archive train copy.arc copy.kc --add-categories"
        self.assertEqual(commands, [
            "archive create stream.arc --analysis words",
            "train all.kc so_far.tsv --replace --analysis words",
            "archive add stream.arc added.tsv (2)",
            "archive train stream.arc learned.kc --add-categories",
            retrained,
            "train all.kc so_far.tsv --replace --analysis words",
            "archive add stream.arc added.tsv (2)",
            "archive learn stream.arc learned.kc --add-categories",
            "archive add stream.arc added.tsv (1)",
            "archive learn stream.arc learned.kc --add-categories",
            retrained])
        self.assertEqual([point.texts for point in points], [2, 5])
        self.assertEqual(points[1].kept, 3)
        self.assertEqual([points[1].models[name].cpu_seconds for name in stream.MODELS], [4.0, 1.0, 1.0])

    def test_without_a_bulk_a_part_is_learned_at_once(self):
        corpus = self.write_corpus("news", "a\tone\nb\ttwo\na\tthree\nb\tfour\n")

        _, commands = self.measured(corpus, self.options())

        self.assertEqual([line for line in commands if line.startswith("archive learn")],
                         ["archive learn stream.arc learned.kc --add-categories"])

    def test_refuses_more_parts_than_texts(self):
        with self.assertRaisesRegex(Failure, "fewer texts than parts"):
            self.measured(self.write_corpus("news"), self.options(parts=3))

    def test_row_has_the_figures_of_each_model(self):
        table = io.StringIO()
        with contextlib.redirect_stdout(table):
            stream.print_point(point_of_stream(1200, (0.5, 0.25, 0.75)))

        self.assertEqual(table.getvalue().split(),
                         ["1,200", "7", "1.5", "50.0", "25.0", "75.0"] + ["2.0"] * 3 + ["0.5"] * 3)

    def test_plot_has_accuracy_and_size_of_each_model_and_the_archive(self):
        script = stream.plot_script("it's", [point_of_stream(10, (0.5, 0.25, 0.75))], "a.svg")

        self.assertIn("EOD\n10 50.0000 25.0000 75.0000 2.000000 2.000000 2.000000 1.500000\nEOD\n",
                      script)
        self.assertIn("set title 'it''s: accuracy'", script)
        for column, name in enumerate(stream.MODELS, 2):
            for place in (column, column + 3):
                self.assertIn(f"$points using 1:{place} with linespoints title '{stream.TITLES[name]}'",
                              script)
        self.assertIn("$points using 1:8 with linespoints title 'archive'", script)

    def test_measures_only_the_default_corpus_and_goes_on_after_a_bad_one(self):
        self.write_corpus("20ng")
        self.write_corpus("bad", train="")
        drawn = []
        patched = mock.patch.multiple(stream, check_installed=lambda: None, build_program=lambda: None,
                                      draw=drawn.append,
                                      measure_stream=lambda *_: [point_of_stream(1, (0.5, 0.5, 0.5))])
        table = io.StringIO()
        with patched, contextlib.redirect_stdout(table):
            self.assertEqual(stream.measure_streams(self.options()), 0)
            self.assertEqual(stream.measure_streams(self.options(corpus=["bad", "20ng"], bulk=1000)), 1)

        self.assertEqual(len(drawn), 2)
        self.assertIn("stream-20ng.svg", drawn[0])
        self.assertIn("bad.train.tsv: no text with a word", self.messages.getvalue())
        self.assertIn("and `archive learn`, a part at a time", table.getvalue())
        self.assertIn("and `archive learn`, in bulks of 1,000 messages", table.getvalue())


class CommandLineTest(FolderTest):
    def bench(self, *arguments):
        return subprocess.run([sys.executable, PROJECT / "script" / "bench", *arguments],
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)

    def test_refuses_bad_arguments_and_folders(self):
        for arguments, status, message in (
                ([], 2, "required: COMMAND"),
                (["accuracy"], 2, "required: --data"),
                (["peers", "--data", "x", "--runs", "0"], 2, "'0' is no number above 0"),
                (["start", "--data", "x", "--runs", "0"], 2, "'0' is no number above 0"),
                (["curves", "--curve", "none"], 2, "invalid choice: 'none'"),
                (["learning", "--data", "x", "--bulks", "5"], 2, "'' is no number above 0"),
                (["learning", "--data", "x", "--bulks", "0:5"], 2, "'0' is no number above 0"),
                (["learning", "--data", self.folder], 1, "bench: .*: no NAME.train.tsv"),
                (["confidence", "--data", self.folder], 1, "bench: .*: no NAME.train.tsv"),
                (["start", "--data", self.folder], 1, "bench: .*: no NAME.train.tsv"),
                (["stream", "--data", "x", "--parts", "0"], 2, "'0' is no number above 0"),
                (["stream", "--data", self.folder], 1, "bench: .*: no NAME.train.tsv"),
                (["accuracy", "--data", self.folder], 1, "bench: .*: no NAME.train.tsv"),
                (["peers", "--data", self.folder / "none"], 1, "bench: .*none: no such folder")):
            with self.subTest(arguments=arguments):
                done = self.bench(*arguments)
                self.assertEqual(done.returncode, status)
                self.assertRegex(done.stderr, message)



class TuneTest(FolderTest):
    def test_every_fifth_text_is_held_out(self):
        path = self.write("train", "".join(f"line {number}\n" for number in range(12)))

        learned, held_out = tune.divided(path)

        self.assertEqual(held_out.read_text("utf-8"), "line 0\nline 5\nline 10\n")
        self.assertEqual(len(learned.read_text("utf-8").splitlines()), 9)

    def test_range_is_that_of_wilson(self):
        # 8 of 10: the roots of (0.8 - p)^2 = z^2 p (1 - p) / 10.
        low, high = tune.wilson_range(8, 10)
        for bound in (low, high):
            self.assertAlmostEqual((0.8 - bound) ** 2, 1.959964 ** 2 * bound * (1 - bound) / 10)
        self.assertLess(low, 0.8)
        self.assertGreater(high, 0.8)

    def test_gain_is_that_of_the_same_texts(self):
        # Differences 1, 1, -1 and 0: the mean is 1/4, the squares are 2 * 9/16 + 25/16 + 1/16.
        gain, error = tune.paired_gain([False, False, True, True], [True, True, False, True])

        self.assertAlmostEqual(gain, 0.25)
        self.assertAlmostEqual(error, (2.75 / 12) ** 0.5)

    def test_a_row_has_range_texts_and_gain(self):
        contestant = types.SimpleNamespace(name="zandrel tune", rights=[True, True, False, True])
        outcome = types.SimpleNamespace(accuracy=0.75, train_seconds=12.34)

        row = tune.row_of("news", contestant, outcome, [False, False, True, True])

        for text in ("news", "zandrel tune", "75.00", "+25.00 (47.87)", "12.3", "30.1 to 95.4"):
            self.assertIn(text, row)

    def test_a_search_gets_the_time_and_only_the_training_file(self):
        corpus = self.write_corpus("news", train="a\tone\nb\ttwo\n" * 5)
        for contestant in (tune.TunedZandrel(7), tune.TunedFastText(7)):
            contestant.prepare(corpus, self.folder)
            words = contestant._train[0]
            self.assertIn("7", words)
            self.assertNotIn(str(corpus.test), words)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
