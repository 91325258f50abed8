// SQLite with prepared statements, synchronous=OFF, its journal in memory, and a thousand changes
// in a transaction.
#include <sqlite3.h>

#include "bench/record_stores/Record_store.h"

namespace {

constexpr int kChangesOfTransaction = 1000;

class Statement {
public:
    Statement(sqlite3* file, const char* text) {
        require(sqlite3_prepare_v2(file, text, -1, &m_statement, nullptr) == SQLITE_OK, text);
    }

    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    ~Statement() { sqlite3_finalize(m_statement); }

    // Resets the statement. Bound values are not copied.
    void bind_key(std::string_view key) {
        sqlite3_reset(m_statement);
        require(sqlite3_bind_text(m_statement, 1, key.data(), static_cast<int>(key.size()),
                                  SQLITE_STATIC) == SQLITE_OK,
                "sqlite3_bind_text");
    }

    void bind_blob(std::string_view blob) {
        require(sqlite3_bind_blob(m_statement, 2, blob.data(), static_cast<int>(blob.size()),
                                  SQLITE_STATIC) == SQLITE_OK,
                "sqlite3_bind_blob");
    }

    bool has_row() { return sqlite3_step(m_statement) == SQLITE_ROW; }

    void run() {
        require(sqlite3_step(m_statement) == SQLITE_DONE, "sqlite3_step");
        sqlite3_reset(m_statement);
    }

    // Ends a read, which would keep the file locked.
    void reset() { sqlite3_reset(m_statement); }

    std::string_view blob() {
        const auto* const bytes = static_cast<const char*>(sqlite3_column_blob(m_statement, 0));
        return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(m_statement, 0))};
    }

private:
    sqlite3_stmt* m_statement = nullptr;
};

struct Statements {
    explicit Statements(sqlite3* file)
        : put(file, "INSERT OR REPLACE INTO records VALUES (?1, ?2)"),
          get(file, "SELECT blob FROM records WHERE key = ?1"),
          erase(file, "DELETE FROM records WHERE key = ?1") {}

    Statement put;
    Statement get;
    Statement erase;
};

class Sqlite_store final : public Record_store {
public:
    explicit Sqlite_store(const std::string& folder) : m_name(folder + "/records") {}

    ~Sqlite_store() override {
        m_statements.reset();
        sqlite3_close(m_file);  // which accepts null
    }

    void open() override {
        require(sqlite3_open(m_name.c_str(), &m_file) == SQLITE_OK, "sqlite3_open");
        run("PRAGMA synchronous=OFF");
        run("PRAGMA journal_mode=MEMORY");
        run("PRAGMA locking_mode=EXCLUSIVE");
        run("CREATE TABLE IF NOT EXISTS records (key TEXT PRIMARY KEY, blob BLOB)");
        m_statements = std::make_unique<Statements>(m_file);
    }

    void close() override {
        commit();
        m_statements.reset();
        require(sqlite3_close(m_file) == SQLITE_OK, "sqlite3_close");
        m_file = nullptr;
    }

    void put(std::string_view key, std::string_view blob) override {
        begin();
        m_statements->put.bind_key(key);
        m_statements->put.bind_blob(blob);
        m_statements->put.run();
        count_change();
    }

    std::string_view get(std::string_view key) override {
        m_statements->get.bind_key(key);
        require(m_statements->get.has_row(), "a key is missing");
        return m_statements->get.blob();
    }

    void erase(std::string_view key) override {
        begin();
        m_statements->erase.bind_key(key);
        m_statements->erase.run();
        count_change();
    }

    bool exists(std::string_view key) override {
        m_statements->get.bind_key(key);
        return m_statements->get.has_row();
    }

    void commit() override {
        m_statements->get.reset();
        if (m_change_count != 0) {
            run("COMMIT");
            m_change_count = 0;
        }
    }

private:
    void run(const char* text) {
        require(sqlite3_exec(m_file, text, nullptr, nullptr, nullptr) == SQLITE_OK, text);
    }

    void begin() {
        if (m_change_count == 0) {
            run("BEGIN");
        }
    }

    void count_change() {
        if (++m_change_count == kChangesOfTransaction) {
            commit();
        }
    }

    std::string m_name;
    sqlite3* m_file = nullptr;
    std::unique_ptr<Statements> m_statements;
    int m_change_count = 0;
};

}  // namespace

std::unique_ptr<Record_store> make_sqlite_store(const std::string& folder) {
    return std::make_unique<Sqlite_store>(folder);
}
