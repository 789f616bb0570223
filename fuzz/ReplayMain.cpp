// The main of a fuzz target outside the fuzz build: runs the target once on
// every file of the folders (or files) named on the command line, in name
// order, so the ordinary suite replays each committed corpus. A broken
// promise aborts inside the target and fails the test; an empty folder
// fails too, since it would replay nothing.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  std::vector<fs::path> files;
  for (int i = 1; i < argc; ++i) {
    const fs::path given(argv[i]);
    if (fs::is_directory(given)) {
      for (const auto& entry : fs::directory_iterator(given)) {
        if (entry.is_regular_file()) files.push_back(entry.path());
      }
    } else {
      files.push_back(given);
    }
  }
  std::sort(files.begin(), files.end());
  if (files.empty()) {
    std::fprintf(stderr, "replay: no inputs\n");
    return 1;
  }
  for (const auto& file : files) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
      std::fprintf(stderr, "replay: cannot read %s\n", file.c_str());
      return 1;
    }
    const std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                                          std::istreambuf_iterator<char>());
    std::fprintf(stderr, "replay: %s (%zu bytes)\n", file.c_str(), bytes.size());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  }
  std::fprintf(stderr, "replay: %zu inputs, no finding\n", files.size());
  return 0;
}
