// Calls the common work of file devices (file_device.h) with the 64-bit functions of the C library.
#include "zandrel/storage/Hfile64.h"

#include <limits>

#include "zandrel/storage/file_device.h"

namespace {

struct Calls {
    static constexpr unsigned int kLargestPiece = std::numeric_limits<unsigned int>::max();
    static constexpr long long kLargestEnd = std::numeric_limits<long long>::max();

    static std::FILE* Open(const char* name, const char* flags) { return fopen64(name, flags); }

    static int Seek(std::FILE* file, long long position, int origin) {
        return fseeko64(file, position, origin);
    }

    static long long Tell(std::FILE* file) { return ftello64(file); }
};

using Work = zandrel::detail::File_device<Hfile64, Calls>;

}  // namespace

Hfile64::~Hfile64() {
    Work(*this, m_place).Drop();
}

void Hfile64::Open(const qtString& file_name, char mode) {
    Work(*this, m_place).Open(file_name, mode);
}

long long Hfile64::Tell() {
    return Work(*this, m_place).Tell();
}

void Hfile64::Seek(long long position) {
    Work(*this, m_place).Seek(position);
}

long long Hfile64::SeekEnd() {
    return Work(*this, m_place).SeekEnd();
}

void Hfile64::Read(char* bytes, unsigned int byte_count) {
    Work(*this, m_place).Read(bytes, byte_count);
}

void Hfile64::Write(char* bytes, unsigned int byte_count) {
    Work(*this, m_place).Write(bytes, byte_count);
}

void Hfile64::ReadAhead(unsigned int byte_count) noexcept {
    Work(*this, m_place).ReadAhead(byte_count);
}

void Hfile64::RequireBytes(std::uint64_t byte_count) {
    Work(*this, m_place).RequireBytes(byte_count);
}

void Hfile64::RequireRoom(std::uint64_t byte_count) {
    Work(*this, m_place).RequireRoom(byte_count);
}

void Hfile64::Flush() {
    Work(*this, m_place).Flush();
}

void Hfile64::Close() {
    Work(*this, m_place).Close();
}
