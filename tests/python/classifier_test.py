"""Tests of zandrel.Classifier and zandrel.Records: the same answers as the program."""

import copy
import datetime
import json
import pathlib
import pickle

import pytest

import zandrel
from conftest import PROJECT, TEST, TRAIN, assert_same_container, read_tsv

NEWS = [
    ("sport", "a late goal decides the game"),
    ("sport", "the team wins the game"),
    ("money", "the bank raises the rate"),
    ("money", "a new rate of the bank"),
]

# Rules read a moment as microseconds since 1970: this one is 2020-01-01T00:00:00Z.
ROUTES = """\
+\t[Rule]\t[NoScore]\t[]\t[desk]\t[]
++\t[Leaf]\t[Score]\t[]\t[large]\t[$amount(n) >= 500]
++\t[Leaf]\t[Score]\t[]\t[old]\t[$sent(n) > 0 & $sent(n) < 1577836800000000]
++\t[Leaf]\t[Score]\t[]\t[german]\t[$language(s) == 'de']
++\t[Leaf]\t[Score]\t[]\t[tagged]\t[$tags(?)]
++\t[Leaf]\t[Score]\t[]\t[urgent]\t[$urgent(n) == 1]
++\t[Leaf]\t[Score]\t[]\t[person]\t[default]
"""


@pytest.fixture
def news():
    return zandrel.Classifier.train(NEWS)


def answers_of_program(run_program, container, texts, count):
    """(name, path, score) lists: the program writes scores that read back as the same numbers."""
    lines = run_program("classify", container, "-k", count, "--jsonl", input="\n".join(texts) + "\n")
    return [
        [(c["category"], c["path"], c["score"]) for c in json.loads(line)["categories"]]
        for line in lines.splitlines()
    ]


def test_answers_equal_the_program(shop, shop_kc, run_program, test_texts):
    expected = answers_of_program(run_program, shop_kc, test_texts, 3)
    answers = shop.classify(test_texts, count=3)
    assert [[tuple(label) for label in labels] for labels in answers] == expected
    assert len({label.name for labels in answers for label in labels}) == 8


def test_one_text_gives_the_same_as_a_list(shop, test_texts):
    assert [shop.classify(text, count=2) for text in test_texts] == shop.classify(
        test_texts, count=2
    )


def test_trained_container_has_the_bytes_of_the_program(tmp_path, shop_kc):
    zandrel.Classifier.train(TRAIN).save(tmp_path / "from_file.kc")
    zandrel.Classifier.train(read_tsv(TRAIN)).save(str(tmp_path / "from_pairs.kc"))
    assert_same_container(tmp_path / "from_file.kc", shop_kc)
    assert_same_container(tmp_path / "from_pairs.kc", shop_kc)


def test_learned_container_has_the_bytes_of_the_program(tmp_path, run_program):
    examples = read_tsv(TRAIN)
    halves = []
    for number, half in enumerate((examples[:500], examples[500:])):
        halves.append(tmp_path / f"{number}.tsv")
        halves[-1].write_text("".join(f"{label}\t{text}\n" for label, text in half), "utf-8")
    run_program("train", tmp_path / "program.kc", halves[0])
    run_program("learn", tmp_path / "program.kc", halves[1])
    classifier = zandrel.Classifier.train(examples[:500])
    classifier.learn(iter(examples[500:]))
    classifier.save(tmp_path / "python.kc")
    assert_same_container(tmp_path / "python.kc", tmp_path / "program.kc")


def test_reasons_equal_the_program(shop, shop_kc, run_program, test_texts):
    texts = test_texts[:20]
    lines = run_program("explain", shop_kc, "--json", input="\n".join(texts) + "\n").splitlines()
    reasons = shop.explain(texts)
    assert reasons == [shop.explain(text) for text in texts]
    assert [shop.classify(text)[0] for text in texts] == [
        (reason.label, reason.path, reason.score) for reason in reasons
    ]
    for reason, line in zip(reasons, lines):
        expected = json.loads(line)
        assert reason.score == expected["score"]
        assert reason.effects == [
            (effect["concept"], effect["adds"], effect["known"]) for effect in expected["concepts"]
        ]
        assert [effect.log_odds_adds for effect in reason.effects] == [
            effect["log_odds_adds"] for effect in expected["concepts"]
        ]


