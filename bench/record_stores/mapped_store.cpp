// A minimal persistent map with system calls. A record is written by one pwrite() to the end of a
// log, and read from the log mapped into memory. The index is as in floor_store.cpp. Space is not
// used again, and there is no padding and no checking.
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <map>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

#include "bench/record_stores/Record_store.h"

namespace {

struct Place {
    std::uint64_t offset;  // of the blob
    std::uint32_t size;    // of the blob
};

class Mapped_store final : public Record_store {
public:
    explicit Mapped_store(const std::string& folder) : m_name(folder + "/records") {}

    ~Mapped_store() override {
        unmap();
        if (m_file >= 0) {
            ::close(m_file);
        }
    }

    void open() override {
        m_file = ::open(m_name.c_str(), O_RDWR | O_CREAT, 0600);
        require(m_file >= 0, "cannot open the log");
        const off_t size = lseek(m_file, 0, SEEK_END);
        require(size >= 0, "cannot find the end of the log");
        if (size == 0) {
            m_end = sizeof m_end;
        } else {
            map(static_cast<std::size_t>(size));
            read_index();
        }
    }

    void close() override {
        write_index();
        unmap();
        m_index.clear();
        require(::close(m_file) == 0, "cannot close the log");
        m_file = -1;
    }

    void put(std::string_view key, std::string_view blob) override {
        m_record.clear();
        append_text(key);
        append_text(blob);
        write_at(m_end, m_record);
        m_end += m_record.size();
        m_index.insert_or_assign(
            std::string(key), Place{m_end - blob.size(), static_cast<std::uint32_t>(blob.size())});
    }

    std::string_view get(std::string_view key) override {
        const Place place = find(key);
        if (place.offset + place.size > m_mapped) {
            map(m_end);
        }
        return {m_bytes + place.offset, place.size};
    }

    // Marks the blob in the log.
    void erase(std::string_view key) override {
        m_record.assign("gone");
        write_at(find(key).offset, m_record);
        m_index.erase(m_index.find(key));
    }

    bool exists(std::string_view key) override { return m_index.find(key) != m_index.end(); }

private:
    Place find(std::string_view key) const {
        const auto found = m_index.find(key);
        require(found != m_index.end(), "a key is missing");
        return found->second;
    }

    void append_number(std::uint64_t number) {
        m_record.append(reinterpret_cast<const char*>(&number), sizeof number);
    }

    void append_text(std::string_view text) {
        append_number(text.size());
        m_record += text;
    }

    void write_at(std::uint64_t offset, std::string_view bytes) {
        require(pwrite(m_file, bytes.data(), bytes.size(), static_cast<off_t>(offset)) ==
                    static_cast<ssize_t>(bytes.size()),
                "cannot write");
    }

    void unmap() {
        if (m_bytes != nullptr) {
            munmap(m_bytes, m_mapped);
            m_bytes = nullptr;
        }
        m_mapped = 0;
    }

    void map(std::size_t size) {
        unmap();
        void* const bytes = mmap(nullptr, size, PROT_READ, MAP_SHARED, m_file, 0);
        require(bytes != MAP_FAILED, "cannot map the log");
        m_bytes = static_cast<char*>(bytes);
        m_mapped = size;
    }

    // The index follows the log. The first bytes of the file are the position where the log ends.
    void write_index() {
        m_record.clear();
        append_number(m_index.size());
        for (const auto& [key, place] : m_index) {
            append_text(key);
            append_number(place.offset);
            append_number(place.size);
        }
        write_at(m_end, m_record);
        m_record.clear();
        append_number(m_end);
        write_at(0, m_record);
    }

    std::uint64_t number_at(std::uint64_t& offset) const {
        std::uint64_t number = 0;
        std::memcpy(&number, m_bytes + offset, sizeof number);
        offset += sizeof number;
        return number;
    }

    void read_index() {
        std::uint64_t offset = 0;
        m_end = number_at(offset);
        offset = m_end;
        for (std::uint64_t count = number_at(offset); count > 0; --count) {
            const std::uint64_t size = number_at(offset);
            std::string key(m_bytes + offset, size);
            offset += size;
            const std::uint64_t start = number_at(offset);
            m_index.insert_or_assign(m_index.end(), std::move(key),
                                     Place{start, static_cast<std::uint32_t>(number_at(offset))});
        }
    }

    std::string m_name;
    int m_file = -1;
    std::uint64_t m_end = 0;  // of the log
    char* m_bytes = nullptr;  // the mapped part of the file
    std::size_t m_mapped = 0;
    std::map<std::string, Place, std::less<>> m_index;
    std::string m_record;  // the next record to write
};

}  // namespace

std::unique_ptr<Record_store> make_mapped_store(const std::string& folder) {
    return std::make_unique<Mapped_store>(folder);
}
