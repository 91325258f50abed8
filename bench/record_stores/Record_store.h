// Record_store: the operations of the benchmark of record files on each kind of store.
#ifndef ZANDREL_BENCH_RECORD_STORES_RECORD_STORE_H_
#define ZANDREL_BENCH_RECORD_STORES_RECORD_STORE_H_

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

// A persistent map from keys to blobs in its own folder. A failure raises std::runtime_error, and
// the run is then useless.
class Record_store {
public:
    Record_store() = default;
    Record_store(const Record_store&) = delete;
    Record_store& operator=(const Record_store&) = delete;
    virtual ~Record_store() = default;

    // Makes the store, or opens it again.
    virtual void open() = 0;
    // Closes it with all its data, but does not flush them to the disk.
    virtual void close() = 0;

    // Inserts or replaces.
    virtual void put(std::string_view key, std::string_view blob) = 0;
    // VALID UNTIL: the next operation.
    virtual std::string_view get(std::string_view key) = 0;
    virtual void erase(std::string_view key) = 0;
    virtual bool exists(std::string_view key) = 0;

    // Called after the last change of a series.
    virtual void commit() {}
};

inline void require(bool holds, const char* what) {
    if (!holds) {
        throw std::runtime_error(what);
    }
}

// Each takes an existing empty folder. If the program was built without a library, its function is
// declared but not defined.
std::unique_ptr<Record_store> make_floor_store(const std::string& folder, bool flushes);
std::unique_ptr<Record_store> make_mapped_store(const std::string& folder);
std::unique_ptr<Record_store> make_reclaim_store(const std::string& folder);
std::unique_ptr<Record_store> make_gdbm_store(const std::string& folder);
std::unique_ptr<Record_store> make_leveldb_store(const std::string& folder);
std::unique_ptr<Record_store> make_lmdb_store(const std::string& folder);
std::unique_ptr<Record_store> make_sqlite_store(const std::string& folder);
std::unique_ptr<Record_store> make_tdb_store(const std::string& folder);

#endif  // ZANDREL_BENCH_RECORD_STORES_RECORD_STORE_H_