def test_reasons_of_a_named_node(shop):
    reasons = shop.explain("I want my money back", node="root/praise")
    assert (reasons.label, reasons.path) == ("praise", "root/praise")
    assert shop.explain(["I want my money back"], node="root/praise", jobs=2) == [reasons]


def test_unknown_words_of_reasons_are_marked(news):
    effects = {e.concept: e.is_known for e in news.explain("goal zebra").effects}
    assert effects["goal"] is True
    assert effects["zebra"] is False


def test_effects_and_labels_stay_tuples_of_their_first_elements(shop):
    effect = shop.explain("where is my parcel").effects[0]
    concept, adds, is_known = effect
    assert (concept, adds, is_known) == effect
    assert repr(effect).endswith(f"log_odds_adds={effect.log_odds_adds})")
    assert effect.log_odds_adds > 0
    label = zandrel.Label("a", "root/a", 0.5, 0.25)
    assert label == ("a", "root/a", 0.5)
    assert repr(label) == "Label(name='a', path='root/a', score=0.5, confidence=0.25)"
    assert repr(zandrel.Label("a", "b", 0.5)) == "Label(name='a', path='b', score=0.5)"
    copies = pickle.loads(pickle.dumps([label, effect]))
    assert copies[0].confidence == 0.25
    assert copies == [label, effect]
    assert copies[1].log_odds_adds == effect.log_odds_adds


def test_replaced_labels_and_effects_keep_their_attribute():
    label = zandrel.Label("a", "root/a", 0.5, 0.25)
    assert label._replace(name="b") == ("b", "root/a", 0.5)
    assert label._replace(name="b").confidence == 0.25
    assert label._replace(confidence=0.75).confidence == 0.75
    assert label._replace(confidence=None).confidence is None
    assert zandrel.Label._make(["a", "root/a", 0.5]).confidence is None
    effect = zandrel.Effect("goal", 0.5, True, 2.0)
    assert effect._replace(adds=0.0) == ("goal", 0.0, True)
    assert effect._replace(adds=0.0).log_odds_adds == 2.0
    assert effect._replace(log_odds_adds=1.0).log_odds_adds == 1.0
    assert zandrel.Effect._make(["goal", 0.5, True]).log_odds_adds == 0.0
    with pytest.raises(ValueError, match="unexpected field names"):
        label._replace(color="red")


def test_best_label_of_a_calibrated_container_has_a_confidence(tmp_path, test_texts):
    shop = zandrel.Classifier.train(TRAIN, calibrate=True, prepare_to_explain=True)
    shop.save(tmp_path / "sure.kc")
    opened = zandrel.Classifier.open(tmp_path / "sure.kc", prepare_to_explain=True)
    assert shop.is_calibrated and opened.is_calibrated
    answers = shop.classify(test_texts, count=2)
    confidences = [labels[0].confidence for labels in answers]
    assert all(0 <= confidence <= 1 for confidence in confidences)
    assert all(label.confidence is None for labels in answers for label in labels[1:])
    assert len(set(confidences)) > 10
    for jobs in (1, 3):
        again = opened.classify(test_texts, jobs=jobs)
        assert [labels[0].confidence for labels in again] == confidences
        sure = opened.classify(test_texts, reject=0.9, jobs=jobs)
        assert [bool(labels) for labels in sure] == [c >= 0.9 for c in confidences]
    streamed = list(opened.stream(test_texts, reject=0.9))
    assert streamed == sure
    assert [labels[0].confidence for labels in streamed if labels] == [
        c for c in confidences if c >= 0.9
    ]
    assert opened.classify(test_texts[0], reject=0.0)[0].confidence == confidences[0]


def test_trained_confidence_is_that_of_the_program(tmp_path, run_program):
    run_program("train", tmp_path / "program.kc", TRAIN, "--calibrate")
    zandrel.Classifier.train(TRAIN, calibrate=True).save(tmp_path / "python.kc")
    assert_same_container(tmp_path / "python.kc", tmp_path / "program.kc")


