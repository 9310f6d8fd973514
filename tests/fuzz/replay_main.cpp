// Runs a fuzz target without libFuzzer over the files of the folders it is
// given, each file one input, in name order. A finding aborts, as under the
// fuzzer.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    std::vector<std::filesystem::path> files;
    for (int i = 1; i < argc; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    for (const auto& file : files) {
        std::ifstream in(file, std::ios::binary);
        const std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(in), {}};
        std::printf("%s\n", file.c_str());
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
    return files.empty() ? 1 : 0;  // a corpus that went missing is no pass
}
