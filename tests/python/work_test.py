"""Tests of long work: progress, Ctrl-C, exceptions of callers, threads and forks."""

import multiprocessing
import os
import signal
import subprocess
import sys
import threading
import time

import pytest

import zandrel
from conftest import TRAIN


def interrupt_soon(seconds):
    timer = threading.Timer(seconds, os.kill, (os.getpid(), signal.SIGINT))
    timer.start()
    return timer


def test_progress_grows_to_the_end(shop_kc, train_pairs):
    reports = []
    classifier = zandrel.Classifier.train(train_pairs * 5, progress=reports.append)
    assert reports == sorted(reports)
    assert 0 <= reports[0] and reports[-1] <= 1
    learned = []
    classifier.learn(train_pairs * 5, progress=learned.append)
    assert learned == sorted(learned) and learned


def test_false_of_the_callback_ends_training(train_pairs):
    calls = []

    def stop(done):
        calls.append(done)
        return False

    with pytest.raises(zandrel.WorkInterruptedError) as caught:
        zandrel.Classifier.train(train_pairs * 5, progress=stop)
    assert caught.value.code is zandrel.ErrorCode.interrupted
    assert len(calls) == 1


def test_false_of_the_callback_leaves_the_classifier_as_it_was(train_pairs, test_texts):
    classifier = zandrel.Classifier.train(train_pairs)
    expected = classifier.classify(test_texts, count=-1)
    with pytest.raises(zandrel.WorkInterruptedError):
        classifier.learn(train_pairs * 5, progress=lambda done: False)
    assert classifier.classify(test_texts, count=-1) == expected


def test_other_false_values_of_the_callback_do_not_end_the_work(train_pairs):
    for value in (None, 0, ""):
        zandrel.Classifier.train(train_pairs, progress=lambda done, value=value: value)


def test_exception_of_the_callback_passes_through(train_pairs):
    class Mine(Exception):
        pass

    def fail(done):
        raise Mine("from the callback")

    with pytest.raises(Mine, match="from the callback"):
        zandrel.Classifier.train(train_pairs, progress=fail)


def test_exception_of_an_iterator_passes_through(shop):
    def texts():
        yield "a parcel"
        raise KeyError("from the iterator")

    def examples():
        yield "a", "one"
        raise KeyError("from the iterator")

    for call in (
        lambda: shop.classify(texts()),
        lambda: shop.explain(texts()),
        lambda: list(shop.stream(texts())),
        lambda: zandrel.Classifier.train(examples()),
        lambda: shop.learn(examples()),
    ):
        with pytest.raises(KeyError, match="from the iterator"):
            call()


def test_callback_cannot_use_a_classifier(shop, train_pairs):
    with pytest.raises(RuntimeError, match="a progress callback cannot use a classifier"):
        zandrel.Classifier.train(train_pairs, progress=lambda done: shop.classify("x"))
    assert shop.classify("a parcel")


def test_iterator_can_use_the_classifier_that_learns(train_pairs):
    classifier = zandrel.Classifier.train(train_pairs)
    texts = ["where is my parcel", "I want my money back"]
    classifier.learn((classifier.classify(text)[0].name, text) for text in texts)


def test_ctrl_c_ends_classifying(shop, test_texts):
    texts = test_texts * 5000
    timer = interrupt_soon(0.2)
    begin = time.monotonic()
    with pytest.raises(KeyboardInterrupt):
        shop.classify(texts)
    timer.join()
    assert time.monotonic() - begin < 5
    assert shop.classify("a parcel")


def test_ctrl_c_ends_training_without_a_callback(train_pairs):
    timer = interrupt_soon(0.3)
    with pytest.raises(KeyboardInterrupt):
        for _ in range(1000):
            zandrel.Classifier.train(train_pairs * 20)
    timer.join()


def test_ctrl_c_ends_learning_and_changes_nothing(train_pairs, test_texts):
    classifier = zandrel.Classifier.train(train_pairs)
    expected = classifier.classify(test_texts, count=-1)

    def interrupt(done):
        signal.raise_signal(signal.SIGINT)

    with pytest.raises(KeyboardInterrupt):
        classifier.learn(train_pairs, progress=interrupt)
    assert classifier.classify(test_texts, count=-1) == expected


def test_jobs_give_the_same_answers(shop, test_texts):
    texts = test_texts * 10
    expected = shop.classify(texts, count=-1)
    for jobs in (0, 2, 3, 8):
        assert shop.classify(texts, count=-1, jobs=jobs) == expected
    assert list(shop.stream(texts, count=-1, jobs=2, block=100)) == expected
    assert shop.explain(texts[:40], jobs=2) == shop.explain(texts[:40])


