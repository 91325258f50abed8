// Identity_set: the identities that were met while classifying one message.
// Not installed: the library's own.
#ifndef ZANDREL_CLASSIFICATION_IDENTITY_SET_H_
#define ZANDREL_CLASSIFICATION_IDENTITY_SET_H_

#include <array>
#include <cstddef>
#include <vector>

namespace zandrel::detail {

// A set of addresses that only grows. It is made for each message, and mostly has one or two
// addresses. The first eight are in a short list, for which no memory is allocated. Further ones
// are put into a table with open addressing, at most half full.
//
// Errors: std::bad_alloc; the set is then to be thrown away.
class Identity_set {
public:
    // Adds an identity, which is not null. Returns false if the set has it already.
    bool insert(const void* identity);

private:
    static constexpr std::size_t kFew = 8;

    bool insert_in_table(const void* identity);
    void grow();

    std::size_t m_size = 0;
    std::array<const void*, kFew> m_few = {};
    std::vector<const void*> m_slots;  // their number is a power of two; null: free
};

}  // namespace zandrel::detail

#endif  // ZANDREL_CLASSIFICATION_IDENTITY_SET_H_
