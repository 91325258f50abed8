// LevelDB with its default options, and writes without sync. Its thread for compaction counts as
// CPU time.
#include <leveldb/db.h>

#include "bench/record_stores/Record_store.h"

namespace {

leveldb::Slice slice_of(std::string_view bytes) {
    return {bytes.data(), bytes.size()};
}

class Leveldb_store final : public Record_store {
public:
    explicit Leveldb_store(const std::string& folder) : m_folder(folder) {}

    void open() override {
        leveldb::Options options;
        options.create_if_missing = true;
        leveldb::DB* opened = nullptr;
        check(leveldb::DB::Open(options, m_folder, &opened));
        m_file.reset(opened);
    }

    void close() override { m_file.reset(); }

    void put(std::string_view key, std::string_view blob) override {
        check(m_file->Put(leveldb::WriteOptions(), slice_of(key), slice_of(blob)));
    }

    std::string_view get(std::string_view key) override {
        check(m_file->Get(leveldb::ReadOptions(), slice_of(key), &m_read));
        return m_read;
    }

    void erase(std::string_view key) override {
        check(m_file->Delete(leveldb::WriteOptions(), slice_of(key)));
    }

    bool exists(std::string_view key) override {
        return m_file->Get(leveldb::ReadOptions(), slice_of(key), &m_read).ok();
    }

private:
    static void check(const leveldb::Status& status) {
        if (!status.ok()) {
            throw std::runtime_error(status.ToString());
        }
    }

    std::string m_folder;
    std::unique_ptr<leveldb::DB> m_file;
    std::string m_read;
};

}  // namespace

std::unique_ptr<Record_store> make_leveldb_store(const std::string& folder) {
    return std::make_unique<Leveldb_store>(folder);
}
