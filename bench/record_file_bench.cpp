// Runs one load on the record file, on two minimal stores, and on other stores. Prints CPU time of
// each phase, size of the files and peak memory. We do not use the benchmark library, since each
// phase needs the result of the phase before. Each store runs in its own process, so that its
// memory and the time of its threads can be measured.
//
// No store is asked to flush data to the disk, since the record file never does so.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <functional>
#include <numeric>
#include <random>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "bench/record_stores/Record_store.h"

namespace {

constexpr std::size_t kPhaseCount = 5;
constexpr std::array<const char*, kPhaseCount> kPhaseNames = {"insert", "read", "replace", "delete",
                                                              "reopen"};

// The costs of one run of one store.
struct Figures {
    std::array<double, kPhaseCount> seconds = {};  // CPU time of all threads
    double file_size = 0;                          // bytes, of the closed store
    double peak_memory = 0;                        // bytes, mapped files included
};

double sum_of(const Figures& figures) {
    return std::accumulate(figures.seconds.begin(), figures.seconds.end(), 0.0);
}

// The CPU time of all phases except the last one, which opens the store again.
double work_of(const Figures& figures) {
    return std::accumulate(figures.seconds.begin(), figures.seconds.end() - 1, 0.0);
}

// The blobs. They are cheap to make and to check: each begins with its own number, and the rest is
// a part of a pool of random bytes that stays in the processor's cache.
class Blobs {
public:
    Blobs() : m_pool(kPoolSize + kLargest, '\0'), m_blob(kLargest, '\0') {
        std::mt19937_64 random(1);
        for (std::size_t position = 0; position + 8 <= m_pool.size(); position += 8) {
            const std::uint64_t bits = random();
            std::memcpy(m_pool.data() + position, &bits, sizeof bits);
        }
    }

    // VALID UNTIL: the next call.
    std::string_view make(std::uint32_t record, std::uint32_t version) {
        const Stamp stamp(record, version);
        std::memcpy(m_blob.data(), &stamp.number, sizeof stamp.number);
        const std::size_t rest = stamp.size() - sizeof stamp.number;
        std::memcpy(m_blob.data() + sizeof stamp.number, m_pool.data() + stamp.start(), rest);
        return std::string_view(m_blob).substr(0, stamp.size());
    }

    void check(std::string_view blob, std::uint32_t record, std::uint32_t version) const {
        const Stamp stamp(record, version);
        const std::size_t rest = stamp.size() - sizeof stamp.number;
        const bool is_right = blob.size() == stamp.size() &&
                              std::memcmp(blob.data(), &stamp.number, sizeof stamp.number) == 0 &&
                              std::memcmp(blob.data() + sizeof stamp.number,
                                          m_pool.data() + stamp.start(), rest) == 0;
        require(is_right, "a blob is not what was stored");
    }

private:
    static constexpr std::size_t kPoolSize = std::size_t{1} << 16U;
    static constexpr std::size_t kSmallest = 400;
    static constexpr std::size_t kLargest = 800;

    struct Stamp {
        Stamp(std::uint32_t record, std::uint32_t version)
            : number(std::uint64_t{version} << 32U | record), mixed(mix(number)) {}

        static std::uint64_t mix(std::uint64_t bits) {
            bits = (bits ^ (bits >> 30U)) * 0xBF58476D1CE4E5B9ULL;
            bits = (bits ^ (bits >> 27U)) * 0x94D049BB133111EBULL;
            return bits ^ (bits >> 31U);
        }

        std::size_t size() const { return kSmallest + mixed % (kLargest - kSmallest + 1); }

        std::size_t start() const { return (mixed >> 32U) % kPoolSize; }

        std::uint64_t number;
        std::uint64_t mixed;
    };

    std::string m_pool;
    std::string m_blob;
};

// The records of each phase: keys are inserted in ascending order, all other phases use random
// keys.
struct Load {
    explicit Load(std::uint32_t count) : record_count(count) {
        std::mt19937 random(2);
        std::vector<std::uint32_t> records(count);
        std::iota(records.begin(), records.end(), 0U);
        std::generate_n(std::back_inserter(read), count, [&] { return random() % count; });
        std::shuffle(records.begin(), records.end(), random);
        replaced.assign(records.begin(), records.begin() + count / 2);
        std::shuffle(records.begin(), records.end(), random);
        erased.assign(records.begin(), records.begin() + count / 4);
    }

