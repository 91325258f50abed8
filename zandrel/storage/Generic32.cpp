// The placeholder device: every operation does nothing.
#include "zandrel/storage/Generic32.h"

Generic32::~Generic32() = default;

int Generic32::Tell() {
    return 0;
}

void Generic32::Seek(int /*position*/) {}

int Generic32::SeekEnd() {
    return 0;
}

int Generic32::GetFileSize() {
    return 0;
}

void Generic32::Write(char* /*bytes*/, unsigned int /*byte_count*/) {}

void Generic32::Read(char* /*bytes*/, unsigned int /*byte_count*/) {}

void Generic32::Close() {}

void Generic32::RequireBytes(std::uint64_t /*byte_count*/) {}
