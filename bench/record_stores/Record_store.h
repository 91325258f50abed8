// Record_store: what the benchmark of record files does with each kind of store.
#ifndef ZANDREL_BENCH_RECORD_STORES_RECORD_STORE_H_
#define ZANDREL_BENCH_RECORD_STORES_RECORD_STORE_H_

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

// A persistent map from keys to blobs in a folder of its own. Whatever fails raises
// std::runtime_error, and then the run is of no use.
class Record_store {
public:
    Record_store() = default;
    Record_store(const Record_store&) = delete;
    Record_store& operator=(const Record_store&) = delete;
    virtual ~Record_store() = default;

    // Makes the store, or opens it again.
    virtual void open() = 0;
    // Closes it with all that it has; nothing is asked to reach the disk.
    virtual void close() = 0;

    // Inserts or replaces.
    virtual void put(std::string_view key, std::string_view blob) = 0;
    // VALID UNTIL: the next operation.
    virtual std::string_view get(std::string_view key) = 0;
    virtual void erase(std::string_view key) = 0;
    virtual bool exists(std::string_view key) = 0;

    // Called behind the last of a series of changes.
    virtual void commit() {}
};

inline void require(bool holds, const char* what) {
    if (!holds) {
        throw std::runtime_error(what);
    }
}

// Each takes the folder, which exists and is empty. Those of libraries that this program was built
// without are declared, but not defined.
std::unique_ptr<Record_store> make_floor_store(const std::string& folder, bool flushes);
std::unique_ptr<Record_store> make_mapped_store(const std::string& folder);
std::unique_ptr<Record_store> make_reclaim_store(const std::string& folder);
std::unique_ptr<Record_store> make_gdbm_store(const std::string& folder);
std::unique_ptr<Record_store> make_leveldb_store(const std::string& folder);
std::unique_ptr<Record_store> make_lmdb_store(const std::string& folder);
std::unique_ptr<Record_store> make_sqlite_store(const std::string& folder);
std::unique_ptr<Record_store> make_tdb_store(const std::string& folder);

#endif  // ZANDREL_BENCH_RECORD_STORES_RECORD_STORE_H_
