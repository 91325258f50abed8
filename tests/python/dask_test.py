"""Tests of zandrel.dask on a local cluster of two worker processes."""

import json
import os
import shutil

import dask.bag
import dask.dataframe
import pandas
import pytest
from dask.distributed import Client, LocalCluster

import zandrel
import zandrel.dask
from conftest import TEST, TRAIN, read_tsv


@pytest.fixture(scope="module")
def cluster():
    options = {"n_workers": 2, "threads_per_worker": 2, "processes": True, "dashboard_address": None}
    with LocalCluster(**options) as cluster, Client(cluster) as client:
        yield client


@pytest.fixture
def frame():
    return pandas.DataFrame(read_tsv(TEST), columns=["given", "body"])


def opened_in_this_process(partition):
    """The process, and how many containers it has opened."""
    return [(os.getpid(), len(zandrel.dask._classifiers)) for _ in partition]


def test_bag_equals_one_process(cluster, shop, shop_kc, test_texts):
    texts = test_texts * 20
    bag = dask.bag.from_sequence(texts, npartitions=16)
    answers = bag.map_partitions(zandrel.dask.classify, str(shop_kc), count=3).compute()
    assert answers == shop.classify(texts, count=3)


def test_each_worker_opens_the_container_once(cluster, shop_kc, test_texts):
    bag = dask.bag.from_sequence(test_texts * 20, npartitions=16)
    answers = bag.map_partitions(zandrel.dask.classify, str(shop_kc))
    found = set(answers.map_partitions(opened_in_this_process).compute())
    assert len(found) == 2
    assert {number for _, number in found} == {1}
    assert os.getpid() not in {process for process, _ in found}


def test_frame_equals_one_process(cluster, shop, shop_kc, frame):
    source = dask.dataframe.from_pandas(frame, npartitions=5)
    answered = source.map_partitions(zandrel.dask.classify, str(shop_kc), text="body").compute()
    best = [labels[0] for labels in shop.classify(frame["body"])]
    assert list(answered.columns) == ["given", "body", "label", "score"]
    assert list(answered["label"]) == [label.name for label in best]
    assert list(answered["score"]) == [label.score for label in best]
    assert list(answered["body"]) == list(frame["body"])
    assert list(answered.index) == list(frame.index)


def test_share_of_right_answers_on_the_cluster(cluster, shop, shop_kc, frame):
    source = dask.dataframe.from_pandas(frame, npartitions=5)
    answered = source.map_partitions(zandrel.dask.classify, str(shop_kc), text="body")
    right = (answered["label"] == answered["given"]).mean().compute()
    expected = [
        labels[0].name == given for labels, given in zip(shop.classify(frame["body"]), frame["given"])
    ]
    assert right == sum(expected) / len(expected)


def test_failure_on_a_worker_is_the_error_of_the_library(cluster, tmp_path):
    bag = dask.bag.from_sequence(["text"], npartitions=1)
    with pytest.raises(zandrel.NotFoundError) as caught:
        bag.map_partitions(zandrel.dask.classify, str(tmp_path / "missing.kc")).compute()
    assert caught.value.file == str(tmp_path / "missing.kc")


def test_pickled_classifier_works_on_a_worker(cluster, shop, test_texts):
    future = cluster.submit(lambda opened, texts: opened.classify(texts), shop, test_texts)
    assert future.result() == shop.classify(test_texts)


def test_frame_of_no_rows_keeps_the_types(shop_kc, frame):
    answered = zandrel.dask.classify(frame[:0], shop_kc, text="body")
    assert list(answered.columns) == ["given", "body", "label", "score"]
    assert (answered["label"].dtype, answered["score"].dtype) == (object, float)


def test_text_without_a_result_has_an_empty_label(shop_kc, frame):
    answered = zandrel.dask.classify(frame, shop_kc, text="body", threshold=0.9)
    without = answered[answered["label"] == ""]
    assert 0 < len(without) < len(frame)
    assert set(without["score"]) == {0.0}
    assert (answered[answered["label"] != ""]["score"] >= 0.9).all()


