// tdb without locks, transactions and syncs. Its hash table never grows, and its default of 131
// chains is for small files, so we set the number of chains.
#include <cstdlib>
#include <fcntl.h>
#include <sys/types.h>
#include <tdb.h>

#include "bench/record_stores/Record_store.h"

namespace {

constexpr int kChains = 100003;

TDB_DATA data_of(std::string_view bytes) {
    const auto* const first = reinterpret_cast<const unsigned char*>(bytes.data());
    return {const_cast<unsigned char*>(first), bytes.size()};
}

class Tdb_store final : public Record_store {
public:
    explicit Tdb_store(const std::string& folder) : m_name(folder + "/records") {}

    ~Tdb_store() override {
        std::free(m_read.dptr);
        if (m_file != nullptr) {
            tdb_close(m_file);
        }
    }

    void open() override {
        m_file = tdb_open(m_name.c_str(), kChains, TDB_NOLOCK | TDB_NOSYNC, O_RDWR | O_CREAT, 0600);
        require(m_file != nullptr, "tdb_open");
    }

    void close() override {
        require(tdb_close(m_file) == 0, "tdb_close");
        m_file = nullptr;
    }

    void put(std::string_view key, std::string_view blob) override {
        require(tdb_store(m_file, data_of(key), data_of(blob), TDB_REPLACE) == 0, "tdb_store");
    }

    std::string_view get(std::string_view key) override {
        std::free(m_read.dptr);
        m_read = tdb_fetch(m_file, data_of(key));
        require(m_read.dptr != nullptr, "tdb_fetch");
        return {reinterpret_cast<const char*>(m_read.dptr), m_read.dsize};
    }

    void erase(std::string_view key) override {
        require(tdb_delete(m_file, data_of(key)) == 0, "tdb_delete");
    }

    bool exists(std::string_view key) override { return tdb_exists(m_file, data_of(key)) != 0; }

private:
    std::string m_name;
    TDB_CONTEXT* m_file = nullptr;
    TDB_DATA m_read = {nullptr, 0};
};

}  // namespace

std::unique_ptr<Record_store> make_tdb_store(const std::string& folder) {
    return std::make_unique<Tdb_store>(folder);
}