def test_other_threads_run_while_the_engine_works(train_pairs):
    turns = 0
    done = threading.Event()

    def count():
        nonlocal turns
        while not done.is_set():
            turns += 1
            time.sleep(0.001)

    examples = train_pairs * 10
    thread = threading.Thread(target=count)
    # The interval is so long that a thread does not get the lock unless the engine releases it.
    interval = sys.getswitchinterval()
    sys.setswitchinterval(60)
    try:
        thread.start()
        turns = 0
        zandrel.Classifier.train(examples)
        seen = turns
    finally:
        done.set()
        sys.setswitchinterval(interval)
        thread.join()
    assert seen > 5


def test_threads_classify_while_another_learns(train_pairs, test_texts):
    first = zandrel.Classifier.train(train_pairs)
    second = zandrel.Classifier.train(train_pairs)
    expected = first.classify(test_texts, count=-1)
    failures = []

    def classify():
        for _ in range(5):
            if first.classify(test_texts, count=-1) != expected:
                failures.append("other answers")

    threads = [threading.Thread(target=classify) for _ in range(4)]
    for thread in threads:
        thread.start()
    for _ in range(3):
        second.learn(train_pairs[:50])
    for thread in threads:
        thread.join()
    assert failures == []


def test_close_waits_for_running_calls(train_pairs, test_texts):
    classifier = zandrel.Classifier.train(train_pairs)
    results = []

    def classify():
        try:
            while True:
                results.append(classifier.classify(test_texts[:50]))
        except zandrel.ClosedError:
            results.append("closed")

    threads = [threading.Thread(target=classify) for _ in range(3)]
    for thread in threads:
        thread.start()
    while len(results) < 10:
        time.sleep(0.001)
    classifier.close()
    for thread in threads:
        thread.join(timeout=30)
    assert results.count("closed") == 3


def test_forked_process_classifies(shop, test_texts):
    expected = shop.classify(test_texts)
    reader, writer = multiprocessing.Pipe(duplex=False)
    child = os.fork()
    if child == 0:
        status = 1
        try:
            writer.send(shop.classify(test_texts))
            status = 0
        finally:
            os._exit(status)
    assert reader.poll(30)
    assert reader.recv() == expected
    assert os.waitpid(child, 0)[1] == 0


def test_process_ends_with_an_open_classifier(shop_kc):
    code = (
        "import sys, zandrel\n"
        "c = zandrel.Classifier.open(sys.argv[1])\n"
        "c.itself = c\n"
        "print(c.classify('my parcel is lost')[0].name)\n"
    )
    done = subprocess.run(
        [sys.executable, "-c", code, shop_kc], capture_output=True, text=True, timeout=30
    )
    assert (done.returncode, done.stdout, done.stderr) == (0, "delivery\n", "")


def test_memory_of_a_stream_is_bounded(shop_kc):
    # All texts have 40 MB; a block of the stream has 2 MB.
    code = (
        "import resource, sys, zandrel\n"
        "def peak(): return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss\n"
        "c = zandrel.Classifier.open(sys.argv[1])\n"
        "texts = (f'{i} ' + 'parcel ' * 280 for i in range(20000))\n"
        "for number, labels in enumerate(c.stream(texts)):\n"
        "    if number == 4000: first = peak()\n"
        "print(peak() - first)\n"
    )
    done = subprocess.run(
        [sys.executable, "-c", code, shop_kc], capture_output=True, text=True, timeout=60
    )
    assert done.returncode == 0, done.stderr
    assert int(done.stdout) < 8_000


# The following tests run programs of their own, since a failure is a process that never ends.


BEGIN = """
import gc, signal, sys, threading, time, zandrel
pairs = [tuple(line.rstrip("\\n").split("\\t", 1)) for line in open(sys.argv[1], encoding="utf-8")]
train = zandrel.Classifier.train
"""


def run_code(code, *arguments):
    done = subprocess.run(
        [sys.executable, "-c", BEGIN + code, TRAIN, *arguments],
        capture_output=True,
        text=True,
        timeout=30,
    )
    return done.returncode, done.stdout, done.stderr


@pytest.fixture(scope="module")
def corpus(tmp_path_factory, run_program):
    path = tmp_path_factory.mktemp("corpus") / "shop.corpus"
    run_program("corpus", "import", path, TRAIN)
    return path


def test_two_threads_train_from_a_corpus_file(corpus):
    code = """
def work():
    for _ in range(3): train(sys.argv[2])
threads = [threading.Thread(target=work) for _ in range(2)]
for thread in threads: thread.start()
for thread in threads: thread.join()
print("end")
"""
    assert run_code(code, corpus) == (0, "end\n", "")


def test_records_of_a_corpus_are_freed_while_another_thread_trains(corpus):
    code = """
records = zandrel.Records(sys.argv[2])
next(records)
started = threading.Event()
thread = threading.Thread(target=lambda: train(pairs * 20, progress=lambda done: started.set()))
thread.start()
started.wait()
del records
thread.join()
print("end")
"""
    assert run_code(code, corpus) == (0, "end\n", "")


