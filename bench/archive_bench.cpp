// An archive of 10,000, 100,000 and 1,000,000 messages of ten words: adding, flushing, opening,
// reading all messages, lists, training sets and learning. The file is in the cache of the system.
//
// A cost for each message that is the same at all sizes shows that an operation grows as fast as
// the archive. An archive of a million messages takes about a minute to make, so ctest runs only
// the smallest one.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

#include <benchmark/benchmark.h>

#include "zandrel/archive/zeSmlArchive.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"

#include "bench/synthetic_texts.h"

namespace {

constexpr std::size_t kVocabulary = 20000;
constexpr std::size_t kLabels = 20;
constexpr std::size_t kLength = 10;
constexpr std::size_t kBulk = 100;
constexpr std::size_t kTrained = 1000;

Synthetic_texts& texts() {
    static Synthetic_texts made(kVocabulary, kLabels);
    return made;
}

void add(zeSmlArchive& archive, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        qtPtrLight<zeMsg> msg = texts().make(i % kLabels, kLength);
        archive.AddSml(msg, "");
    }
}

// A file name that is removed at the end.
class Archive_name {
public:
    explicit Archive_name(const std::string& end)
        : m_path((std::filesystem::temp_directory_path() /
                  ("zandrel_archive_bench_" + std::to_string(getpid()) + "_" + end))
                     .string()) {}

    Archive_name(const Archive_name&) = delete;
    Archive_name& operator=(const Archive_name&) = delete;

    ~Archive_name() { std::remove(m_path.c_str()); }

    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

// A file with so many messages, none of which a container has learned. It keeps them all.
class Made_archive {
public:
    explicit Made_archive(std::size_t size) : m_name(std::to_string(size)) {
        zeSmlArchive archive;
        archive.OpenArchive(m_name.path(), true, false);
        archive.SetCatMinimalSize(static_cast<unsigned int>(size));
        add(archive, size);
        archive.CloseArchive();
    }

    const std::string& path() const { return m_name.path(); }

private:
    Archive_name m_name;
};

// The files are made once for all benchmarks.
const std::string& path_of(std::int64_t size) {
    static std::map<std::int64_t, std::unique_ptr<Made_archive>> made;
    std::unique_ptr<Made_archive>& archive = made[size];
    if (archive == nullptr) {
        archive = std::make_unique<Made_archive>(static_cast<std::size_t>(size));
    }
    return archive->path();
}

// A copy of such a file, open.
struct Opened_copy {
    explicit Opened_copy(std::int64_t size) : name("copy") {
        std::filesystem::copy_file(path_of(size), name.path(),
                                   std::filesystem::copy_options::overwrite_existing);
        archive.OpenArchive(name.path(), false, false);
    }

    Archive_name name;
    zeSmlArchive archive;
};

void count_messages(benchmark::State& state, std::int64_t messages) {
    state.counters["for each message"] =
        benchmark::Counter(static_cast<double>(state.iterations() * messages),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BM_Add(benchmark::State& state) {
    Opened_copy copy(state.range(0));
    for (auto _ : state) {
        add(copy.archive, kBulk);
    }
    count_messages(state, kBulk);
}

// The summary and the index are written as a whole, so this is linear in the messages of the
// archive.
void BM_AddOneAndFlush(benchmark::State& state) {
    Opened_copy copy(state.range(0));
    for (auto _ : state) {
        add(copy.archive, 1);
        copy.archive.FlushArchive(true);
    }
    count_messages(state, state.range(0));
}

void BM_Open(benchmark::State& state) {
    const Opened_copy copy(state.range(0));
    for (auto _ : state) {
        zeSmlArchive archive;
        archive.OpenArchive(path_of(state.range(0)), false, false);
        benchmark::DoNotOptimize(archive.m_manager.sml_dates.size());
    }
    count_messages(state, state.range(0));
}

void BM_Walk(benchmark::State& state) {
    Opened_copy copy(state.range(0));
    for (auto _ : state) {
        double weight = 0.0;
        for (const auto& entry : copy.archive.m_manager.sml_dates) {
            zeMsg msg;
            copy.archive.ReadSml(entry.first, msg, true);
            weight += msg.smls[0]->m_total_weight;
        }
        benchmark::DoNotOptimize(weight);
    }
    count_messages(state, state.range(0));
}

void BM_TrainingList(benchmark::State& state) {
    Opened_copy copy(state.range(0));
    for (auto _ : state) {
        std::vector<unsigned int> list;
        copy.archive.GetTrainingListByMinimalSize(list);
        benchmark::DoNotOptimize(list.data());
    }
    count_messages(state, state.range(0));
}

void BM_MakeTrainingCorpus(benchmark::State& state) {
    Opened_copy copy(state.range(0));
    std::vector<unsigned int> list;
    copy.archive.GetTrainingListByMinimalSize(list);
    for (auto _ : state) {
        auto corpus = std::make_unique<zeMemoryCorpus>();
        copy.archive.MakeTrainingCorpus(list, *corpus, zeSmlArchive::kRecursion);
        state.PauseTiming();
        corpus.reset();
        state.ResumeTiming();
    }
    count_messages(state, state.range(0));
}

// A container that knows all labels, without likelihood tables.
qtPtrLight<zeManager> trained_manager() {
    qtPtrLight<zeManager> manager(new zeManager);
    manager->m_defaults.use_likelihood_in_train = false;
    manager->m_config.kc_id = 1;
    zeMemoryCorpus corpus;
    texts().fill(corpus, kTrained, kLength);
    zeCorpus_view view(&corpus);
    view.add_all_msgs(manager.get());
    Concept name = Concept::insert("root");
    manager->InitWorkflow(name)->train(view, true, nullptr, false);
    return manager;
}

// Learns 100 new messages, with the flush at the end. All others have been learned before.
void BM_Learn100(benchmark::State& state) {
    Opened_copy copy(state.range(0));
    qtPtrLight<zeManager> manager = trained_manager();
    copy.archive.m_manager.last_learned_sml = copy.archive.m_manager.next_sml_id - 1;
    for (auto _ : state) {
        state.PauseTiming();
        add(copy.archive, kBulk);
        state.ResumeTiming();
        copy.archive.Learn(manager, false, false, nullptr, false);
    }
    count_messages(state, state.range(0));
}

// Learns all messages, and deletes those that are neither reserved nor among the newest 80 of each
// category.
void BM_LearnAll(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        auto copy = std::make_unique<Opened_copy>(state.range(0));
        copy->archive.SetCatMinimalSize(80);
        qtPtrLight<zeManager> manager = trained_manager();
        state.ResumeTiming();
        copy->archive.Learn(manager, false, false, nullptr, false);
        state.PauseTiming();
        copy.reset();
        state.ResumeTiming();
    }
    count_messages(state, state.range(0));
}

void at_each_size(benchmark::internal::Benchmark* bench) {
    bench->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_Add)->Apply(at_each_size);
BENCHMARK(BM_AddOneAndFlush)->Apply(at_each_size);
BENCHMARK(BM_Open)->Apply(at_each_size);
BENCHMARK(BM_Walk)->Apply(at_each_size);
BENCHMARK(BM_TrainingList)->Apply(at_each_size);
BENCHMARK(BM_MakeTrainingCorpus)->Apply(at_each_size);
BENCHMARK(BM_Learn100)->Apply(at_each_size);
BENCHMARK(BM_LearnAll)->Apply(at_each_size);

}  // namespace