def test_learning_updates_the_map_as_the_program_does(tmp_path, run_program):
    learned = tmp_path / "learned.tsv"
    learned.write_text("praise\tWhere is my parcel?\nreturns\tI want my money back\n" * 20)
    shop = zandrel.Classifier.train(TRAIN, calibrate=True)
    shop.save(tmp_path / "program.kc")
    run_program("learn", tmp_path / "program.kc", learned)
    shop.learn(learned)
    shop.save(tmp_path / "python.kc")
    assert_same_container(tmp_path / "python.kc", tmp_path / "program.kc")
    assert "968 answers" not in run_program("info", tmp_path / "python.kc")
    assert "1,008 answers" in run_program("info", tmp_path / "python.kc")


def test_least_confidence_needs_a_calibrated_container(news):
    assert not news.is_calibrated
    assert news.classify("goal")[0].confidence is None
    with pytest.raises(zandrel.InvalidArgumentError, match="no confidence map"):
        news.classify("goal", reject=0.5)
    with pytest.raises(zandrel.InvalidArgumentError, match="not between 0 and 1"):
        news.classify("goal", reject=1.5)
    for answers in (news.classify, news.stream):  # also without a text
        with pytest.raises(zandrel.InvalidArgumentError, match="no confidence map"):
            answers([], reject=0.5)
        with pytest.raises(zandrel.InvalidArgumentError, match="not between 0 and 1"):
            answers([], reject=1.5)


def test_labels_are_in_the_order_of_the_examples(news):
    assert news.labels == ["sport", "money"]
    assert news.analysis == zandrel.Analysis("phrases", "")


def test_count_and_threshold_select_labels(shop, test_texts):
    scores = [label.score for label in shop.classify(test_texts[0], count=-1)]
    assert scores == sorted(scores, reverse=True)
    assert len(scores) > 2
    assert [s.score for s in shop.classify(test_texts[0], count=2)] == scores[:2]
    kept = shop.classify(test_texts[0], count=-1, threshold=scores[1])
    assert [label.score for label in kept] == scores[:2]


def test_texts_may_be_str_bytes_or_mappings(news):
    expected = news.classify("a goal")
    assert expected[0].name == "sport"
    assert news.classify(b"a goal") == expected
    assert news.classify({"text": "a goal"}) == expected
    assert news.classify({"text": b"a goal", "labels": ["ignored"], "fields": {}}) == expected
    assert news.classify(("a goal", b"a goal")) == [expected, expected]


def test_texts_of_any_iterable(news):
    expected = news.classify(["goal", "bank"])
    assert [labels[0].name for labels in expected] == ["sport", "money"]
    assert news.classify(text for text in ["goal", "bank"]) == expected
    assert news.classify({"goal": 1, "bank": 2}.keys()) == expected
    assert news.classify([]) == []
    assert news.classify(iter(())) == []


@pytest.mark.parametrize("number", [1023, 1024, 1025, 2049])
def test_blocks_of_texts_lose_nothing(news, number):
    texts = [("goal" if i % 3 else "bank") for i in range(number)]
    best = [labels[0].name for labels in news.classify(texts, jobs=2)]
    assert best == [("sport" if i % 3 else "money") for i in range(number)]


def test_surrogates_and_bytes_outside_of_utf8_separate_words(news):
    expected = news.classify("goal bank", count=-1)
    assert news.classify(b"goal\xffbank", count=-1) == expected
    assert news.classify(b"goal\xffbank".decode("utf-8", "surrogateescape"), count=-1) == expected
    assert news.classify("goal\ud800bank", count=-1) == expected
    assert news.classify("goal\0bank", count=-1) == expected


def test_stream_reads_only_one_block_ahead(news):
    taken = []

    def texts():
        for number in range(10):
            taken.append(number)
            yield "goal"

    answers = news.stream(texts(), block=4)
    assert taken == []
    assert next(answers)[0].name == "sport"
    assert len(taken) == 4
    assert len(list(answers)) == 9


def test_stream_refuses_an_empty_block(news):
    with pytest.raises(ValueError, match="block must be at least 1"):
        next(news.stream(["goal"], block=0))