    std::uint32_t record_count;
    std::vector<std::uint32_t> read;
    std::vector<std::uint32_t> replaced;
    std::vector<std::uint32_t> erased;
};

// Short enough that no string class allocates memory for it.
std::string key_of(std::uint32_t record) {
    std::string key = "record-00000000";
    for (std::size_t position = key.size(); record != 0; record /= 10) {
        key[--position] = static_cast<char>('0' + record % 10);
    }
    return key;
}

double cpu_seconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// Runs the load on one store.
class Run {
public:
    Run(Record_store& store, const Load& load)
        : m_store(store), m_load(load), m_versions(load.record_count, 0) {}

    std::array<double, kPhaseCount> measure() {
        std::array<double, kPhaseCount> seconds = {};
        seconds[0] = seconds_of([this] { insert(); });
        seconds[1] = seconds_of([this] { read(); });
        seconds[2] = seconds_of([this] { replace(); });
        seconds[3] = seconds_of([this] { erase(); });
        seconds[4] = seconds_of([this] { reopen(); });
        check_all();
        m_store.close();
        return seconds;
    }

private:
    static constexpr std::uint32_t kErased = 0xFFFFFFFFU;

    static double seconds_of(const std::function<void()>& phase) {
        const double start = cpu_seconds();
        phase();
        return cpu_seconds() - start;
    }

    void insert() {
        m_store.open();
        for (std::uint32_t record = 0; record < m_load.record_count; ++record) {
            m_store.put(key_of(record), m_blobs.make(record, 0));
        }
        m_store.commit();
    }

    void read() {
        for (const std::uint32_t record : m_load.read) {
            m_blobs.check(m_store.get(key_of(record)), record, 0);
        }
    }

    void replace() {
        for (const std::uint32_t record : m_load.replaced) {
            m_versions[record] = 1;
            m_store.put(key_of(record), m_blobs.make(record, 1));
        }
        m_store.commit();
    }

    void erase() {
        for (const std::uint32_t record : m_load.erased) {
            m_versions[record] = kErased;
            m_store.erase(key_of(record));
        }
        m_store.commit();
    }

    void reopen() {
        m_store.close();
        m_store.open();
    }

    void check_all() {
        for (std::uint32_t record = 0; record < m_load.record_count; ++record) {
            if (m_versions[record] == kErased) {
                require(!m_store.exists(key_of(record)), "a deleted record is there");
            } else {
                m_blobs.check(m_store.get(key_of(record)), record, m_versions[record]);
            }
        }
    }

    Record_store& m_store;
    const Load& m_load;
    Blobs m_blobs;
    std::vector<std::uint32_t> m_versions;  // the version of each record, or kErased
};

using Maker = std::function<std::unique_ptr<Record_store>(const std::string& folder)>;

struct Contestant {
    const char* name;
    Maker make;  // empty for a library that this program was built without
};

// Lists first the minimal stores, then the record file, then the other stores.
std::vector<Contestant> contestants() {
    return {
        {"flushing floor",
         [](const std::string& folder) { return make_floor_store(folder, true); }},
        {"floor", [](const std::string& folder) { return make_floor_store(folder, false); }},
        {"mapped floor", make_mapped_store},
        {"record file", make_reclaim_store},
#ifdef ZANDREL_BENCH_WITH_GDBM
        {"gdbm", make_gdbm_store},
#else
        {"gdbm", nullptr},
#endif
#ifdef ZANDREL_BENCH_WITH_TDB
        {"tdb", make_tdb_store},
#else
        {"tdb", nullptr},
#endif
#ifdef ZANDREL_BENCH_WITH_LMDB
        {"LMDB", make_lmdb_store},
#else
        {"LMDB", nullptr},
#endif
#ifdef ZANDREL_BENCH_WITH_SQLITE
        {"SQLite", make_sqlite_store},
#else
        {"SQLite", nullptr},
#endif
#ifdef ZANDREL_BENCH_WITH_LEVELDB
        {"LevelDB", make_leveldb_store},
#else
        {"LevelDB", nullptr},
#endif
    };
}

// A folder that the destructor removes.
class Temporary_folder {
public:
    Temporary_folder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "zandrel_XXXXXX").string();
        require(mkdtemp(pattern.data()) != nullptr, "cannot make a temporary folder");
        m_path = pattern;
    }

    Temporary_folder(const Temporary_folder&) = delete;
    Temporary_folder& operator=(const Temporary_folder&) = delete;

    ~Temporary_folder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }

    std::string path() const { return m_path.string(); }

    // The size of all files.
    double size() const {
        double bytes = 0;
        for (const auto& entry : std::filesystem::directory_iterator(m_path)) {
            bytes += static_cast<double>(entry.file_size());
        }
        return bytes;
    }

