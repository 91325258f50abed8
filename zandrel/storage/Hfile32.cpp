// Calls the common work of file devices (file_device.h) with the 32-bit functions of the C library.
#include "zandrel/storage/Hfile32.h"

#include <limits>

#include "zandrel/storage/file_device.h"

namespace {

struct Calls {
    static constexpr unsigned int kLargestPiece = 100000;
    // Each position, also the position of the end, must fit an `int`.
    static constexpr long long kLargestEnd = std::numeric_limits<int>::max();

    static std::FILE* Open(const char* name, const char* flags) { return std::fopen(name, flags); }

    static int Seek(std::FILE* file, long long position, int origin) {
        return std::fseek(file, static_cast<long>(position), origin);
    }

    static long long Tell(std::FILE* file) { return std::ftell(file); }
};

using Work = zandrel::detail::File_device<Hfile32, Calls>;

}  // namespace

Hfile32::~Hfile32() {
    Work(*this, m_place).Drop();
}

void Hfile32::Open(const qtString& file_name, char mode) {
    Work(*this, m_place).Open(file_name, mode);
}

int Hfile32::Tell() {
    return static_cast<int>(Work(*this, m_place).Tell());
}

void Hfile32::Seek(int position) {
    Work(*this, m_place).Seek(position);
}

int Hfile32::SeekEnd() {
    return static_cast<int>(Work(*this, m_place).SeekEnd());
}

int Hfile32::GetFileSize() {
    const int position = Tell();
    const int size = SeekEnd();
    Seek(position);
    return size;
}

void Hfile32::Write(char* bytes, unsigned int byte_count) {
    Work(*this, m_place).Write(bytes, byte_count);
}

void Hfile32::Read(char* bytes, unsigned int byte_count) {
    Work(*this, m_place).Read(bytes, byte_count);
}

void Hfile32::Close() {
    Work(*this, m_place).Close();
}

void Hfile32::ReadAhead(unsigned int byte_count) noexcept {
    Work(*this, m_place).ReadAhead(byte_count);
}

void Hfile32::RequireBytes(std::uint64_t byte_count) {
    Work(*this, m_place).RequireBytes(byte_count);
}

void Hfile32::RequireRoom(std::uint64_t byte_count) {
    Work(*this, m_place).RequireRoom(byte_count);
}

void Hfile32::Flush() {
    Work(*this, m_place).Flush();
}