def test_examples_may_be_tuples_mappings_or_named(news, tmp_path):
    news.save(tmp_path / "pairs.kc")
    mappings = [{"labels": label, "text": text} for label, text in NEWS]
    zandrel.Classifier.train(mappings).save(tmp_path / "mappings.kc")
    named = (zandrel.Example([label], text.encode()) for label, text in NEWS)
    zandrel.Classifier.train(named).save(tmp_path / "named.kc")
    assert_same_container(tmp_path / "mappings.kc", tmp_path / "pairs.kc")
    assert_same_container(tmp_path / "named.kc", tmp_path / "pairs.kc")


def test_several_labels_of_an_example():
    classifier = zandrel.Classifier.train([*NEWS, (["sport", "money"], "the price of a player")])
    names = [label.name for label in classifier.classify("the price of a player", count=-1)]
    assert sorted(names) == ["money", "sport"]


def test_learning_new_labels_needs_add_labels(news):
    with pytest.raises(zandrel.UnknownLabelError):
        news.learn([("weather", "rain and wind")])
    assert news.labels == ["sport", "money"]
    news.learn([("weather", "rain and wind")], add_labels=True)
    assert news.labels == ["sport", "money", "weather"]


def test_analysis_is_kept_in_the_container(tmp_path):
    analysis = zandrel.Analysis("words", "english")
    zandrel.Classifier.train(NEWS, analysis=analysis).save(tmp_path / "words.kc")
    with zandrel.Classifier.open(tmp_path / "words.kc", analysis=analysis) as classifier:
        assert classifier.analysis == analysis
        assert classifier.classify("goals")[0].name == "sport"


def test_settings_have_the_effect_of_the_program(tmp_path, run_program, train_pairs):
    settings = {"ClipValue": 2, "UseExtParms": True}
    zandrel.Classifier.train(TRAIN, settings=settings).save(tmp_path / "python.kc")
    run_program(
        "train", tmp_path / "program.kc", TRAIN, "--set", "ClipValue=2", "--set", "UseExtParms=1"
    )
    assert_same_container(tmp_path / "python.kc", tmp_path / "program.kc")


def test_compact_container_is_smaller(tmp_path, shop_kc):
    zandrel.Classifier.train(TRAIN, compact=True).save(tmp_path / "compact.kc")
    assert (tmp_path / "compact.kc").stat().st_size < shop_kc.stat().st_size


def test_fields_route_texts_by_rules():
    desk = zandrel.Classifier.train([("person", "hello")], tree=ROUTES)

    def best(**fields):
        return desk.classify({"text": "hello", "fields": fields})[0].name

    assert best(amount=500) == "large"
    assert best(amount=499.5) == "person"
    assert best(amount=500.0) == "large"
    assert best(language="de", amount=1) == "german"
    assert best(language="en") == "person"
    assert best(language=["de"]) == "german"
    assert best(tags=["x", "y"]) == "tagged"
    assert best(tags=[True, False]) == "tagged"
    assert best(urgent=True) == "urgent"
    assert best(urgent=False) == "person"


def test_dates_are_moments_in_utc():
    desk = zandrel.Classifier.train([("person", "hello")], tree=ROUTES)

    def best(moment):
        return desk.classify({"text": "hello", "fields": {"sent": moment}})[0].name

    zone = datetime.timezone(datetime.timedelta(hours=1))
    assert best(datetime.datetime(2019, 12, 31, 23, 59, 59, 999999)) == "old"
    assert best(datetime.datetime(2020, 1, 1)) == "person"
    assert best(datetime.date(2019, 12, 31)) == "old"
    assert best(datetime.date(2020, 1, 1)) == "person"
    assert best(datetime.datetime(2020, 1, 1, 0, 30, tzinfo=zone)) == "old"
    assert best(datetime.datetime(2020, 1, 1, 1, 0, tzinfo=zone)) == "person"


def test_records_read_data_files(tmp_path):
    assert list(zandrel.Records(TEST)) == [
        zandrel.Example([label], text) for label, text in read_tsv(TEST)
    ]
    table = tmp_path / "table.csv"
    table.write_text("body;kind,x,size\nhello,a|b,7\n", "utf-8")
    records = zandrel.Records(
        str(table), text="1", label="2", fields=["size=3"], header=True, label_separator="|"
    )
    assert list(records) == [(["a", "b"], "hello", {"size": 7})]
    data = tmp_path / "data"
    data.write_text('{"text": "x", "labels": ["a"], "pairs": {"n": [1, 2], "b": true}}\n')
    assert list(zandrel.Records(data, format="jsonl")) == [(["a"], "x", {"n": [1, 2], "b": True})]


