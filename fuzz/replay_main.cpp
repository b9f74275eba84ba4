// Replays fuzz inputs without libFuzzer: every file named, and every file in the directories named
// (in name order), goes once through LLVMFuzzerTestOneInput; a broken contract aborts.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s FILE_OR_DIRECTORY...\n", argv[0]);
        return 2;
    }
    std::vector<std::filesystem::path> files;
    for (int i = 1; i < argc; ++i) {
        std::filesystem::path const path(argv[i]);
        std::error_code error;
        if (std::filesystem::is_directory(path, error)) {
            std::vector<std::filesystem::path> inside;
            for (auto const& entry : std::filesystem::directory_iterator(path, error)) {
                if (entry.is_regular_file(error))
                    inside.push_back(entry.path());
            }
            std::sort(inside.begin(), inside.end());
            files.insert(files.end(), inside.begin(), inside.end());
        } else if (std::filesystem::is_regular_file(path, error)) {
            files.push_back(path);
        } else {
            std::fprintf(stderr, "%s: no such file or directory\n", argv[i]);
            return 2;
        }
    }
    if (files.empty()) {
        std::fprintf(stderr, "no inputs to replay\n");
        return 2;
    }
    LLVMFuzzerInitialize(&argc, &argv);
    for (auto const& file : files) {
        std::ifstream in(file, std::ios::binary);
        std::string const bytes((std::istreambuf_iterator<char>(in)),
                                std::istreambuf_iterator<char>());
        if (!in.good() && !in.eof()) {
            std::fprintf(stderr, "%s: cannot be read\n", file.c_str());
            return 2;
        }
        std::fprintf(stderr, "replaying %s (%zu bytes)\n", file.c_str(), bytes.size());
        LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const*>(bytes.data()), bytes.size());
    }
    std::fprintf(stderr, "replayed %zu inputs\n", files.size());
    return 0;
}
