// Runs a fuzz target over the files of a folder, each once: seeds and former findings as ordinary tests.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
  std::vector<std::filesystem::path> files;
  for (int i = 1; i < argc; ++i) {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(argv[i], error))
      files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  for (const auto& file : files) {
    std::ifstream stream(file, std::ios::binary);
    const std::vector<char> input{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    if (!stream) {
      std::fprintf(stderr, "cannot read %s\n", file.string().c_str());
      return 1;
    }
    std::printf("%s\n", file.filename().string().c_str());
    std::fflush(stdout);  // so that the last line names the input of a crash
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
  }
  std::printf("%zu inputs\n", files.size());
  return files.empty() ? 1 : 0;
}
