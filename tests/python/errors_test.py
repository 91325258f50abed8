"""Tests of the exceptions of the package: class, code, file, line and message."""

import os
import pickle
import re
import subprocess

import pandas
import pytest

import zandrel
from conftest import PROJECT
from zandrel import _errors, _zandrel

TWO = [("a", "one"), ("b", "two")]


def raised(kind, function, *arguments, **options):
    with pytest.raises(kind) as caught:
        function(*arguments, **options)
    assert type(caught.value) is kind
    assert caught.value.code is kind.code
    return caught.value


def test_codes_equal_those_of_the_library():
    assert {code.name: code.value for code in zandrel.ErrorCode} == _zandrel.error_codes()


def test_codes_equal_those_of_the_header():
    header = (PROJECT / "text/include/zandrel/text/Error.h").read_text("utf-8")
    codes = header.split("enum class Error_code : int {")[1].split("};")[0]
    listed = {name: int(number) for name, number in re.findall(r"^ *(\w+) = (\d+)", codes, re.M)}
    assert {code.name: code.value for code in zandrel.ErrorCode} == listed


def test_each_code_has_one_class_with_its_name():
    kinds = zandrel.Error.__subclasses__()
    assert sorted(kind.code for kind in kinds) == sorted(zandrel.ErrorCode)
    names = {kind.code.name: kind.__name__ for kind in kinds}
    assert names.pop("interrupted") == "WorkInterruptedError"  # the language has an InterruptedError
    for code, name in names.items():
        assert name == "".join(part.capitalize() for part in code.split("_")) + "Error"
        assert getattr(zandrel, name).code.name == code


def test_unknown_code_of_a_later_engine_is_a_failure():
    error = _errors.make_error(99, "new", None, None)
    assert type(error) is zandrel.FailedError


@pytest.mark.parametrize("code", zandrel.ErrorCode)
def test_errors_survive_pickling(code):
    error = _errors.make_error(code, "the message", "data.tsv", 7)
    copied = pickle.loads(pickle.dumps(error))
    assert type(copied) is type(error)
    assert (str(copied), copied.code, copied.file, copied.line) == ("the message", code, "data.tsv", 7)


def test_missing_file_is_not_found(tmp_path):
    path = tmp_path / "missing.kc"
    error = raised(zandrel.NotFoundError, zandrel.Classifier.open, path)
    assert isinstance(error, FileNotFoundError)
    assert error.file == str(path)
    assert error.line is None
    assert str(path) in str(error)
    raised(zandrel.NotFoundError, zandrel.Records, tmp_path / "missing.tsv")
    raised(zandrel.NotFoundError, zandrel.Classifier.train, tmp_path / "missing.tsv")


def test_missing_node_is_a_lookup_error(shop):
    error = raised(zandrel.NotFoundError, shop.explain, "text", node="root/nothing")
    assert isinstance(error, LookupError)


def test_folder_cannot_be_read(tmp_path):
    error = raised(zandrel.CannotReadError, zandrel.Classifier.open, tmp_path)
    assert isinstance(error, OSError)


def test_missing_folder_cannot_be_written(tmp_path):
    classifier = zandrel.Classifier.train(TWO)
    error = raised(zandrel.CannotWriteError, classifier.save, tmp_path / "missing" / "a.kc")
    assert isinstance(error, OSError)


def test_other_file_is_not_a_container(tmp_path):
    path = tmp_path / "text.kc"
    path.write_text("not a container " * 100)
    error = raised(zandrel.NotAContainerError, zandrel.Classifier.open, path)
    assert isinstance(error, ValueError)
    raised(zandrel.NotAContainerError, zandrel.Classifier.train(TWO).save, path)
    assert path.read_text().startswith("not a container")