def test_dates_of_records_are_moments(tmp_path):
    data = tmp_path / "data.jsonl"
    pairs = {"sent": "2026-01-31T10:00:00.25+01:00"}
    data.write_text(json.dumps({"text": "x", "labels": ["a"], "pairs": pairs}) + "\n")
    moment = datetime.datetime(2026, 1, 31, 9, 0, 0, 250000, datetime.timezone.utc)
    (example,) = zandrel.Records(data)
    assert example.fields == {"sent": moment}


def test_records_continue_after_a_bad_one(tmp_path):
    data = tmp_path / "data.tsv"
    data.write_text("a\tone\nno tab\nb\ttwo\n")
    records = zandrel.Records(data)
    assert next(records).text == "one"
    with pytest.raises(zandrel.WrongDataError) as caught:
        next(records)
    assert (caught.value.file, caught.value.line) == (str(data), 2)
    assert next(records).text == "two"
    assert next(records, None) is None
    assert next(records, None) is None


def test_records_that_were_begun_train_the_rest(tmp_path, train_pairs):
    records = zandrel.Records(TRAIN)
    next(records)
    zandrel.Classifier.train(records).save(tmp_path / "rest.kc")
    zandrel.Classifier.train(train_pairs[1:]).save(tmp_path / "pairs.kc")
    assert_same_container(tmp_path / "rest.kc", tmp_path / "pairs.kc")


def test_corpus_file_trains_with_its_analysis(tmp_path, run_program):
    corpus = tmp_path / "shop.corpus"
    run_program("corpus", "import", corpus, TRAIN, "--analysis", "words")
    run_program("train", tmp_path / "program.kc", corpus)
    classifier = zandrel.Classifier.train(corpus)
    assert classifier.analysis.kind == "words"
    classifier.save(tmp_path / "python.kc")
    assert_same_container(tmp_path / "python.kc", tmp_path / "program.kc")


def test_pickled_and_copied_classifier_gives_the_same(shop, test_texts):
    expected = shop.classify(test_texts, count=-1)
    assert pickle.loads(pickle.dumps(shop)).classify(test_texts, count=-1) == expected
    assert copy.deepcopy(shop).classify(test_texts, count=-1) == expected


def test_bytes_are_those_of_the_file(shop, shop_kc):
    assert shop.to_bytes() == shop_kc.read_bytes()
    assert zandrel.Classifier.from_bytes(shop.to_bytes()).labels == shop.labels


def test_end_of_a_with_block_closes(shop_kc):
    with zandrel.Classifier.open(shop_kc) as classifier:
        assert classifier.classify("a parcel")
    with pytest.raises(zandrel.ClosedError):
        classifier.classify("a parcel")
    classifier.close()


def test_paths_may_be_bytes_with_any_characters(tmp_path, news):
    path = bytes(tmp_path) + b"/\xff\xc3\xa9.kc"
    news.save(path)
    assert zandrel.Classifier.open(path).labels == news.labels
    assert zandrel.Classifier.open(pathlib.Path(path.decode("utf-8", "surrogateescape")))


def test_labels_of_any_characters_come_back():
    labels = ["größe", "日本", "a/b", "a b", "\U0001f600", "x" * 1000]
    words = ["one", "two", "three", "four", "five", "six"]
    classifier = zandrel.Classifier.train(list(zip(labels, words)))
    assert classifier.labels == labels
    found = [classifier.classify(word)[0].name for word in words]
    assert found == labels


def test_classifier_is_not_made_by_its_class():
    with pytest.raises(TypeError, match="use Classifier.open or Classifier.train"):
        zandrel.Classifier()


def test_version_is_that_of_the_library():
    header = (PROJECT / "zandrel" / "version.h").read_text("utf-8")
    numbers = header.split("kZandrelVersion[5] = {")[1].split("}")[0]
    assert zandrel.__version__ == ".".join(numbers.split(", "))
