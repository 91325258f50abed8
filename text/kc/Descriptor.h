// Descriptor: the number of an open file; the destructor closes the file.
#ifndef ZANDREL_TEXT_KC_DESCRIPTOR_H_
#define ZANDREL_TEXT_KC_DESCRIPTOR_H_

#include <unistd.h>
#include <utility>

namespace zandrel {

class Descriptor {
public:
    // OWNS: the open file of this number; -1: no file.
    explicit Descriptor(int number = -1) : m_number(number) {}

    Descriptor(Descriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}

    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(m_number, other.m_number);
        return *this;
    }

    ~Descriptor() {
        if (m_number >= 0) {
            ::close(m_number);
        }
    }

    bool is_open() const { return m_number >= 0; }

    int number() const { return m_number; }

private:
    int m_number;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_KC_DESCRIPTOR_H_
