// LMDB with MDB_NOSYNC and MDB_NOLOCK. It makes changes only in transactions; here each has a
// thousand changes.
#include <lmdb.h>

#include "bench/record_stores/Record_store.h"

namespace {

constexpr std::size_t kLargestFile = std::size_t{16} << 30U;
constexpr int kChangesOfTransaction = 1000;

MDB_val value_of(std::string_view bytes) {
    return {bytes.size(), const_cast<char*>(bytes.data())};
}

class Lmdb_store final : public Record_store {
public:
    explicit Lmdb_store(const std::string& folder) : m_folder(folder) {}

    ~Lmdb_store() override {
        if (m_transaction != nullptr) {
            mdb_txn_abort(m_transaction);
        }
        mdb_env_close(m_environment);  // which accepts null
    }

    void open() override {
        check(mdb_env_create(&m_environment));
        check(mdb_env_set_mapsize(m_environment, kLargestFile));
        check(mdb_env_open(m_environment, m_folder.c_str(), MDB_NOSYNC | MDB_NOLOCK, 0600));
        begin(0);
        check(mdb_dbi_open(m_transaction, nullptr, 0, &m_table));
        commit();
    }

    void close() override {
        commit();
        mdb_env_close(m_environment);
        m_environment = nullptr;
    }

    void put(std::string_view key, std::string_view blob) override {
        begin(0);
        MDB_val name = value_of(key);
        MDB_val value = value_of(blob);
        check(mdb_put(m_transaction, m_table, &name, &value, 0));
        count_change();
    }

    std::string_view get(std::string_view key) override {
        begin(MDB_RDONLY);
        MDB_val name = value_of(key);
        MDB_val value = {0, nullptr};
        check(mdb_get(m_transaction, m_table, &name, &value));
        return {static_cast<const char*>(value.mv_data), value.mv_size};
    }

    void erase(std::string_view key) override {
        begin(0);
        MDB_val name = value_of(key);
        check(mdb_del(m_transaction, m_table, &name, nullptr));
        count_change();
    }

    bool exists(std::string_view key) override {
        begin(MDB_RDONLY);
        MDB_val name = value_of(key);
        MDB_val value = {0, nullptr};
        return mdb_get(m_transaction, m_table, &name, &value) == 0;
    }

    void commit() override {
        if (m_transaction != nullptr) {
            MDB_txn* const ended = m_transaction;
            m_transaction = nullptr;
            check(mdb_txn_commit(ended));
        }
        m_change_count = 0;
    }

private:
    static void check(int error) { require(error == 0, mdb_strerror(error)); }

    // Continues the current transaction if it is of this kind.
    void begin(unsigned int kind) {
        if (m_transaction != nullptr && m_kind == kind) {
            return;
        }
        commit();
        check(mdb_txn_begin(m_environment, nullptr, kind, &m_transaction));
        m_kind = kind;
    }

    void count_change() {
        if (++m_change_count == kChangesOfTransaction) {
            commit();
        }
    }

    std::string m_folder;
    MDB_env* m_environment = nullptr;
    MDB_txn* m_transaction = nullptr;
    MDB_dbi m_table = 0;
    unsigned int m_kind = 0;
    int m_change_count = 0;
};

}  // namespace

std::unique_ptr<Record_store> make_lmdb_store(const std::string& folder) {
    return std::make_unique<Lmdb_store>(folder);
}