private:
    std::filesystem::path m_path;
};

// The part of `measure` that runs in the child process. Returns its exit status, and writes the
// times into the pipe.
int work(const Contestant& contestant, const Load& load, const std::string& folder, int pipe) {
    try {
        const std::unique_ptr<Record_store> store = contestant.make(folder);
        const auto seconds = Run(*store, load).measure();
        const auto written = write(pipe, seconds.data(), sizeof seconds);
        return written == static_cast<ssize_t>(sizeof seconds) ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", contestant.name, error.what());
        return 1;
    }
}

Figures measure(const Contestant& contestant, const Load& load) {
    const Temporary_folder folder;
    std::array<int, 2> ends = {};
    require(pipe(ends.data()) == 0, "cannot make a pipe");
    const pid_t child = fork();
    require(child >= 0, "cannot fork");
    if (child == 0) {
        _exit(work(contestant, load, folder.path(), ends[1]));
    }
    close(ends[1]);
    Figures figures;
    const auto got = read(ends[0], figures.seconds.data(), sizeof figures.seconds);
    close(ends[0]);
    int status = 0;
    rusage usage{};
    require(wait4(child, &status, 0, &usage) == child, "a process is lost");
    require(status == 0 && got == static_cast<ssize_t>(sizeof figures.seconds), contestant.name);
    figures.file_size = folder.size();
    figures.peak_memory = static_cast<double>(usage.ru_maxrss) * 1024;
    return figures;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return (values[(values.size() - 1) / 2] + values[values.size() / 2]) / 2;
}

// The median of each figure over some runs.
Figures medians_of(const std::vector<Figures>& runs) {
    const auto of = [&runs](const std::function<double(const Figures&)>& part) {
        std::vector<double> values;
        std::transform(runs.begin(), runs.end(), std::back_inserter(values), part);
        return median(values);
    };
    Figures medians;
    for (std::size_t phase = 0; phase < kPhaseCount; ++phase) {
        medians.seconds[phase] = of([phase](const Figures& run) { return run.seconds[phase]; });
    }
    medians.file_size = of([](const Figures& run) { return run.file_size; });
    medians.peak_memory = of([](const Figures& run) { return run.peak_memory; });
    return medians;
}

void print_head() {
    std::printf("%-15s", "");
    for (const char* const name : kPhaseNames) {
        std::printf("%9s", name);
    }
    std::printf("%9s%9s%11s\n", "sum", "file MB", "memory MB");
}

void print_row(const char* name, const Figures& figures) {
    std::printf("%-15s", name);
    for (const double seconds : figures.seconds) {
        std::printf("%9.3f", seconds);
    }
    std::printf("%9.3f%9.1f%11.1f\n", sum_of(figures), figures.file_size / 1e6,
                figures.peak_memory / 1e6);
}

// The costs of the record file divided by the costs of another store.
void print_ratios(const Figures& ours, const char* name, const Figures& other) {
    std::printf("to %-12s", name);
    for (std::size_t phase = 0; phase < kPhaseCount; ++phase) {
        std::printf("%9.2f", ours.seconds[phase] / other.seconds[phase]);
    }
    std::printf("%9.2f%9.2f%11.2f\n", sum_of(ours) / sum_of(other),
                ours.file_size / other.file_size, ours.peak_memory / other.peak_memory);
}

constexpr std::size_t kFlushingFloor = 0;
constexpr std::size_t kMappedFloor = 2;
constexpr std::size_t kOurs = 3;
constexpr std::size_t kGdbm = 4;