def test_changed_byte_is_damage(tmp_path, shop_kc):
    data = bytearray(shop_kc.read_bytes())
    data[len(data) // 2] ^= 1
    path = tmp_path / "damaged.kc"
    path.write_bytes(data)
    error = raised(zandrel.DamagedError, zandrel.Classifier.open, path)
    assert error.file == str(path)


def test_other_analysis_is_refused(shop_kc):
    error = raised(
        zandrel.OtherAnalysisError,
        zandrel.Classifier.open,
        shop_kc,
        analysis=zandrel.Analysis("words"),
    )
    assert isinstance(error, ValueError)


def test_unknown_label_is_refused():
    error = raised(zandrel.UnknownLabelError, zandrel.Classifier.train(TWO).learn, [("c", "x")])
    assert "c" in str(error)


def test_wrong_data_name_file_and_line(tmp_path):
    path = tmp_path / "data.tsv"
    path.write_text("a\tone\nno tab\n")
    error = raised(zandrel.WrongDataError, zandrel.Classifier.train, path)
    assert (error.file, error.line) == (str(path), 2)
    assert isinstance(error, ValueError)


def test_wrong_example_names_its_number():
    error = raised(zandrel.WrongDataError, zandrel.Classifier.train, [("a", "one"), ([], "two")])
    assert error.line == 2
    raised(zandrel.WrongDataError, zandrel.Classifier.train, [])
    raised(zandrel.WrongDataError, zandrel.Classifier.train, TWO, tree="no tree")


@pytest.mark.parametrize(
    "options",
    [
        {"analysis": zandrel.Analysis("letters")},
        {"analysis": zandrel.Analysis("words", "klingon")},
        {"settings": {"NoSuchSetting": 1}},
        {"settings": {"ClipValue": "many"}},
    ],
)
def test_wrong_option_is_an_invalid_argument(options):
    error = raised(zandrel.InvalidArgumentError, zandrel.Classifier.train, TWO, **options)
    assert isinstance(error, ValueError)


@pytest.mark.parametrize("options", [{"threshold": -0.1}, {"threshold": 1.1}, {"threshold": float("nan")}])
def test_wrong_threshold_is_an_invalid_argument(shop, options):
    raised(zandrel.InvalidArgumentError, shop.classify, "text", **options)
    raised(zandrel.InvalidArgumentError, shop.classify, ["text"], jobs=2, **options)


def test_compact_container_cannot_learn():
    classifier = zandrel.Classifier.train(TWO, compact=True)
    raised(zandrel.UnsupportedError, classifier.learn, TWO)


def test_container_that_another_process_changes_is_busy(tmp_path):
    path = tmp_path / "busy.kc"
    classifier = zandrel.Classifier.train(TWO)
    classifier.save(path)
    # The program waits for standard input while it has the lock.
    learning = subprocess.Popen(
        [os.environ["ZANDREL_PROGRAM"], "learn", path, "-"], stdin=subprocess.PIPE
    )
    try:
        lock = tmp_path / ".busy.kc.lock"
        while not lock.exists():
            assert learning.poll() is None
        error = None
        while error is None:  # the file is there a moment before it is locked
            try:
                classifier.save(path)
            except zandrel.BusyError as caught:
                error = caught
        assert isinstance(error, OSError)
    finally:
        learning.communicate(b"a\tone\n", timeout=30)
    classifier.save(path)


def test_closed_classifier_refuses_all_calls(tmp_path):
    classifier = zandrel.Classifier.train(TWO)
    classifier.close()
    for call in (
        lambda: classifier.classify("x"),
        lambda: classifier.classify(["x"]),
        lambda: classifier.explain("x"),
        lambda: classifier.explain(["x"]),
        lambda: classifier.learn(TWO),
        lambda: classifier.save(tmp_path / "x.kc"),
        lambda: classifier.labels,
        lambda: pickle.dumps(classifier),
    ):
        raised(zandrel.ClosedError, call)
    assert not (tmp_path / "x.kc").exists()


@pytest.mark.parametrize("text", [None, 7, ["nested"], object()])
def test_other_values_are_no_texts(shop, text):
    with pytest.raises(TypeError, match="a text must be str, bytes or a mapping"):
        shop.classify([text])


def test_number_is_no_iterable(shop):
    for call in (shop.classify, shop.explain, shop.learn, zandrel.Classifier.train):
        with pytest.raises(TypeError, match="not iterable"):
            call(7)


@pytest.mark.parametrize(
    ("example", "message"),
    [
        ("text", "an example must be"),
        (("a",), "an example must be"),
        (("a", "b", {}, 4), "an example must be"),
        ((7, "text"), "labels must be a str or an iterable of str, not int"),
        ((b"a", "text"), "labels must be a str or an iterable of str, not bytes"),
        (([7], "text"), "a label must be a str, not int"),
        (("a", 7), "a text must be"),
        (("a", "text", 7), "fields must be a mapping"),
        (("a", "text", {"size": None}), "the value of a field must be"),
        (("a", "text", {"size": [None]}), "the value of a field must be"),
        (("a", "text", {7: "x"}), "the name of a field must be a str"),
    ],
)
def test_other_values_are_no_examples(example, message):
    with pytest.raises(TypeError, match=message):
        zandrel.Classifier.train([example])


def test_misspelt_keys_are_refused(shop):
    with pytest.raises(ValueError, match="unknown key 'lables'"):
        zandrel.Classifier.train([{"lables": "a", "text": "x"}])
    with pytest.raises(ValueError, match="the key 'labels' is missing"):
        zandrel.Classifier.train([{"text": "x"}])
    with pytest.raises(ValueError, match="the key 'text' is missing"):
        shop.classify({"fields": {}})
    with pytest.raises(ValueError, match="the list of the field 'tags' is empty"):
        shop.classify({"text": "x", "fields": {"tags": []}})


def test_negative_jobs_are_refused(shop):
    for call in (shop.classify, shop.explain):
        with pytest.raises(ValueError, match="jobs must be 0 or more"):
            call(["x"], jobs=-1)
        with pytest.raises(ValueError, match="jobs must be 0 or more"):
            call("x", jobs=-1)


def test_least_of_several_failing_texts_is_reported(shop):
    # Field names of the engine are refused while the text is classified.
    texts = ["fine"] * 50
    texts[20] = {"text": "x", "fields": {"_SMLfirst": "1"}}
    texts[30] = {"text": "x", "fields": {"_SMLsecond": "1"}}
    for jobs in (1, 2, 4):
        with pytest.raises(zandrel.Error, match="_SMLfirst"):
            shop.classify(texts, jobs=jobs)


@pytest.mark.parametrize(
    ("options", "message"),
    [
        ({"count": None}, "count must be a whole number, not NoneType"),
        ({"count": 2.0}, "count must be a whole number, not float"),
        ({"threshold": "0.5"}, "threshold must be a number, not str"),
        ({"jobs": None}, "jobs must be a whole number, not NoneType"),
    ],
)
def test_message_about_a_wrong_option_has_no_texts(shop, options, message):
    for texts in (["text"] * 100, "text"):
        with pytest.raises(TypeError, match=f"^{message}$"):
            shop.classify(texts, **options)
    with pytest.raises(TypeError, match=f"^{message}$"):
        shop.stream(["text"], **options)


def test_message_about_other_wrong_options_has_no_texts(shop):
    train = zandrel.Classifier.train
    for call, message in (
        (lambda: shop.explain("x", node=None), "node must be a str, not NoneType"),
        (lambda: shop.learn(TWO, add_labels="x"), "add_labels must be a bool, not str"),
        (lambda: shop.stream(["x"], block=1.5), "block must be a whole number, not float"),
        (lambda: train(TWO, tree=None), "tree must be a str, not NoneType"),
        (lambda: train(TWO, compact="x"), "compact must be a bool, not str"),
        (lambda: train(TWO, settings=["x"]), "settings must be a mapping of names to values, not list"),
        (lambda: train(TWO, analysis=("words", "")), "analysis must be an Analysis or a str, not tuple"),
        (lambda: train(TWO, analysis=zandrel.Analysis(None)), "kind must be a str, not NoneType"),
        (lambda: train(TWO, analysis=zandrel.Analysis("words", 7)), "stem must be a str, not int"),
        (lambda: zandrel.Records("x", format=7), "format must be a str, not int"),
        (lambda: zandrel.Records("x", header="x"), "header must be a bool, not str"),
    ):
        with pytest.raises(TypeError) as caught:
            call()
        assert str(caught.value) == message


def test_number_beyond_all_limits_is_the_limit(shop):
    assert shop.classify("x y", count=10**30) == shop.classify("x y", count=-(10**30))
    assert shop.classify(["x y"], jobs=10**30) == shop.classify(["x y"])


def test_kind_is_an_analysis():
    assert zandrel.Classifier.train(TWO, analysis="words").analysis == zandrel.Analysis("words")


def test_wrong_type_names_the_number_of_the_value(shop):
    texts = ["text"] * 3000
    texts[1500] = None
    for call in (shop.classify, shop.explain, lambda given: list(shop.stream(given, block=1000))):
        with pytest.raises(TypeError, match="^text 1501: a text must be .* not NoneType$"):
            call(texts)
    for call in (shop.learn, zandrel.Classifier.train):
        with pytest.raises(TypeError, match="^example 2: a text must be .* not NoneType$"):
            call([TWO[0], ("a", None)])
        with pytest.raises(ValueError, match="^example 1: unknown key 'lables'"):
            call([{"lables": "a", "text": "x"}])


def test_table_is_no_iterable_of_texts(shop):
    table = pandas.DataFrame({"text": ["one", "two"]})
    for call in (shop.classify, shop.explain, shop.stream):
        with pytest.raises(TypeError, match="not a DataFrame with 2 dimensions"):
            call(table)
    assert len(shop.classify(table["text"])) == 2


@pytest.mark.parametrize("text", ["text", b"text", {"text": "text"}])
def test_one_text_is_no_stream(shop, text):
    with pytest.raises(TypeError, match="texts must be an iterable of texts, not one"):
        shop.stream(text)


def test_zero_in_any_path_is_refused(tmp_path):
    shown = tmp_path / "data.tsv"
    shown.write_text("a\tone\nb\ttwo\n")
    path = f"{shown}\0.tsv"
    for call in (
        zandrel.Records,
        zandrel.Classifier.train,
        zandrel.Classifier.open,
        zandrel.Classifier.train(TWO).learn,
        zandrel.Classifier.train(TWO).save,
    ):
        with pytest.raises(ValueError, match="^embedded null byte$"):
            call(path)
    assert [file.name for file in tmp_path.iterdir()] == ["data.tsv"]


def test_closed_classifier_refuses_calls_without_texts():
    classifier = zandrel.Classifier.train(TWO)
    classifier.close()
    for call in (
        lambda: classifier.classify([]),
        lambda: classifier.explain([]),
        lambda: classifier.stream([]),
        lambda: classifier.analysis,
        lambda: classifier.__enter__(),
    ):
        raised(zandrel.ClosedError, call)


def test_error_of_bytes_names_no_file():
    error = raised(zandrel.NotAContainerError, zandrel.Classifier.from_bytes, b"other bytes " * 99)
    assert str(error).startswith("the bytes: ")
    assert error.file is None