def test_frame_gets_only_the_best_label(shop_kc, frame):
    with pytest.raises(ValueError, match="count must be 1"):
        zandrel.dask.classify(frame, shop_kc, text="body", count=2)


def test_given_frame_does_not_change(shop_kc, frame):
    before = frame.copy()
    zandrel.dask.classify(frame, shop_kc, text="body")
    pandas.testing.assert_frame_equal(frame, before)


def test_replaced_container_is_opened_again(tmp_path, shop_kc):
    path = tmp_path / "changing.kc"
    shutil.copy(shop_kc, path)
    first = zandrel.dask.classifier(path)
    assert zandrel.dask.classifier(str(path)) is first
    zandrel.Classifier.train([("other", "a parcel")]).save(path)
    second = zandrel.dask.classifier(path)
    assert second is not first
    assert second.labels == ["other"]
    assert first.classify("my parcel is lost")[0].name == "delivery"


def test_only_the_last_containers_are_kept(tmp_path, shop_kc):
    paths = [tmp_path / f"{number}.kc" for number in range(5)]
    for path in paths:
        shutil.copy(shop_kc, path)
    kept = [zandrel.dask.classifier(path) for path in paths]
    assert zandrel.dask.classifier(paths[4]) is kept[4]
    assert zandrel.dask.classifier(paths[0]) is not kept[0]
    assert len(zandrel.dask._classifiers) == 4


def test_series_gives_one_answer_for_each_row(cluster, shop, shop_kc, frame):
    source = dask.dataframe.from_pandas(frame, npartitions=5)["body"]
    answered = source.map_partitions(
        zandrel.dask.classify, str(shop_kc), count=2, meta=("labels", object)
    ).compute()
    assert list(answered.index) == list(frame.index)
    assert list(answered) == shop.classify(frame["body"], count=2)


def test_answers_of_a_bag_are_written_as_json(cluster, shop, shop_kc, test_texts, tmp_path):
    bag = dask.bag.from_sequence(test_texts[:9], npartitions=2)
    answers = bag.map_partitions(zandrel.dask.classify, str(shop_kc))
    files = answers.map(json.dumps).to_textfiles(str(tmp_path / "*.json"))
    lines = [line for file in sorted(files) for line in open(file)]
    expected = [[list(label) for label in labels] for labels in shop.classify(test_texts[:9])]
    assert [json.loads(line) for line in lines] == expected


def test_columns_that_are_given_need_no_container_in_the_client(frame):
    source = dask.dataframe.from_pandas(frame, npartitions=2)
    meta = {"given": object, "body": object, "label": object, "score": float}
    answered = source.map_partitions(zandrel.dask.classify, "missing.kc", text="body", meta=meta)
    assert list(answered.columns) == list(meta)


def test_frame_of_a_calibrated_container_has_the_confidence(cluster, tmp_path, frame):
    path = str(tmp_path / "sure.kc")
    sure = zandrel.Classifier.train(TRAIN, calibrate=True)
    sure.save(path)
    source = dask.dataframe.from_pandas(frame, npartitions=3)
    answered = source.map_partitions(zandrel.dask.classify, path, text="body", reject=0.9).compute()
    answers = [sure.classify(text, reject=0.9) for text in frame["body"]]
    assert list(answered.columns) == ["given", "body", "label", "score", "confidence"]
    assert list(answered["confidence"]) == [
        labels[0].confidence if labels else 0.0 for labels in answers
    ]
    assert list(answered["label"]) == [labels[0].name if labels else "" for labels in answers]


def test_bag_keeps_the_confidence(cluster, tmp_path, test_texts):
    path = str(tmp_path / "sure.kc")
    sure = zandrel.Classifier.train(TRAIN, calibrate=True)
    sure.save(path)
    bag = dask.bag.from_sequence(test_texts, npartitions=4)
    answers = bag.map_partitions(zandrel.dask.classify, path).compute()
    assert [labels[0].confidence for labels in answers] == [
        labels[0].confidence for labels in sure.classify(test_texts)
    ]
