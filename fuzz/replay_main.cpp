// Replays a corpus without libFuzzer: <program> <folder>...
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/fuzz_target.h"

namespace {

// In the order of their names, so that each run is the same.
std::vector<std::filesystem::path> files_in(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.is_regular_file()) {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

bool replay(const std::filesystem::path& file) {
    // Shown before the target runs, so that the last name shows the input that ended the program.
    std::printf("%s\n", file.c_str());
    std::fflush(stdout);
    std::ifstream in(file, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (!in.is_open() || in.bad()) {
        std::fprintf(stderr, "cannot read it\n");
        return false;
    }
    const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
    return LLVMFuzzerTestOneInput(input.data(), input.size()) == 0;
}

}  // namespace

int main(int argc, char** argv) {
    std::size_t replayed = 0;
    for (int i = 1; i < argc; ++i) {
        for (const std::filesystem::path& file : files_in(argv[i])) {
            if (!replay(file)) {
                return 1;
            }
            ++replayed;
        }
    }
    std::printf("replayed %zu inputs\n", replayed);
    return replayed == 0 ? 1 : 0;  // an empty corpus checks nothing
}
