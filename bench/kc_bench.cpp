// Whole containers are written to and read from a buffer and a file, sealed and verified; their
// parts are measured too. Rates are in bytes of the file, so all rates of one form can be compared.
#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <unistd.h>
#include <vector>

#include <benchmark/benchmark.h>

#include "zandrel/foundation/Crc32c.h"
#include "zandrel/foundation/qtBuffer.h"
#include "zandrel/foundation/qtScrambler.h"
#include "zandrel/persistence/Hpack.h"
#include "zandrel/persistence/KcIoMode.h"
#include "zandrel/persistence/Kc_seal.h"
#include "zandrel/persistence/zeIO.h"
#include "zandrel/statistics/zeStat_storage.h"
#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/SegBuf.h"

#include "bench/trainable.h"

using zandrel::Kc_seal;

namespace {

constexpr std::size_t kVocabulary = 100000;
constexpr std::size_t kLabels = 20;
constexpr std::size_t kMessages = 10000;
// Some benchmarks are run with containers of several sizes. These are the smallest and the largest
// number of messages. The vocabulary has ten words for each message.
constexpr std::int64_t kLeastMessages = 1024;
constexpr std::int64_t kMostMessages = 65536;

enum Form : std::int64_t { kFull = 0, kCompact = 1 };

KcIoMode mode_of(const benchmark::State& state) {
    KcIoMode mode;
    mode.compact = state.range(0) == kCompact;
    return mode;
}

// A trained container, in which every word of the vocabulary occurs.
struct Trained : Trainable {
    explicit Trained(std::size_t messages = kMessages)
        : Trainable(messages * (kVocabulary / kMessages), kLabels, messages) {
        texts.cover_vocabulary(corpus, kTextLength);
        view.add_all_msgs(&manager);
        matcher().train(view);
    }
};

// The files of a trained container. The container is destroyed before a benchmark reads a file, so
// that each concept is new to the process, as in a process that begins with a file.
class Files {
public:
    static Files& instance() {
        static Files files;
        return files;
    }

    qtPtr<qtBuffer>& buffer(const benchmark::State& state) {
        return state.range(0) == kCompact ? m_compact : m_full;
    }

private:
    Files() : m_full(new qtBuffer), m_compact(new qtBuffer) {
        Trained trained;
        KcIoMode mode;
        trained.manager.Write(m_full, &mode, nullptr);
        mode.compact = true;
        trained.manager.Write(m_compact, &mode, nullptr);
    }

    qtPtr<qtBuffer> m_full;
    qtPtr<qtBuffer> m_compact;
};

// A name in the temporary directory. The destructor removes the file.
class File_name {
public:
    File_name() = default;
    File_name(const File_name&) = delete;
    File_name& operator=(const File_name&) = delete;

    ~File_name() { std::filesystem::remove(m_name.str()); }

    const qtString& get() const { return m_name; }

    std::size_t file_size() const { return std::filesystem::file_size(m_name.str()); }

private:
    qtString m_name = (std::filesystem::temp_directory_path() /
                       ("zandrel_kc_bench_" + std::to_string(::getpid())))
                          .string();
};

void report_bytes(benchmark::State& state, std::size_t file_size) {
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(file_size));
    state.counters["file MB"] = static_cast<double>(file_size) / 1e6;
}

void BM_SaveToBuffer(benchmark::State& state) {
    Trained trained;
    KcIoMode mode = mode_of(state);
    std::size_t size = 0;
    for (auto _ : state) {
        qtPtr<qtBuffer> buffer;
        trained.manager.Write(buffer, &mode, nullptr);
        size = buffer->bytes.size();
    }
    report_bytes(state, size);
}

void BM_SaveToFile(benchmark::State& state) {
    Trained trained;
    KcIoMode mode = mode_of(state);
    const File_name name;
    for (auto _ : state) {
        trained.manager.Write(name.get(), &mode, nullptr);
    }
    report_bytes(state, name.file_size());
}