def test_callback_raises_at_the_end_while_another_thread_trains():
    code = """
rounds = 0
def work():
    while rounds < 6: train(pairs)
thread = threading.Thread(target=work)
thread.start()
def fail(done):
    if done >= 1: raise KeyError("at the end")
while rounds < 6:
    try: train(pairs[:100], progress=fail)
    except KeyError: rounds += 1
thread.join()
print("end")
"""
    assert run_code(code) == (0, "end\n", "")


def test_callback_frees_another_classifier_and_the_collector_a_third_one():
    code = """
others = [train(pairs[:50])]
cycle = train(pairs[:50])
cycle.itself = cycle
del cycle
def free(done):
    others.clear()
    gc.collect()
train(pairs, progress=free)
print("end")
"""
    assert run_code(code) == (0, "end\n", "")


def test_objects_freed_in_a_callback_do_not_stay_in_memory():
    code = """
import os
def used(): return int(open("/proc/self/statm").read().split()[1]) * os.sysconf("SC_PAGESIZE")
def turn():
    others = [train(pairs)]
    train(pairs[:50], progress=lambda done: others.clear())
for _ in range(3): turn()
before = used()
for _ in range(6): turn()
print(used() - before < 2_000_000)
"""
    assert run_code(code) == (0, "True\n", "")


@pytest.mark.parametrize(
    "call", ["shop.classify('parcel')", "zandrel.Classifier.open('any.kc')", "train(pairs[:9])"]
)
def test_signal_handler_cannot_use_a_classifier_during_the_work(call):
    code = f"""
shop = train(pairs[:100])
def handle(number, frame): {call}
signal.signal(signal.SIGALRM, handle)
try:
    for _ in range(100):
        # The iterable ends the preparation, so that the signal comes inside of the work.
        def examples():
            yield from pairs * 5
            signal.setitimer(signal.ITIMER_REAL, 0.06)
        shop.learn(examples())
except RuntimeError as error:
    print(error)
"""
    status, output, errors = run_code(code)
    assert (status, errors) == (0, "")
    assert output.startswith("a progress callback cannot use a classifier, nor can a signal handler")


def test_signal_handler_frees_a_classifier():
    code = """
others = [train(pairs[:50])]
def handle(number, frame): others.clear()
signal.signal(signal.SIGALRM, handle)
signal.setitimer(signal.ITIMER_REAL, 0.06)
while others: train(pairs * 5)
print("end")
"""
    assert run_code(code) == (0, "end\n", "")


@pytest.mark.parametrize(
    "work",
    [
        "shop.classify('a parcel')",
        "shop.classify(['a parcel'] * 2000, jobs=2)",
        "train(pairs)",
        "train(pairs, progress=lambda done: None)",
        "train(pairs[:5]).close()",
    ],
)
def test_process_ends_while_daemon_threads_work(work):
    code = f"""
shop = train(pairs[:100])
def repeat():
    while True: {work}
for _ in range(3): threading.Thread(target=repeat, daemon=True).start()
time.sleep(0.1)
print("end")
"""
    assert run_code(code) == (0, "end\n", "")


def test_functions_at_the_end_of_the_process_can_use_a_classifier():
    # atexit calls the last function first, so this one runs after the end of all other calls.
    code = """
shop = train(pairs[:100])
print(shop.classify("a parcel")[0].name != "")
"""
    first = 'import atexit\natexit.register(lambda: print(shop.classify("x") is not None))\n'
    done = subprocess.run(
        [sys.executable, "-c", first + BEGIN + code, TRAIN],
        capture_output=True,
        text=True,
        timeout=30,
    )
    assert (done.returncode, done.stdout, done.stderr) == (0, "True\nTrue\n", "")


def test_forked_process_ends_although_another_thread_was_in_a_call():
    code = """
import os
inside, forked = threading.Event(), threading.Event()
def wait(done):
    inside.set()
    forked.wait()
thread = threading.Thread(target=lambda: train(pairs, progress=wait))
thread.start()
inside.wait()
child = os.fork()
if child == 0:
    sys.exit(7)  # runs the functions of atexit
forked.set()
thread.join()
print(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]))
"""
    assert run_code(code) == (0, "7\n", "")


@pytest.mark.parametrize("is_first", [True, False])
def test_second_interpreter_cannot_import_the_package(is_first):
    code = f"""
import sys
if not {is_first}: import zandrel
import _xxsubinterpreters as interpreters
other = interpreters.create()
try:
    interpreters.run_string(other, "import zandrel")
except interpreters.RunFailedError as error:
    print(error)
interpreters.destroy(other)
import zandrel
print(zandrel.Classifier.train([("a", "one")]).labels)
"""
    done = subprocess.run(
        [sys.executable, "-c", code], capture_output=True, text=True, timeout=30
    )
    assert done.returncode == 0, done.stderr
    message, labels = done.stdout.splitlines()
    assert message.endswith("zandrel works only in the main interpreter of a process")
    assert labels == "['a']"
