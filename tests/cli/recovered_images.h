// Recovers record files that a crash or a failing disk left, and compares them with what a model
// expects.
#ifndef ZANDREL_TESTS_CLI_RECOVERED_IMAGES_H_
#define ZANDREL_TESTS_CLI_RECOVERED_IMAGES_H_

#include <cstddef>
#include <map>
#include <string>

namespace zandrel::cli {

using Content = std::map<std::string, std::string>;

// A file in memory that has a path.
class Memory_file {
public:
    Memory_file();
    Memory_file(const Memory_file&) = delete;
    Memory_file& operator=(const Memory_file&) = delete;
    ~Memory_file();

    std::string path() const;
    void fill(const std::string& bytes) const;
    // Writes one byte, behind the end too.
    void put(std::size_t position, char byte) const;

private:
    int m_file;
};

// The number of images for each result of the recovery. A change was going on when the image was
// left: "before" and "after" are the contents around it.
struct Recovery_tally {
    std::size_t images = 0;
    std::size_t before = 0;     // exactly the content before the change
    std::size_t after = 0;      // exactly the content after it
    std::size_t refused = 0;    // the file has no whole header
    std::size_t torn = 0;       // as before, but the changed item is half old and half new
    std::size_t torn_key = 0;   // the new item is there under a key that is half new
    std::size_t missing = 0;    // as before, but without the changed item
    std::size_t returned = 0;   // as after, but with the item that the change removed
    std::size_t other = 0;      // anything else: a defect
    std::size_t lost = 0;       // of all these: reported as lost
    std::size_t unchanged = 0;  // of all these: nothing, or only the state, had to be changed

    std::size_t exact() const { return before + after; }

    bool operator==(const Recovery_tally&) const = default;
};

// Recovers the file of a path, and counts the result. `key` and `other_key`: of the change.
void count_recovery(const std::string& path, const Content& before, const Content& after,
                    const std::string& key, const std::string& other_key, Recovery_tally& tally);

// The content that a recovery of this file has.
Content recovered_content(const std::string& path);

// Prints the shares of a tally, and records them as properties of the test.
void print_tally(const std::string& what, const Recovery_tally& tally);

// Does `step_count` random steps in the model of a record file, and recovers every `stride`-th of
// the images that a process leaves if it dies after one of the bytes that it writes.
Recovery_tally recover_crash_images(unsigned int offset_size, std::size_t step_count,
                                    std::size_t stride);

}  // namespace zandrel::cli

#endif  // ZANDREL_TESTS_CLI_RECOVERED_IMAGES_H_
