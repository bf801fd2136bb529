// Replays fuzz inputs through a target's LLVMFuzzerTestOneInput, for builds
// without libFuzzer (gcc, the Windows cross build). Arguments are files or
// directories; a directory contributes its regular files in name order, so
// that a failure is reproduced with the same sequence. A crash or a failed
// check ends the program; it fails too when it found no input at all, since
// a missing corpus would otherwise pass unnoticed.
//
// With "--xml PATH" first, a replay that passed writes a GoogleTest-style
// report there with one case per input, so that the test run counts the
// inputs like test cases (a crash leaves no report and counts as a failure).
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "fuzz/FuzzSupport.h"

namespace {

bool writeReport(const std::string& path, size_t inputs) {
    std::error_code error;
    const std::filesystem::path parent = std::filesystem::path(path).parent_path();
    if (!parent.empty()) {
        std::filesystem::create_directories(parent, error);
    }
    std::FILE* f = std::fopen(path.c_str(), "w");
    if (f == nullptr) {
        return false;
    }
    std::fprintf(f,
                 "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                 "<testsuites tests=\"%zu\" failures=\"0\" errors=\"0\" name=\"replay\">\n"
                 "</testsuites>\n",
                 inputs);
    return std::fclose(f) == 0;
}

}  // namespace

int main(int argc, char** argv) {
    namespace fs = std::filesystem;
    std::vector<std::string> inputs;
    std::string xml;
    int first = 1;
    if (argc > 2 && std::string(argv[1]) == "--xml") {
        xml = argv[2];
        first = 3;
    }
    for (int i = first; i < argc; ++i) {
        const fs::path path(argv[i]);
        std::error_code error;
        if (fs::is_directory(path, error)) {
            std::vector<std::string> files;
            for (const auto& entry : fs::directory_iterator(path, error)) {
                if (entry.is_regular_file(error)) {
                    files.push_back(entry.path().string());
                }
            }
            std::sort(files.begin(), files.end());
            inputs.insert(inputs.end(), files.begin(), files.end());
        } else if (fs::is_regular_file(path, error)) {
            inputs.push_back(path.string());
        } else {
            std::fprintf(stderr, "replay: no such file or directory: %s\n", argv[i]);
            return 1;
        }
    }
    if (inputs.empty()) {
        std::fprintf(stderr, "replay: no inputs\n");
        return 1;
    }
    for (const std::string& input : inputs) {
        std::vector<uint8_t> bytes;
        if (!pwr::fuzz::readFile(input, bytes)) {
            std::fprintf(stderr, "replay: cannot read %s\n", input.c_str());
            return 1;
        }
        std::printf("replay: %s (%zu bytes)\n", input.c_str(), bytes.size());
        std::fflush(stdout);
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
    std::printf("replay: %zu inputs, all passed\n", inputs.size());
    if (!xml.empty() && !writeReport(xml, inputs.size())) {
        std::fprintf(stderr, "replay: cannot write %s\n", xml.c_str());
        return 1;
    }
    return 0;
}
