// Corpora in a file compared with corpora in memory: filling, a walk, and training. The file is
// read again and again, so it is in the cache of the system, not read from a disk.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <map>
#include <string>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include "zandrel/messages/zeCacheCorpus.h"
#include "zandrel/messages/zeMemoryCorpus.h"

#include "bench/synthetic_texts.h"
#include "bench/trainable.h"

namespace {

constexpr std::size_t kVocabulary = 20000;
constexpr std::size_t kLabels = 20;
constexpr std::size_t kMessages = 4000;

// A file name that is removed at the end.
class Corpus_name {
public:
    Corpus_name() { remove(); }

    Corpus_name(const Corpus_name&) = delete;
    Corpus_name& operator=(const Corpus_name&) = delete;

    ~Corpus_name() { remove(); }

    void remove() const { std::remove(m_path.c_str()); }

    const qtString& path() const { return m_path; }

private:
    const qtString m_path = qtString((std::filesystem::temp_directory_path() /
                                      ("zandrel_corpus_bench_" + std::to_string(getpid())))
                                         .string());
};

void copy(zeCorpus& from, zeCorpus& to) {
    for (auto position = from.start_msgs(); !from.end(position); from.next(position)) {
        qtPtrLight<zeMsg> msg = from.get_msg(position);
        to.add_msg(msg);
    }
}

double walked_weight(zeCorpus& corpus) {
    double weight = 0.0;
    for (auto position = corpus.start_msgs(); !corpus.end(position); corpus.next(position)) {
        weight += corpus.get_msg(position)->smls[0]->m_total_weight;
    }
    return weight;
}

void count_messages(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kMessages));
}

// The messages with texts of so many words. They are made once for all benchmarks.
zeMemoryCorpus& in_memory(std::int64_t length) {
    static std::map<std::int64_t, zeMemoryCorpus> made;
    zeMemoryCorpus& corpus = made[length];
    if (corpus.msgs.empty()) {
        Synthetic_texts texts(kVocabulary, kLabels);
        texts.fill(corpus, kMessages, static_cast<std::size_t>(length));
    }
    return corpus;
}

// The argument is the number of words of a text.
void BM_WalkMemory(benchmark::State& state) {
    zeMemoryCorpus& corpus = in_memory(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(walked_weight(corpus));
    }
    count_messages(state);
}

// The second argument is the size of the cache: nothing, a tenth, or all messages. A walk in order
// finds messages in the cache only if all are there.
void BM_WalkFile(benchmark::State& state) {
    const Corpus_name name;
    {
        zeCacheCorpus corpus(name.path(), 'w', 0);
        copy(in_memory(state.range(0)), corpus);
    }
    // One more than the messages, since the null at the end of a walk is cached too.
    zeCacheCorpus corpus(name.path(), 'r', static_cast<unsigned int>(state.range(1)) + 1);
    if (state.range(1) == 0) {
        corpus.reserve(0);
    }
    walked_weight(corpus);
    for (auto _ : state) {
        benchmark::DoNotOptimize(walked_weight(corpus));
    }
    count_messages(state);
}

// Writes a corpus, its index included.
void BM_FillFile(benchmark::State& state) {
    zeMemoryCorpus& made = in_memory(state.range(0));
    const Corpus_name name;
    for (auto _ : state) {
        name.remove();
        zeCacheCorpus corpus(name.path(), 'w', 0);
        copy(made, corpus);
        corpus.flush();
    }
    count_messages(state);
}

constexpr std::size_t kTrained = 1000;

// Trains 20 categories with likelihood tables, for which each message is fetched several times.
void BM_TrainFromMemory(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        Trainable model(kVocabulary, kLabels, kTrained);
        model.matcher().m_storage->set_use_train_likelihood(true);
        state.ResumeTiming();
        model.matcher().train(model.view);
    }
}

// The argument is the size of the cache.
void BM_TrainFromFile(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        Trainable model(kVocabulary, kLabels, kTrained);
        model.matcher().m_storage->set_use_train_likelihood(true);
        const Corpus_name name;
        zeCacheCorpus corpus(name.path(), 'w', static_cast<unsigned int>(state.range(0)));
        copy(model.corpus, corpus);
        corpus.flush();
        model.corpus.msgs.clear();
        model.view.corpus = &corpus;
        state.ResumeTiming();
        model.matcher().train(model.view);
    }
}

BENCHMARK(BM_WalkMemory)->Arg(10)->Arg(100)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WalkFile)
    ->ArgsProduct({{10, 100}, {0, kMessages / 10, kMessages}})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FillFile)->Arg(10)->Arg(100)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TrainFromMemory)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TrainFromFile)->Arg(0)->Arg(20)->Arg(kTrained)->Unit(benchmark::kMillisecond);

}  // namespace