// The container is released outside of the measured time, since a program would now classify with
// it.
template <class Source>
void load(benchmark::State& state, Source& source, std::size_t file_size) {
    for (auto _ : state) {
        zeManager manager;
        manager.Read(source, nullptr, nullptr);
        state.PauseTiming();
        manager.Release();
        state.ResumeTiming();
    }
    report_bytes(state, file_size);
}

void BM_LoadFromBuffer(benchmark::State& state) {
    qtPtr<qtBuffer>& buffer = Files::instance().buffer(state);
    load(state, buffer, buffer->bytes.size());
}

// Containers of several sizes. Each is made when it is first needed and destroyed before its file
// is read.
qtPtr<qtBuffer>& sized_file(const benchmark::State& state) {
    static std::map<std::int64_t, qtPtr<qtBuffer>> files;
    qtPtr<qtBuffer>& file = files[state.range(0)];
    if (file.IsNull()) {
        Trained trained(static_cast<std::size_t>(state.range(0)));
        trained.manager.Write(file, nullptr, nullptr);
    }
    return file;
}

void load_sized(benchmark::State& state, bool for_classifying) {
    qtPtr<qtBuffer>& file = sized_file(state);
    KcIoMode mode;
    mode.for_classifying = for_classifying;
    for (auto _ : state) {
        zeManager manager;
        manager.Read(file, &mode, nullptr);
        state.PauseTiming();
        manager.Release();
        state.ResumeTiming();
    }
    report_bytes(state, file->bytes.size());
    state.SetComplexityN(static_cast<std::int64_t>(file->bytes.size()));
}

void BM_LoadToClassify(benchmark::State& state) {
    load_sized(state, true);
}

void BM_LoadToLearn(benchmark::State& state) {
    load_sized(state, false);
}

// Reads the parts that a load for classifying has not read.
void BM_CompleteModel(benchmark::State& state) {
    qtPtr<qtBuffer>& file = sized_file(state);
    KcIoMode mode;
    mode.for_classifying = true;
    for (auto _ : state) {
        state.PauseTiming();
        zeManager manager;
        manager.Read(file, &mode, nullptr);
        state.ResumeTiming();
        manager.GetRootStorage()->complete();
        state.PauseTiming();
        manager.Release();
        state.ResumeTiming();
    }
    report_bytes(state, file->bytes.size());
    state.SetComplexityN(static_cast<std::int64_t>(file->bytes.size()));
}

void BM_SaveSized(benchmark::State& state) {
    Trained trained(static_cast<std::size_t>(state.range(0)));
    std::size_t size = 0;
    for (auto _ : state) {
        qtPtr<qtBuffer> buffer;
        trained.manager.Write(buffer, nullptr, nullptr);
        size = buffer->bytes.size();
    }
    report_bytes(state, size);
    state.SetComplexityN(static_cast<std::int64_t>(size));
}

// Writes the unread bytes back, as an edit does that needs no statistics.
void BM_SaveUncompleted(benchmark::State& state) {
    qtPtr<qtBuffer>& file = sized_file(state);
    KcIoMode mode;
    mode.for_classifying = true;
    zeManager manager;
    manager.Read(file, &mode, nullptr);
    for (auto _ : state) {
        qtPtr<qtBuffer> buffer;
        manager.Write(buffer, nullptr, nullptr);
        benchmark::DoNotOptimize(buffer->bytes.size());
    }
    report_bytes(state, file->bytes.size());
    state.SetComplexityN(static_cast<std::int64_t>(file->bytes.size()));
}

