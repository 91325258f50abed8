// A minimal persistent map with the C library's streams. Records are appended to a log. A std::map
// has their positions. Closing writes this map behind the log. Space is not used again, and there
// is no padding and no checking.
#include <cstdint>
#include <cstdio>
#include <map>

#include "bench/record_stores/Record_store.h"

namespace {

struct Place {
    std::uint64_t offset;  // of the blob
    std::uint32_t size;    // of the blob
};

class Floor_store final : public Record_store {
public:
    Floor_store(const std::string& folder, bool flushes)
        : m_name(folder + "/records"), m_flushes(flushes) {}

    ~Floor_store() override {
        if (m_file != nullptr) {
            std::fclose(m_file);
        }
    }

    void open() override {
        m_file = std::fopen(m_name.c_str(), "r+b");
        const bool is_old = m_file != nullptr;
        if (!is_old) {
            m_file = std::fopen(m_name.c_str(), "w+b");
        }
        require(m_file != nullptr, "cannot open the log");
        if (is_old) {
            read_index();
        } else {
            write_number(std::uint64_t{0});
            m_end = sizeof(std::uint64_t);
        }
        m_is_at_end = !is_old;
    }

    void close() override {
        write_index();
        m_index.clear();
        require(std::fclose(m_file) == 0, "cannot close the log");
        m_file = nullptr;
    }

    void put(std::string_view key, std::string_view blob) override {
        if (!m_is_at_end) {
            seek(m_end);
            m_is_at_end = true;
        }
        write_number(static_cast<std::uint32_t>(key.size()));
        write(key);
        write_number(static_cast<std::uint32_t>(blob.size()));
        write(blob);
        flush();
        const std::uint64_t offset = m_end + 2 * sizeof(std::uint32_t) + key.size();
        m_index.insert_or_assign(std::string(key),
                                 Place{offset, static_cast<std::uint32_t>(blob.size())});
        m_end = offset + blob.size();
    }

    std::string_view get(std::string_view key) override {
        const Place place = find(key);
        seek(place.offset);
        m_blob.resize(place.size);
        read(m_blob.data(), m_blob.size());
        return m_blob;
    }

    // Marks the blob in the log.
    void erase(std::string_view key) override {
        seek(find(key).offset);
        write_number(kErased);
        flush();
        m_index.erase(m_index.find(key));
    }

    bool exists(std::string_view key) override { return m_index.find(key) != m_index.end(); }

private:
    static constexpr std::uint32_t kErased = 0xFFFFFFFFU;

    Place find(std::string_view key) const {
        const auto found = m_index.find(key);
        require(found != m_index.end(), "a key is missing");
        return found->second;
    }

    void seek(std::uint64_t offset) {
        require(fseeko(m_file, static_cast<off_t>(offset), SEEK_SET) == 0, "cannot seek");
        m_is_at_end = false;
    }

    void write(std::string_view bytes) {
        require(std::fwrite(bytes.data(), 1, bytes.size(), m_file) == bytes.size(), "cannot write");
    }

    void read(char* bytes, std::size_t byte_count) {
        require(std::fread(bytes, 1, byte_count, m_file) == byte_count, "cannot read");
    }

    // Numbers have the machine's byte order, since no other machine reads the file.
    template <class Number>
    void write_number(Number number) {
        require(std::fwrite(&number, sizeof number, 1, m_file) == 1, "cannot write");
    }

    template <class Number>
    Number read_number() {
        Number number = 0;
        require(std::fread(&number, sizeof number, 1, m_file) == 1, "cannot read");
        return number;
    }

    void flush() {
        if (m_flushes) {
            require(std::fflush(m_file) == 0, "cannot flush");
        }
    }

    void write_index() {
        seek(m_end);
        write_number(static_cast<std::uint64_t>(m_index.size()));
        for (const auto& [key, place] : m_index) {
            write_number(static_cast<std::uint32_t>(key.size()));
            write(key);
            write_number(place.offset);
            write_number(place.size);
        }
        seek(0);
        write_number(m_end);
    }

    void read_index() {
        m_end = read_number<std::uint64_t>();
        seek(m_end);
        for (auto count = read_number<std::uint64_t>(); count > 0; --count) {
            std::string key(read_number<std::uint32_t>(), '\0');
            read(key.data(), key.size());
            const auto offset = read_number<std::uint64_t>();
            const auto size = read_number<std::uint32_t>();
            m_index.insert_or_assign(m_index.end(), std::move(key), Place{offset, size});
        }
    }

    std::string m_name;
    bool m_flushes;
    std::FILE* m_file = nullptr;
    std::uint64_t m_end = 0;   // of the log; in a closed file the index is behind it
    bool m_is_at_end = false;  // the stream is at the end, and not read since the last seek
    std::map<std::string, Place, std::less<>> m_index;
    std::string m_blob;
};

}  // namespace

std::unique_ptr<Record_store> make_floor_store(const std::string& folder, bool flushes) {
    return std::make_unique<Floor_store>(folder, flushes);
}
