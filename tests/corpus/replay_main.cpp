// Runs a fuzzer's harness over every file of the folders it is given: the
// inputs the fuzzers kept and the failures they found, each held to every
// property the harness checks. Each input's name is printed before it runs,
// so that a violated property, which aborts, names the input that broke it.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv)
{
    std::size_t inputs = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            std::fprintf(stderr, "%s\n", entry.path().c_str());
            std::ifstream file(entry.path(), std::ios::binary);
            const std::string bytes{std::istreambuf_iterator<char>(file), {}};
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
            ++inputs;
        }
    }
    std::printf("%zu inputs\n", inputs);
    // No input at all means a folder was not where it should be.
    return inputs == 0 ? 1 : 0;
}