void print_aim(const char* what, double ratio, double limit) {
    std::printf("%-42s %5.2f, at most %.2f: %s\n", what, ratio, limit,
                ratio <= limit ? "held" : "missed");
}

// The ratios of small loads have no meaning.
void print_aims(const std::vector<Figures>& figures, bool has_gdbm) {
    const Figures& ours = figures[kOurs];
    const Figures& floor = figures[kFlushingFloor];
    if (floor.seconds[0] < 0.05) {
        return;
    }
    print_aim("insert, to the flushing floor", ours.seconds[0] / floor.seconds[0], 1.3);
    print_aim("read, to the flushing floor", ours.seconds[1] / floor.seconds[1], 1.1);
    print_aim("all but reopening, to the mapped floor",
              work_of(ours) / work_of(figures[kMappedFloor]), 1.28);
    if (has_gdbm) {
        print_aim("all phases, to gdbm", sum_of(ours) / sum_of(figures[kGdbm]), 0.5);
    }
}

struct Options {
    std::uint32_t records = 200000;
    int runs = 3;
    std::string store;  // the only one to measure; empty for all
};

using Runs = std::vector<std::vector<Figures>>;  // of each contestant

// The stores run in turn, so that a temporary disturbance of the machine affects all of them.
Runs measure_all(const std::vector<Contestant>& all, const Options& options) {
    const Load load(options.records);
    Runs runs(all.size());
    for (int run = 0; run < options.runs; ++run) {
        for (std::size_t index = 0; index < all.size(); ++index) {
            if (all[index].make && (options.store.empty() || options.store == all[index].name)) {
                runs[index].push_back(measure(all[index], load));
            }
        }
    }
    return runs;
}

// Returns the figures, with zeros for stores that were not measured.
std::vector<Figures> print_figures(const std::vector<Contestant>& all, const Runs& runs) {
    std::vector<Figures> figures(all.size());
    print_head();
    for (std::size_t index = 0; index < all.size(); ++index) {
        if (!runs[index].empty()) {
            figures[index] = medians_of(runs[index]);
            print_row(all[index].name, figures[index]);
        } else if (!all[index].make) {
            std::printf("%-15s left out: this program was built without it\n", all[index].name);
        }
    }
    return figures;
}

void compare(const Options& options) {
    const std::vector<Contestant> all = contestants();
    const Runs runs = measure_all(all, options);
    std::printf(
        "%u records of 400 to 800 bytes: insert all, read as many at random, replace half,\n"
        "delete a quarter, close and reopen; then all content is checked. Nothing is synced.\n"
        "CPU seconds, medians of %d runs; memory includes mapped files.\n\n",
        options.records, options.runs);
    const std::vector<Figures> figures = print_figures(all, runs);
    if (!options.store.empty()) {
        return;
    }
    std::printf("\nThe record file\n");
    for (std::size_t index = 0; index < all.size(); ++index) {
        if (index != kOurs && !runs[index].empty()) {
            print_ratios(figures[kOurs], all[index].name, figures[index]);
        }
    }
    std::printf("\n");
    print_aims(figures, !runs[kGdbm].empty());
}

constexpr const char* kUsage = "usage: [--records N] [--runs N] [--store NAME]";

unsigned int number_of(const char* text, unsigned int least) {
    char* end = nullptr;
    const unsigned long number = std::strtoul(text, &end, 10);
    require(*text >= '0' && *text <= '9' && *end == '\0' && number >= least && number <= 10000000,
            "not a number that makes sense");
    return static_cast<unsigned int>(number);
}

Options options_of(const std::vector<std::string>& arguments) {
    Options options;
    for (std::size_t index = 0; index + 1 < arguments.size(); index += 2) {
        if (arguments[index] == "--records") {
            options.records = number_of(arguments[index + 1].c_str(), 4);
        } else if (arguments[index] == "--runs") {
            options.runs = static_cast<int>(number_of(arguments[index + 1].c_str(), 1));
        } else if (arguments[index] == "--store") {
            options.store = arguments[index + 1];
        } else {
            throw std::runtime_error(kUsage);
        }
    }
    require(arguments.size() % 2 == 0, kUsage);
    return options;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        compare(options_of({argv + 1, argv + argc}));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