// Writes the file of the container without a seal.
void write_file(const benchmark::State& state, const File_name& name) {
    const std::vector<char>& bytes = Files::instance().buffer(state)->bytes;
    std::ofstream(name.get().str(), std::ios::binary)
        .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

void BM_LoadFromFile(benchmark::State& state) {
    const File_name name;
    write_file(state, name);
    load(state, name.get(), name.file_size());
}

void BM_SealFile(benchmark::State& state) {
    const File_name name;
    for (auto _ : state) {
        state.PauseTiming();
        write_file(state, name);
        state.ResumeTiming();
        Kc_seal::Write(name.get());
    }
    report_bytes(state, name.file_size());
}

void BM_VerifyFile(benchmark::State& state) {
    const File_name name;
    write_file(state, name);
    Kc_seal::Write(name.get());
    for (auto _ : state) {
        benchmark::DoNotOptimize(Kc_seal::Verify(name.get()));
    }
    report_bytes(state, name.file_size());
}

// A record of as many bytes as the file has.
class Blob {
public:
    explicit Blob(const qtBuffer& buffer) {
        HSegment device(m_record, 'w');
        device.Write(const_cast<char*>(buffer.bytes.data()),  // no device changes them
                     static_cast<unsigned int>(buffer.bytes.size()));
    }

    SegBuf& record() { return m_record; }

private:
    SegBuf m_record;
};

void BM_PackageAlone(benchmark::State& state) {
    const qtBuffer& content = *Files::instance().buffer(state);
    Blob blob(content);
    for (auto _ : state) {
        qtPtr<qtBuffer> file;
        Hpack pack;
        pack.Open(file, 'w');
        pack.AddAtOffset("key", blob.record(), 0);
        pack.Close();
        pack.Open(file, 'r');
        SegBuf read;
        pack.GetItem("key", read);
        benchmark::DoNotOptimize(read.size);
    }
    report_bytes(state, content.bytes.size());
}

void BM_ScramblingAlone(benchmark::State& state) {
    const qtBuffer& content = *Files::instance().buffer(state);
    Blob blob(content);
    const qtScrambler scrambler(qtScrambler::kSeed);
    for (auto _ : state) {
        for (unsigned int position = 0; position < blob.record().size;) {
            char* run = nullptr;
            unsigned int length = 0;
            blob.record().Locate(position, blob.record().size, run, length);
            scrambler.Scramble(run, length, qtScrambler::kOption);
            position += length;
        }
    }
    report_bytes(state, content.bytes.size());
}

// Computes the checksum as sealing and verifying do: with the processor's instruction for it, if
// there is one.
void BM_ChecksumAlone(benchmark::State& state) {
    const std::vector<char>& bytes = Files::instance().buffer(state)->bytes;
    for (auto _ : state) {
        zandrel::detail::Crc32c sum;
        sum.Add(bytes.data(), bytes.size());
        benchmark::DoNotOptimize(sum.Value());
    }
    report_bytes(state, bytes.size());
}

void BM_ChecksumByTables(benchmark::State& state) {
    const std::vector<char>& bytes = Files::instance().buffer(state)->bytes;
    for (auto _ : state) {
        benchmark::DoNotOptimize(zandrel::detail::Crc32cByTables(0, bytes.data(), bytes.size()));
    }
    report_bytes(state, bytes.size());
}

BENCHMARK(BM_SaveToBuffer)->Arg(kFull)->Arg(kCompact)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SaveToFile)->Arg(kFull)->Arg(kCompact)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LoadFromBuffer)->Arg(kFull)->Arg(kCompact)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LoadFromFile)->Arg(kFull)->Arg(kCompact)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SealFile)->Arg(kFull)->Arg(kCompact)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_VerifyFile)->Arg(kFull)->Arg(kCompact)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ChecksumAlone)->Arg(kFull)->Arg(kCompact)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ChecksumByTables)->Arg(kFull)->Arg(kCompact)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PackageAlone)->Arg(kFull)->Arg(kCompact)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ScramblingAlone)->Arg(kFull)->Arg(kCompact)->Unit(benchmark::kMillisecond);

void of_sizes(benchmark::internal::Benchmark* curve) {
    curve->RangeMultiplier(4)->Range(kLeastMessages, kMostMessages);
    curve->Unit(benchmark::kMillisecond)->Complexity();
}

BENCHMARK(BM_LoadToClassify)->Apply(of_sizes);
BENCHMARK(BM_LoadToLearn)->Apply(of_sizes);
BENCHMARK(BM_CompleteModel)->Apply(of_sizes);
BENCHMARK(BM_SaveSized)->Apply(of_sizes);
BENCHMARK(BM_SaveUncompleted)->Apply(of_sizes);

}  // namespace
